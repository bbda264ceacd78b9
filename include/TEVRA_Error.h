/*
 * Error contexts: a caller-owned ring of the 31 most recent error entries,
 * the description tables, and a per-thread last-error code.
 */
#ifndef TEVRA_ERROR_H
#define TEVRA_ERROR_H

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

/*
 * Every error code with its description, as X(NAME, value, text): the
 * TEVRA_ERR_<NAME> constants and the texts returned by tevra_igetGeneralError
 * and tevra_igetStreamError are both made from these lists. Each list holds
 * consecutive values from its first code on.
 */
#define TEVRA_GENERAL_ERRORS(X)                                                                    \
    X(OUT_OF_MEMORY, 0x10000, "Out Of Memory")                                                     \
    X(BAD_LENGTH, 0x10001, "Bad Length")                                                           \
    X(NULL_POINT, 0x10002, "Null Point")                                                           \
    X(NOT_SUPPORT, 0x10003, "This method not support")                                             \
    X(UNEXPECTED, 0x10004, "unexcpeted error")

#define TEVRA_STREAM_ERRORS(X)                                                                     \
    X(STREAM_READONLY, 0x10100, "Write a readonly stream")                                         \
    X(STREAM_CANNOT_GROW, 0x10101, "Stream cannot grow")                                           \
    X(STREAM_BAD, 0x10102, "Bad stream")                                                           \
    X(STREAM_READ_PAST_END, 0x10103, "Read pass end of stream")                                    \
    X(STREAM_WRITE_FAIL, 0x10104, "Write stream fail")                                             \
    X(STREAM_BAD_POS, 0x10105, "pos is invalid")                                                   \
    X(STREAM_READ_FILE, 0x10106, "read file fail")                                                 \
    X(STREAM_WRITE_FILE, 0x10107, "write file fail")                                               \
    X(STREAM_FILE_CLOSED, 0x10108, "file already close")                                           \
    X(STREAM_RESET, 0x10109, "reset fail")                                                         \
    X(STREAM_CLOSE_FILE, 0x1010A, "file close fail")                                               \
    X(STREAM_FILE_MODE, 0x1010B, "error file mode")                                                \
    X(STREAM_OPEN_FILE, 0x1010C, "open file fail")                                                 \
    X(STREAM_NO_SINK, 0x1010D, "no source/sink stream")                                            \
    X(STREAM_LENGTH, 0x1010E, "stream length error")                                               \
    X(STREAM_HEX_DECODE, 0x1010F, "hex decode fail")                                               \
    X(STREAM_BASE64_FLAG, 0x10110, "bad base64 flag")                                              \
    X(STREAM_BASE64_DECODE, 0x10111, "base64 decode fail")                                         \
    X(STREAM_FLUSH_FILE, 0x10112, "file flush fail")                                               \
    X(STREAM_BAD_MD, 0x10113, "bad md function")                                                   \
    X(STREAM_GET_LENGTH, 0x10114, "get stream length fail")                                        \
    X(STREAM_CTRL_CODE, 0x10115, "unsupported ctrl code")                                          \
    X(STREAM_PEM_DECODE, 0x10116, "pem decode fail")                                               \
    X(STREAM_MD_UPDATE, 0x10117, "md update fail")                                                 \
    X(STREAM_MD_FINISH, 0x10118, "md finish fail")                                                 \
    X(STREAM_CANNOT_READ, 0x10119, "stream can not read")                                          \
    X(STREAM_CANNOT_WRITE, 0x1011A, "stream can not write")                                        \
    X(STREAM_POS_DIFFER, 0x1011B, "wirte pos and read pos are difference")

#define TEVRA_ERR_ENUMERATOR_(name, value, text) TEVRA_ERR_##name = value,
enum { TEVRA_GENERAL_ERRORS(TEVRA_ERR_ENUMERATOR_) TEVRA_STREAM_ERRORS(TEVRA_ERR_ENUMERATOR_) };
#undef TEVRA_ERR_ENUMERATOR_

#define TEVRA_ERR_CTX_SLOTS 32

/** One reported error. */
typedef struct TEVRA_ErrEntry {
    const char *file;      /**< reporter's source file name, not copied */
    int line;              /**< reporter's source line, never negative */
    unsigned int code;     /**< error code */
    char description[64];  /**< copy of the description, at most 63 characters */
} TEVRA_ErrEntry;

