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

// Stores a read or write count where the caller asked for one.
inline void set_count(long *count, long value) {
    if (count != nullptr)
        *count = value;
}

// A new unlinked stream record over private state `data` (which the caller
// still owns if this fails). NULL when the allocation fails; pushes nothing.
TEVRA_Stream *stream_new(const TEVRA_StreamMethod *method, unsigned int type, void *data,
                         const char *file, int line) noexcept;

// What sets one filter's read or write checks apart from another's.
struct FilterChecks {
    // Reported, before the length is looked at, while failed(state) says an
    // earlier call failed for good; 0 (with failed NULL) for calls that go
    // on regardless.
    unsigned int sticky_code;
    bool (*failed)(const void *state);
    // A NULL buffer is refused here; when false it is left to the next stream.
    bool buffer_required;
};

// The checks of a filter write, which no earlier failure stops.
inline constexpr FilterChecks kFilterWriteChecks = {0, nullptr, true};

// The checks of a filter read that reports, as code, a decoding failure
// recorded in State::failed again on every later call.
template <class State> constexpr FilterChecks sticky_read_checks(unsigned int code) {
    return {code, [](const void *state) { return static_cast<const State *>(state)->failed != 0; },
            true};
}

// filter_io_checks and filter_ctrl_checks found nothing to refuse.
constexpr int kFilterProceed = -1;

// The checks a filter's read or write starts with, in this order: a NULL
// stream (Null Point), a stream without state (Bad stream), the sticky
// failure of `checks`, a negative n (Bad Length), an empty request (done at
// once with *count set to 0, even without a next stream), no next stream (no
// source/sink stream), a NULL buffer when `checks` requires one (Null Point).
// Entries carry the caller's file and line. Returns kFilterProceed, or the
// result the call returns.
int filter_io_checks(const TEVRA_Stream *stream, const FilterChecks &checks, const void *buffer,
                     long n, long *count, TEVRA_ErrCtx *ctx, const char *file, int line);

// The checks a filter's ctrl starts with: a NULL stream (Null Point), a
// stream without state (Bad stream), no next stream (no source/sink stream).
// Returns kFilterProceed, or 0 after reporting with the caller's file and line.
int filter_ctrl_checks(const TEVRA_Stream *stream, TEVRA_ErrCtx *ctx, const char *file, int line);

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
