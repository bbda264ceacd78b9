/*
 * Byte streams: the stream object and its filter chain, the memory, null and
 * file sources/sinks, the Base64/PEM, hex, message-digest and HMAC filters,
 * and the one-shot codecs built on them.
 *
 * A chain is a stack of filters over exactly one source/sink. Operations are
 * applied to the top of the chain and pass down through every filter. Every
 * function taking a trailing TEVRA_ErrCtx accepts NULL for it; on failure it
 * pushes one entry there. Results are 1 for success; a stream operation may
 * pass a lower stream's other result through, so callers test for 1.
 */
#ifndef TEVRA_STREAM_H
#define TEVRA_STREAM_H

#include "TEVRA_Export.h"
#include "TEVRA_Error.h"
#include "TEVRA_Util.h"

TEVRA_BEGIN_DECLS

/* Class bits of a type code. */
#define TEVRA_STREAM_FILTER 0x10000
#define TEVRA_STREAM_SOURCE_SINK 0x20000

/* Type codes (tevra_stream_gettype). */
#define TEVRA_STREAM_TYPE_MEM 0x20001
#define TEVRA_STREAM_TYPE_FILE 0x20002
#define TEVRA_STREAM_TYPE_NULL 0x20006
#define TEVRA_STREAM_TYPE_MD 0x10003
#define TEVRA_STREAM_TYPE_HEX 0x10004
#define TEVRA_STREAM_TYPE_BASE64 0x10005
#define TEVRA_STREAM_TYPE_HMAC 0x10007

/* Where tevra_stream_find_type starts. */
#define TEVRA_STREAM_FIND_FROM_TOP 1
#define TEVRA_STREAM_FIND_FROM_SELF 2
#define TEVRA_STREAM_FIND_FROM_NEXT 3

/* Control codes (tevra_stream_ctrl). The argument each one takes is noted. */
#define TEVRA_STREAM_CTRL_RESET 1            /* none */
#define TEVRA_STREAM_CTRL_GET_LENGTH 2       /* long * out */
#define TEVRA_STREAM_CTRL_GET_MD_LENGTH 3    /* long * out */
#define TEVRA_STREAM_CTRL_GET_MD 4           /* unsigned char * out, digest-length bytes */
#define TEVRA_STREAM_CTRL_GET_MD_ALGORITHM 5 /* unsigned int * out */
#define TEVRA_STREAM_CTRL_FLUSH 6            /* none */
#define TEVRA_STREAM_CTRL_GET_POS 7          /* long * out */
#define TEVRA_STREAM_CTRL_SET_POS 8          /* long * in */
#define TEVRA_STREAM_CTRL_CLOSE 9            /* none */
#define TEVRA_STREAM_CTRL_REOPEN 10          /* long * in: TEVRA_STREAM_FILE_* mode */
#define TEVRA_STREAM_CTRL_EOF 11             /* none; 1 at the end, see tevra_stream_read */
#define TEVRA_STREAM_CTRL_GET_HMAC 12        /* unsigned char * out, digest-length bytes */
#define TEVRA_STREAM_CTRL_GET_READ_POS 15    /* long * out */
#define TEVRA_STREAM_CTRL_GET_WRITE_POS 16   /* long * out */
#define TEVRA_STREAM_CTRL_SET_READ_POS 17    /* long * in */
#define TEVRA_STREAM_CTRL_SET_WRITE_POS 18   /* long * in */
#define TEVRA_STREAM_CTRL_RESERVE 19         /* long * in: bytes to make room for */
#define TEVRA_STREAM_CTRL_GET_PENDING 20     /* TEVRA_DataBlob ** out */

/* File stream modes. */
#define TEVRA_STREAM_FILE_READ 1   /* "rb" */
#define TEVRA_STREAM_FILE_WRITE 2  /* "wb"; on reopen of a read stream "rb+" */
#define TEVRA_STREAM_FILE_APPEND 3 /* "ab" */

