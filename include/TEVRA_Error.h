/*
 * Error contexts: a caller-owned ring of the 31 most recent error entries,
 * the description tables, and a per-thread last-error code.
 */
#ifndef TEVRA_ERROR_H
#define TEVRA_ERROR_H

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

/* General error codes. */
#define TEVRA_ERR_OUT_OF_MEMORY 0x10000
#define TEVRA_ERR_BAD_LENGTH 0x10001
#define TEVRA_ERR_NULL_POINT 0x10002
#define TEVRA_ERR_NOT_SUPPORT 0x10003
#define TEVRA_ERR_UNEXPECTED 0x10004

/* Stream error codes. */
#define TEVRA_ERR_STREAM_READONLY 0x10100
#define TEVRA_ERR_STREAM_CANNOT_GROW 0x10101
#define TEVRA_ERR_STREAM_BAD 0x10102
#define TEVRA_ERR_STREAM_READ_PAST_END 0x10103
#define TEVRA_ERR_STREAM_WRITE_FAIL 0x10104
#define TEVRA_ERR_STREAM_BAD_POS 0x10105
#define TEVRA_ERR_STREAM_READ_FILE 0x10106
#define TEVRA_ERR_STREAM_WRITE_FILE 0x10107
#define TEVRA_ERR_STREAM_FILE_CLOSED 0x10108
#define TEVRA_ERR_STREAM_RESET 0x10109
#define TEVRA_ERR_STREAM_CLOSE_FILE 0x1010A
#define TEVRA_ERR_STREAM_FILE_MODE 0x1010B
#define TEVRA_ERR_STREAM_OPEN_FILE 0x1010C
#define TEVRA_ERR_STREAM_NO_SINK 0x1010D
#define TEVRA_ERR_STREAM_LENGTH 0x1010E
#define TEVRA_ERR_STREAM_HEX_DECODE 0x1010F
#define TEVRA_ERR_STREAM_BASE64_FLAG 0x10110
#define TEVRA_ERR_STREAM_BASE64_DECODE 0x10111
#define TEVRA_ERR_STREAM_FLUSH_FILE 0x10112
#define TEVRA_ERR_STREAM_BAD_MD 0x10113
#define TEVRA_ERR_STREAM_GET_LENGTH 0x10114
#define TEVRA_ERR_STREAM_CTRL_CODE 0x10115
#define TEVRA_ERR_STREAM_PEM_DECODE 0x10116
#define TEVRA_ERR_STREAM_MD_UPDATE 0x10117
#define TEVRA_ERR_STREAM_MD_FINISH 0x10118
#define TEVRA_ERR_STREAM_CANNOT_READ 0x10119
#define TEVRA_ERR_STREAM_CANNOT_WRITE 0x1011A
#define TEVRA_ERR_STREAM_POS_DIFFER 0x1011B

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
/** Lists the entries, newest first, on standard error. 0 for NULL, else 1. */
TEVRA_API int tevra_err_ctx_print(TEVRA_ErrCtx *ctx);
/**
 * Lists the entries into a stream. On failure returns the failing write's
 * result and, when code is given, stores the failure's code in it.
 */
TEVRA_API int tevra_err_ctx_output(struct TEVRA_Stream *stream, TEVRA_ErrCtx *ctx,
                                   unsigned int *code);
/** Empties the context. 0 for NULL, else 1. */
TEVRA_API int tevra_err_ctx_clean(TEVRA_ErrCtx *ctx);
/** Stores the newest code (1 when empty) in *code. 0 for NULL arguments, else 1. */
TEVRA_API int tevra_err_ctx_geterrcode(TEVRA_ErrCtx *ctx, unsigned int *code);
/**
 * Reports the newest description's length plus one in *length_out. With a
 * buffer, copies the buffer's text into the newest entry (not the other way).
 */
TEVRA_API int tevra_err_ctx_geterrdesc(TEVRA_ErrCtx *ctx, char *buffer, int length,
                                       unsigned int *length_out);
/** Copies the whole record from src to dst. 0 for NULL arguments, else 1. */
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