/** Ring of the 31 most recent entries; empty when next == start. */
typedef struct TEVRA_ErrCtx {
    TEVRA_ErrEntry entries[TEVRA_ERR_CTX_SLOTS];
    int next;  /**< slot the next put writes */
    int start; /**< slot of the oldest entry held */
} TEVRA_ErrCtx;

struct TEVRA_Stream;

/** New empty context (free with tevra_err_ctx_free), or NULL. */
TEVRA_API TEVRA_ErrCtx *tevra_err_ctx_new(void);
/** Releases a context; NULL is ignored. */
TEVRA_API void tevra_err_ctx_free(TEVRA_ErrCtx *ctx);
/**
 * Pushes an entry, dropping the oldest when 31 are held. Returns 0 (nothing
 * written) for a NULL ctx or file or a negative line, else 1.
 */
TEVRA_API int tevra_err_ctx_put(TEVRA_ErrCtx *ctx, const char *file, int line, unsigned int code,
                                const char *description);
/**
 * Lists the entries, newest first, on standard error, one line each:
 * "0X%08X <description> <file>(<line>)"; an empty context prints "No Error".
 * While the newest entry's slot lies below start (the ring has wrapped: after
 * the 33rd put, until next comes round to 0 again), nothing at all is
 * listed. 0 for NULL, else 1.
 */
TEVRA_API int tevra_err_ctx_print(TEVRA_ErrCtx *ctx);
/**
 * Lists the entries into a stream, newest first, one line each formatted as
 * printf("0X%08X %512s %64s(%d)\n", code, description, file, line): the
 * description is right-aligned in 512 columns and the file name in 64, so
 * every line is at least 590 bytes. An empty context writes "No Error\n";
 * a wrapped ring (see tevra_err_ctx_print) writes nothing and returns 1. The writes'
 * errors do not go into ctx. Returns 1, or the failing write's result (0)
 * with its error code in *code when code is not NULL. With code set, a NULL
 * stream stores TEVRA_ERR_STREAM_BAD and a NULL ctx TEVRA_ERR_NULL_POINT.
 */
TEVRA_API int tevra_err_ctx_output(struct TEVRA_Stream *stream, TEVRA_ErrCtx *ctx,
                                   unsigned int *code);
/** Empties the context. 0 for NULL, else 1. */
TEVRA_API int tevra_err_ctx_clean(TEVRA_ErrCtx *ctx);
/** Stores the newest code (1 when empty) in *code. 0 for NULL arguments, else 1. */
TEVRA_API int tevra_err_ctx_geterrcode(TEVRA_ErrCtx *ctx, unsigned int *code);
/**
 * Stores the newest entry's description length plus one in *length_out
 * (1 for an empty context) and returns 1; 0 for a NULL ctx or length_out.
 * With buffer NULL that is all. With a buffer, the copy runs from the buffer
 * INTO the newest entry: the first (stored length + 1) bytes of buffer
 * overwrite its description, and the buffer is left unchanged. To read the
 * description, use ctx->entries[] directly. A buffer whose length is not
 * above the stored text length gives 0 and copies nothing. On an empty
 * context a buffer of length 1 or more gets an empty string instead (0 when
 * length < 1).
 */
TEVRA_API int tevra_err_ctx_geterrdesc(TEVRA_ErrCtx *ctx, char *buffer, int length,
                                       unsigned int *length_out);
/**
 * Copies the whole record from src to dst (file names stay shared). 0 for NULL arguments, else 1.
 */
TEVRA_API int tevra_err_ctx_copy(const TEVRA_ErrCtx *src, TEVRA_ErrCtx *dst);
/** Text of a general error code, "" for unknown codes. */
TEVRA_API const char *tevra_igetGeneralError(int code);
/** Text of a stream error code, "" for unknown codes. */
TEVRA_API const char *tevra_igetStreamError(int code);
/** Stores the calling thread's last error. Returns 1. */
TEVRA_API int tevra_setlasterror(unsigned int code);
/** The calling thread's last error (0 in a new thread). */
TEVRA_API unsigned int tevra_getlasterror(void);

TEVRA_END_DECLS

#endif