/* Base64 flags: a mode in the low bits plus the option bits. */
#define TEVRA_BASE64_CR 1            /* encode: CR line ends; decode: skip nothing */
#define TEVRA_BASE64_CRLF 2          /* encode: CR LF line ends; decode: skip CR, LF */
#define TEVRA_BASE64_LF 3            /* encode: LF line ends; decode: skip CR, LF, tab, space */
#define TEVRA_BASE64_NO_LINES 4      /* encode only: no line breaks */
#define TEVRA_BASE64_NO_PADDING 0x80 /* no "=" padding */
#define TEVRA_BASE64_URL_SAFE 0x100  /* "-" and "_" alphabet */

/** A stream; opaque, made by a constructor and released by tevra_stream_free. */
typedef struct TEVRA_Stream TEVRA_Stream;

/** Reads up to n bytes, storing the number read in *count (0: no more data). */
typedef int (*TEVRA_StreamReadFunc)(TEVRA_Stream *stream, void *buffer, long n, long *count,
                                    TEVRA_ErrCtx *ctx);
/** Writes up to n bytes, storing the number accepted (at least 1 on success). */
typedef int (*TEVRA_StreamWriteFunc)(TEVRA_Stream *stream, const void *data, long n, long *count,
                                     TEVRA_ErrCtx *ctx);
/** Releases a stream's private state (not the stream record). */
typedef void (*TEVRA_StreamDestroyFunc)(TEVRA_Stream *stream);
/** Carries out a control code; the argument's meaning depends on the code. */
typedef int (*TEVRA_StreamCtrlFunc)(TEVRA_Stream *stream, long code, void *argument,
                                    TEVRA_ErrCtx *ctx);

/** The operations of one stream kind; any slot may be NULL. */
typedef struct TEVRA_StreamMethod {
    TEVRA_StreamReadFunc read;
    TEVRA_StreamWriteFunc write;
    TEVRA_StreamDestroyFunc destroy;
    TEVRA_StreamCtrlFunc ctrl;
} TEVRA_StreamMethod;

/* ---- Front ends and chains ---- */

/**
 * Reads up to n bytes into buffer through the stream's read operation and
 * returns its result. 0 with "Null Point" for a NULL stream, with "This method
 * not support" when the stream cannot read (a null stream).
 *
 * The end of the data does not look the same on every stream:
 * - memory stream: 1 with *count 0; TEVRA_STREAM_CTRL_EOF gives 1 once the
 *   read position reaches the length.
 * - file stream: a failure. The read that first meets the end with nothing
 *   left returns 0 with "read file fail"; once the end has been seen (also
 *   by a short read that did return bytes) every read returns 0 with "Read
 *   pass end of stream". TEVRA_STREAM_CTRL_EOF gives 1 once a read hit the
 *   end, 0 before that or when the file is closed. A read of 0 bytes fails.
 * - Base64 and hex filters: over a memory stream, 1 with *count 0 (an
 *   incomplete group or digit pair left over is only carried). Over a source
 *   whose end is a failed read (a file), 0 with "Read pass end of stream"
 *   when nothing was delivered (the source's own entry is pushed too), 1
 *   with the bytes otherwise, and 0 with "stream length error" when the text
 *   ends inside a group or digit pair. After a decode failure every read
 *   fails again with the decode error. Their
 *   TEVRA_STREAM_CTRL_EOF answers for the source below, except that Base64
 *   answers 0 after a decode failure or while an incomplete group is carried,
 *   and hex answers 0 (with "hex decode fail") after a decode failure.
 * - digest and HMAC filters read straight through to the stream below and
 *   pass TEVRA_STREAM_CTRL_EOF down too.
 * - null stream: cannot be read; TEVRA_STREAM_CTRL_EOF fails with
 *   "unsupported ctrl code".
 * A portable loop therefore stops on a result other than 1 or a count of 0,
 * then asks TEVRA_STREAM_CTRL_EOF whether that was the end or an error.
 */
