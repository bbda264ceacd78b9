// The stream record, the memory stream's state and the reporting helpers that
// every stream kind shares.
#ifndef TEVRA_STREAM_INTERNAL_H
#define TEVRA_STREAM_INTERNAL_H

#include "TEVRA_Error.h"
#include "TEVRA_Stream.h"

// One link of a chain. prev points towards the top, next towards the
// source/sink; a.next == b exactly when b.prev == a.
struct TEVRA_Stream {
    const TEVRA_StreamMethod *method; // the kind's constant table
    unsigned int type;                // TEVRA_STREAM_TYPE_*
    void *data;                       // the kind's private state, released by destroy
    TEVRA_Stream *prev;
    TEVRA_Stream *next;
};

namespace tevra::detail {

// The description of a general (0x10000-0x100FF) or stream (0x10100-) code;
// "" for codes neither table knows.
inline const char *error_text(unsigned int code) {
    return code < TEVRA_ERR_STREAM_READONLY ? tevra_igetGeneralError(static_cast<int>(code))
                                            : tevra_igetStreamError(static_cast<int>(code));
}

// Pushes code with an explicit description. Returns 0, so a failure path can
// read `return report_text(...)`.
inline int report_text(TEVRA_ErrCtx *ctx, const char *file, int line, unsigned int code,
                       const char *text) {
    tevra_err_ctx_put(ctx, file, line, code, text);
    return 0;
}

// Pushes code with its standard description and returns 0.
inline int report(TEVRA_ErrCtx *ctx, const char *file, int line, unsigned int code) {
    return report_text(ctx, file, line, code, error_text(code));
}

// A new unlinked stream record over private state `data` (which the caller
// still owns if this fails). NULL when the allocation fails; pushes nothing.
TEVRA_Stream *stream_new(const TEVRA_StreamMethod *method, unsigned int type, void *data,
                         const char *file, int line) noexcept;

// Smallest multiple of 8 not below n (n >= 0); capacities chosen by the
// memory stream are always such multiples.
inline long round_up8(long n) {
    return (n + 7) & ~7L;
}

// Memory stream flags.
constexpr unsigned int MEM_FLAG_READONLY = 0x00000001u;  // writes refused
constexpr unsigned int MEM_FLAG_RWSPEC = 0x40000000u;    // separate read and write positions
constexpr unsigned int MEM_FLAG_NOT_OWNED = 0x80000000u; // buffer never grown nor released

// Private state of a memory stream (type TEVRA_STREAM_TYPE_MEM). Without
// MEM_FLAG_RWSPEC the two positions are always equal.
struct MemStreamState {
    unsigned char *data;
    long length;   // valid bytes
    long capacity; // size of data
    unsigned int flags;
    long read_pos;
    long write_pos;
};

// The state of a memory stream, or NULL for any other stream.
inline MemStreamState *mem_state(const TEVRA_Stream *stream) {
    return stream != nullptr && stream->type == TEVRA_STREAM_TYPE_MEM
               ? static_cast<MemStreamState *>(stream->data)
               : nullptr;
}

} // namespace tevra::detail

#endif