TEVRA_API int tevra_stream_read(TEVRA_Stream *stream, void *buffer, long n, long *count,
                                TEVRA_ErrCtx *ctx);
/** Writes up to n bytes through the write operation; failures as tevra_stream_read. */
TEVRA_API int tevra_stream_write(TEVRA_Stream *stream, const void *data, long n, long *count,
                                 TEVRA_ErrCtx *ctx);
/** Sends a control code (TEVRA_STREAM_CTRL_*); failures as tevra_stream_read. */
TEVRA_API int tevra_stream_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx);
/**
 * Releases one stream and its private state; NULL is ignored. The stream is
 * not unlinked: pop it first, or use tevra_stream_freeall.
 */
TEVRA_API void tevra_stream_free(TEVRA_Stream *stream);
/** Releases every stream of the chain that stream belongs to; NULL is ignored. */
TEVRA_API void tevra_stream_freeall(TEVRA_Stream *stream);
/**
 * Writes exactly length bytes, calling the write operation until all are
 * accepted. 1 on success (at once for length 0); 0 with "Bad Length" for a
 * negative length; otherwise the failing write's result.
 */
TEVRA_API int tevra_stream_writen(TEVRA_Stream *stream, const void *data, long length,
                                  TEVRA_ErrCtx *ctx);
/**
 * Reads exactly length bytes. 0 with "Bad Length" for a negative length or
 * when a read returns no bytes first (a memory stream running dry); otherwise
 * the failing read's result (a file stream running dry). Bytes read before a
 * failure are consumed.
 */
TEVRA_API int tevra_stream_readn(TEVRA_Stream *stream, void *buffer, long length,
                                 TEVRA_ErrCtx *ctx);
/**
 * Copies the whole content of source (from its beginning) into destination.
 * Stores the number of bytes copied in *total when total is not NULL. 1 on
 * success, else 0 or the failing operation's result. A memory source (not in
 * queue mode) is copied whole whatever its read position; other sources are
 * reset and read to their end, so a file source leaves its end-of-file
 * entry ("read file fail") in ctx even when the copy succeeds.
 */
TEVRA_API int tevra_stream_writefromstream(TEVRA_Stream *destination, TEVRA_Stream *source,
                                           long *total, TEVRA_ErrCtx *ctx);
/** The stream's type code, 0xFFFFFFFF for NULL. */
TEVRA_API unsigned int tevra_stream_gettype(const TEVRA_Stream *stream);
/**
 * Puts an unlinked filter on top of a chain that ends in a source/sink.
 * 1, or 0 with nothing changed.
 */
TEVRA_API int tevra_stream_push(TEVRA_Stream *filter, TEVRA_Stream *top);
/**
 * Detaches the top stream of a chain and returns the rest (now its top), or
 * NULL when top is NULL, not the top, or alone.
 */
TEVRA_API TEVRA_Stream *tevra_stream_pop(TEVRA_Stream *top);
/** The stream below this one, NULL at the bottom or for NULL. */
TEVRA_API TEVRA_Stream *tevra_stream_next(TEVRA_Stream *stream);
/**
 * Finds the first stream of the given type, searching downwards from the top
 * of the chain, from the stream itself or from its next (TEVRA_STREAM_FIND_*).
 * A type of TEVRA_STREAM_FILTER or TEVRA_STREAM_SOURCE_SINK matches the class.
 * NULL when nothing matches or where is out of range.
 */
TEVRA_API TEVRA_Stream *tevra_stream_find_type(TEVRA_Stream *stream, int where, int type);
/**
 * A new read-only memory stream over the bytes of a stand-alone memory stream
 * (not in queue mode), sharing them: the original must outlive the copy.
 * NULL for anything else.
 */
TEVRA_API TEVRA_Stream *tevra_memstream_dup_readonly(TEVRA_Stream *stream);

/* ---- Memory and null streams ---- */

/**
 * A growable memory stream with one position for reading and writing.
 * capacity 0 means 4096; capacities are rounded up to multiples of 8.
 * NULL with "Bad Length" for a negative capacity, "Out Of Memory" on failure.
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_mem(long capacity, TEVRA_ErrCtx *ctx);
/**
 * A growable memory stream with separate read and write positions (a queue:
 * consumed bytes at the front are reclaimed when room runs out).
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_rwspecmem(long capacity, TEVRA_ErrCtx *ctx);
/**
 * A read-only memory stream over length bytes. With copy non-zero the bytes
 * are copied; with copy 0 they are borrowed and must outlive the stream.
 * NULL data is allowed only with length 0.
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_romem(const void *data, long length, int copy,
                                               TEVRA_ErrCtx *ctx);
/**
 * Hands a memory stream's buffer and length to the caller. Accepted: streams
 * from tevra_stream_new_mem, tevra_stream_new_romem and
 * tevra_memstream_dup_readonly (linked in a chain or not). Refused with 0 and
 * no error entry: queue-mode streams (tevra_stream_new_rwspecmem), any other
 * stream type, and NULL arguments.
 * Who owns the bytes depends on where they came from: a growable stream's or
 * a copying read-only stream's buffer is the caller's to tevra_free; a
 * borrowing read-only stream (copy 0) or a dup_readonly copy hands out the
 * borrowed buffer it never owned, which must NOT be freed by this caller.
 * The stream keeps pointing at the buffer, no longer owns it, and loses its
 * read-only mark (writes that fit would land in the handed-out bytes); a
 * second call hands out the same buffer again. Free the stream right away.
 */
TEVRA_API int tevra_memstreamdeatch(TEVRA_Stream *stream, unsigned char **data, long *length);
/**
 * A sink that discards everything written; it cannot be read and only knows
 * TEVRA_STREAM_CTRL_FLUSH. NULL on failure.
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_null(TEVRA_ErrCtx *ctx);

/* ---- File stream ---- */

/**
 * A stream over the file at path, opened in binary mode for reading (1),
 * writing (2) or appending (3). NULL with "Null Point", "error file mode",
 * "open file fail" or "Out Of Memory".
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_file(const char *path, unsigned long mode,
                                              TEVRA_ErrCtx *ctx);

/* ---- Base64 and PEM ---- */

/**
 * A Base64 filter: encodes what is written, decodes what is read. encode_flags
 * mode 1-4 and decode_flags mode 1-3 (TEVRA_BASE64_*), else "bad base64 flag".
 * A line length below 1 means 64. Push it onto a chain before use; the last
 * short group is written only by TEVRA_STREAM_CTRL_FLUSH.
 *
 * Small reads return wrong data. The filter decodes up to 1024 characters at
 * a time and keeps the decoded bytes a read cannot take (at most 767) for the
 * next read. A read asking for fewer bytes than are kept gets the first ones,
 * but the rest are not moved up: the next read starts again at the front of
 * the kept bytes, so bytes are repeated and the end of the kept ones lost.
 * Reading in requests of 768 bytes or more is always safe (every request
 * then takes all that is kept); tevra_stream_readn with a smaller length is
 * not. Alternatively decode whole 4-character groups with tevra_base64decode.
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_base64(unsigned int encode_flags, int line_length,
                                                unsigned int decode_flags, TEVRA_ErrCtx *ctx);
/**
 * Base64-encodes length (> 0) bytes in lines of 64 characters ended as the
 * encode mode of flags says. *text is zero-terminated and released with
 * tevra_free; *text_length excludes the terminator. 1, or 0 for NULL
 * pointers, length < 1, bad flags or no memory.
 */
TEVRA_API int tevra_base64encode(unsigned int flags, const unsigned char *data, long length,
                                 unsigned char **text, long *text_length);
/**
 * Decodes length (>= 1) bytes of Base64 text; *data is released with tevra_free. 1, or 0 for bad
 * arguments or text.
 */
TEVRA_API int tevra_base64decode(unsigned int flags, const unsigned char *text, long length,
                                 unsigned char **data, long *data_length);
/**
 * Wraps Base64 of the data in "-----BEGIN label-----" lines; *text released with tevra_free. 1 or
 * 0.
 */
TEVRA_API int tevra_pemencode(const char *label, const unsigned char *data, long length,
                              unsigned char **text, long *text_length);
/** Decodes a PEM text with the given label; *data released with tevra_free. 1 or 0. */
TEVRA_API int tevra_pemdecode(const char *label, const unsigned char *text, long length,
                              unsigned char **data, long *data_length);

/* ---- Hex ---- */

/**
 * Two hex digits per byte (upper case when upper is non-zero), zero-terminated;
 * *text_length is 2 * length. *text is released with tevra_free. 1, or 0 for
 * NULL pointers, length < 1 or no memory.
 */
TEVRA_API int tevra_hexencode(int upper, const unsigned char *data, long length,
                              unsigned char **text, long *text_length);
/**
 * Decodes an even number (>= 2) of hex digits of either case; *data is
 * released with tevra_free. 0 for bad input; *data must not be used then.
 */
TEVRA_API int tevra_hexdecode(const unsigned char *text, long length, unsigned char **data,
                              long *data_length);
/**
 * A hex filter: bytes written become hex digits, hex digits read become bytes.
 * After a decode failure every read and control call fails with "hex decode
 * fail". NULL with "Out Of Memory".
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_hex(int upper, TEVRA_ErrCtx *ctx);

/* ---- Message digest and HMAC ---- */

/** A caller-supplied digest algorithm. The library has no hash of its own. */
typedef struct TEVRA_DigestMethod {
    void *(*newctx)(void);           /**< new context, NULL on failure */
    void (*freectx)(void *ctx);      /**< releases a context */
    int (*mdlen)(void);              /**< digest size in bytes */
    unsigned int (*algorithm)(void); /**< algorithm number */
    int (*init)(void *ctx);          /**< (re)starts a computation */
    int (*update)(void *ctx, const unsigned char *data, long length); /**< 1 on success */
    /** Finishes the digest into out, 1 on success. The digest stream calls it
        with its own context as out (final(ctx, ctx)): it must leave the
        digest in the first mdlen() bytes of the context, which must be that
        large, and cope with out overlapping its state. */
    int (*final)(void *ctx, unsigned char *out);
    int (*blocksize)(void);  /**< block size in bytes */
    void *(*dup)(void *ctx); /**< copy of a context, optional */
} TEVRA_DigestMethod;

/**
 * A digest filter hashing the bytes written through it (read bytes are not
 * hashed). The method table is copied; every slot but update and dup must be
 * set and mdlen() must be at least 1. NULL with "Null Point", "bad md
 * function" or "Out Of Memory".
 * TEVRA_STREAM_CTRL_GET_MD calls final(context, context) and copies the
 * first mdlen() bytes of the context out; the context is not restarted, so
 * fetch the digest once, at the end. A failing final still returns 1 (with
 * "md finish fail" in ctx) and hands out whatever the context starts with:
 * check ctx.
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_md(const TEVRA_DigestMethod *method, TEVRA_ErrCtx *ctx);
/**
 * An unlinked copy of a digest stream and its running state; NULL for NULL, another type, a method
 * without dup, or no memory.
 */
TEVRA_API TEVRA_Stream *tevra_stream_md_dup(TEVRA_Stream *stream);
/**
 * An HMAC filter over the bytes written through it, keyed with key_length
 * (>= 1) bytes; the MAC is fetched with TEVRA_STREAM_CTRL_GET_HMAC. The
 * method must meet the conditions of tevra_stream_new_md (the outer hash runs
 * through a digest stream, so final is called with the context as output).
 * NULL with "Null Point", "bad md function", "Bad Length" or "Out Of Memory".
 */
TEVRA_API TEVRA_Stream *tevra_stream_new_hmac(const TEVRA_DigestMethod *method,
                                              const unsigned char *key, long key_length,
                                              TEVRA_ErrCtx *ctx);

TEVRA_END_DECLS

#endif
