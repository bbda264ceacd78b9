// Memory streams: a growable buffer with one shared position, a read-only
// view over copied or borrowed bytes, and a queue with separate read and
// write positions that reclaims its consumed front before growing.
#include <cstring>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "TEVRA_Util.h"

namespace {

using namespace tevra::detail;

constexpr char kFile[] = "TEVRA_Stream_Mem";
constexpr long kDefaultCapacity = 4096;

int mem_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx);
int mem_write(TEVRA_Stream *stream, const void *bytes, long n, long *count, TEVRA_ErrCtx *ctx);
void mem_destroy(TEVRA_Stream *stream);
int mem_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx);

const TEVRA_StreamMethod mem_method = {mem_read, mem_write, mem_destroy, mem_ctrl};

// a + b + c rounded up to a multiple of 8, or -1 when that overflows.
long grown_capacity(long a, long b, long c) {
    long sum = 0;
    if (__builtin_add_overflow(a, b, &sum) || __builtin_add_overflow(sum, c, &sum) ||
        __builtin_add_overflow(sum, 7L, &sum))
        return -1;
    return sum & ~7L;
}

unsigned char *alloc_bytes(long size, int line) {
    // A zero-byte request still yields a distinct block, so a buffer pointer
    // is NULL only when allocation failed.
    return static_cast<unsigned char *>(tevra_malloc(size > 0 ? size : 1, kFile, line));
}

void copy_bytes(unsigned char *to, const void *from, long n) {
    if (n > 0)
        std::memcpy(to, from, static_cast<size_t>(n));
}

// Makes a stream over fresh state; takes ownership of buffer (released on
// failure unless flags say it is borrowed).
TEVRA_Stream *make_stream(unsigned char *buffer, long length, long capacity, unsigned int flags,
                          TEVRA_ErrCtx *ctx, int line) {
    auto *state = static_cast<MemStreamState *>(tevra_malloc(sizeof(MemStreamState), kFile, line));
    TEVRA_Stream *stream = state != nullptr
                               ? stream_new(&mem_method, TEVRA_STREAM_TYPE_MEM, state, kFile, line)
                               : nullptr;
    if (stream == nullptr) {
        tevra_free(state);
        if ((flags & MEM_FLAG_NOT_OWNED) == 0)
            tevra_free(buffer);
        report(ctx, kFile, line, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    state->data = buffer;
    state->length = length;
    state->capacity = capacity;
    state->flags = flags;
    state->read_pos = 0;
    state->write_pos = 0;
    return stream;
}

TEVRA_Stream *new_growable(long capacity, unsigned int flags, TEVRA_ErrCtx *ctx, int line) {
    if (capacity < 0) {
        report(ctx, kFile, line, TEVRA_ERR_BAD_LENGTH);
        return nullptr;
    }
    capacity = grown_capacity(capacity == 0 ? kDefaultCapacity : capacity, 0, 0);
    unsigned char *buffer = capacity < 0 ? nullptr : alloc_bytes(capacity, line);
    if (buffer == nullptr) {
        report(ctx, kFile, line, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    return make_stream(buffer, 0, capacity, flags, ctx, line);
}

// Common entry tests of the three operations: 0 after pushing an entry, or 1
// with the state in *out.
int entry_state(TEVRA_Stream *stream, MemStreamState **out, TEVRA_ErrCtx *ctx, int line) {
    if (stream == nullptr)
        return report(ctx, kFile, line, TEVRA_ERR_NULL_POINT);
    *out = static_cast<MemStreamState *>(stream->data);
    if (*out == nullptr)
        return report(ctx, kFile, line, TEVRA_ERR_STREAM_BAD);
    return 1;
}

int mem_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    MemStreamState *m = nullptr;
    if (entry_state(stream, &m, ctx, __LINE__) != 1)
        return 0;
    if (n < 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
    long remaining = m->length - m->read_pos;
    // The end of the data is a successful read of nothing.
    if (n == 0 || remaining == 0) {
        set_count(count, 0);
        return 1;
    }
    // A read position beyond the data reports the general "unexpected" code
    // with the "Bad Length" text.
    if (remaining < 0)
        return report_text(ctx, kFile, __LINE__, TEVRA_ERR_UNEXPECTED,
                           error_text(TEVRA_ERR_BAD_LENGTH));
    if (buffer == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    long take = n < remaining ? n : remaining;
    copy_bytes(static_cast<unsigned char *>(buffer), m->data + m->read_pos, take);
    m->read_pos += take;
    if ((m->flags & MEM_FLAG_RWSPEC) == 0)
        m->write_pos = m->read_pos;
    else if (m->write_pos < m->read_pos)
        m->write_pos = m->read_pos;
    set_count(count, take);
    return 1;
}

// Stores n bytes at the write position, which the caller made room for.
int put_bytes(MemStreamState *m, const void *bytes, long n, long *count) {
    // The bytes may come from this very buffer (a stream copied into itself).
    std::memmove(m->data + m->write_pos, bytes, static_cast<size_t>(n));
    m->write_pos += n;
    if (m->length < m->write_pos)
        m->length = m->write_pos;
    if ((m->flags & MEM_FLAG_RWSPEC) == 0)
        m->read_pos = m->write_pos;
    set_count(count, n);
    return 1;
}

// Queue mode: moves the unread bytes to the front of `to` (which may be the
// current buffer) and rebases both positions and the length on them.
void compact_into(MemStreamState *m, unsigned char *to) {
    long unread = m->length - m->read_pos;
    if (unread > 0)
        std::memmove(to, m->data + m->read_pos, static_cast<size_t>(unread));
    m->write_pos -= m->read_pos;
    m->length -= m->read_pos;
    m->read_pos = 0;
}

int mem_write(TEVRA_Stream *stream, const void *bytes, long n, long *count, TEVRA_ErrCtx *ctx) {
    MemStreamState *m = nullptr;
    if (entry_state(stream, &m, ctx, __LINE__) != 1)
        return 0;
    if ((m->flags & MEM_FLAG_READONLY) != 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_READONLY);
    if (n < 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
    if (n == 0) {
        set_count(count, 0);
        return 1;
    }
    if (bytes == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);

    long room = m->capacity - m->write_pos;
    if (room < 0)
        return report_text(ctx, kFile, __LINE__, TEVRA_ERR_UNEXPECTED,
                           error_text(TEVRA_ERR_BAD_LENGTH));
    if (room >= n)
        return put_bytes(m, bytes, n, count);
    if ((m->flags & MEM_FLAG_NOT_OWNED) != 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CANNOT_GROW);

    if ((m->flags & MEM_FLAG_RWSPEC) == 0) {
        // Growth keeps the bytes before the write position; everything from
        // there on is rewritten, since the new bytes run past the old end.
        long capacity = grown_capacity(n, m->capacity, m->write_pos);
        unsigned char *buffer = capacity < 0 ? nullptr : alloc_bytes(capacity, __LINE__);
        if (buffer == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        copy_bytes(buffer, m->data, m->write_pos);
        unsigned char *old = m->data;
        m->data = buffer;
        m->capacity = capacity;
        put_bytes(m, bytes, n, count);
        tevra_free(old); // only now: the bytes may have come from it
        return 1;
    }

    // Queue mode. A write position behind the read position cannot be
    // compacted; it is reported as "Out Of Memory".
    if (m->write_pos < m->read_pos)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
    long free_space = m->read_pos + m->capacity - m->length;
    if (free_space >= n) {
        compact_into(m, m->data);
    } else {
        long capacity = grown_capacity(n, m->capacity, m->length - m->read_pos);
        unsigned char *buffer = capacity < 0 ? nullptr : alloc_bytes(capacity, __LINE__);
        if (buffer == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        compact_into(m, buffer);
        unsigned char *old = m->data;
        m->data = buffer;
        m->capacity = capacity;
        put_bytes(m, bytes, n, count);
        tevra_free(old);
        return 1;
    }
    return put_bytes(m, bytes, n, count);
}

void mem_destroy(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != TEVRA_STREAM_TYPE_MEM || stream->data == nullptr)
        return;
    auto *m = static_cast<MemStreamState *>(stream->data);
    if ((m->flags & MEM_FLAG_NOT_OWNED) == 0)
        tevra_free(m->data);
    tevra_free(m);
    stream->data = nullptr;
}

bool valid_position(const MemStreamState *m, long v) {
    return v >= 0 && v < m->length;
}

// Reserve: room for n more bytes at the end. Refusals are silent.
int reserve(MemStreamState *m, long n) {
    if ((m->flags & MEM_FLAG_READONLY) != 0)
        return 0;
    if (m->read_pos != m->write_pos || m->write_pos != m->length)
        return 0;
    if (m->capacity - m->read_pos >= n)
        return 1;
    long capacity = grown_capacity(m->read_pos, n, 0);
    unsigned char *buffer = capacity < 0 ? nullptr : alloc_bytes(capacity, __LINE__);
    if (buffer == nullptr)
        return 0;
    copy_bytes(buffer, m->data, m->length);
    // A borrowed or detached buffer belongs to someone else: it is left alone,
    // and the new one is the stream's own.
    if ((m->flags & MEM_FLAG_NOT_OWNED) == 0)
        tevra_free(m->data);
    m->flags &= ~MEM_FLAG_NOT_OWNED;
    m->data = buffer;
    m->capacity = capacity;
    return 1;
}

int mem_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx) {
    MemStreamState *m = nullptr;
    if (entry_state(stream, &m, ctx, __LINE__) != 1)
        return 0;
    const bool rwspec = (m->flags & MEM_FLAG_RWSPEC) != 0;
    auto *value = static_cast<long *>(argument);
    switch (code) {
    case TEVRA_STREAM_CTRL_RESET:
        m->read_pos = 0;
        m->write_pos = 0;
        return 1;
    case TEVRA_STREAM_CTRL_FLUSH:
        return 1;
    case TEVRA_STREAM_CTRL_EOF:
        return m->read_pos == m->length ? 1 : 0;
    case TEVRA_STREAM_CTRL_GET_LENGTH:
    case TEVRA_STREAM_CTRL_GET_POS:
    case TEVRA_STREAM_CTRL_SET_POS:
    case TEVRA_STREAM_CTRL_GET_READ_POS:
    case TEVRA_STREAM_CTRL_GET_WRITE_POS:
    case TEVRA_STREAM_CTRL_SET_READ_POS:
    case TEVRA_STREAM_CTRL_SET_WRITE_POS:
    case TEVRA_STREAM_CTRL_RESERVE:
        if (value == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        break;
    default:
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_CTRL_CODE);
    }

    switch (code) {
    case TEVRA_STREAM_CTRL_GET_LENGTH:
        *value = rwspec ? m->length - m->read_pos : m->length;
        return 1;
    case TEVRA_STREAM_CTRL_GET_POS:
        if (rwspec && m->read_pos != m->write_pos)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_POS_DIFFER);
        *value = m->read_pos;
        return 1;
    case TEVRA_STREAM_CTRL_SET_POS:
        if (!valid_position(m, *value))
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS);
        m->read_pos = m->write_pos = *value;
        return 1;
    case TEVRA_STREAM_CTRL_GET_READ_POS:
        *value = m->read_pos;
        return 1;
    case TEVRA_STREAM_CTRL_GET_WRITE_POS:
        *value = m->write_pos;
        return 1;
    case TEVRA_STREAM_CTRL_SET_READ_POS:
        if (!valid_position(m, *value))
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS);
        m->read_pos = *value;
        if (!rwspec || m->write_pos < m->read_pos)
            m->write_pos = m->read_pos;
        return 1;
    case TEVRA_STREAM_CTRL_SET_WRITE_POS:
        if (!valid_position(m, *value))
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS);
        m->write_pos = *value;
        if (!rwspec) {
            m->read_pos = *value;
            return 1;
        }
        // In queue mode the write position is moved even when it ends up
        // behind the read position; the call then reports the bad position.
        if (m->read_pos > *value)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_POS);
        return 1;
    default: // TEVRA_STREAM_CTRL_RESERVE
        return reserve(m, *value);
    }
}

} // namespace

extern "C" {

TEVRA_API TEVRA_Stream *tevra_stream_new_mem(long capacity, TEVRA_ErrCtx *ctx) {
    return new_growable(capacity, 0, ctx, __LINE__);
}

TEVRA_API TEVRA_Stream *tevra_stream_new_rwspecmem(long capacity, TEVRA_ErrCtx *ctx) {
    return new_growable(capacity, MEM_FLAG_RWSPEC, ctx, __LINE__);
}

TEVRA_API TEVRA_Stream *tevra_stream_new_romem(const void *data, long length, int copy,
                                               TEVRA_ErrCtx *ctx) {
    if (length < 0) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
        return nullptr;
    }
    if (data == nullptr && length != 0) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        return nullptr;
    }
    if (copy == 0) {
        // The caller's bytes are only read, never written, grown or released.
        auto *borrowed = static_cast<unsigned char *>(const_cast<void *>(data));
        return make_stream(borrowed, length, length, MEM_FLAG_READONLY | MEM_FLAG_NOT_OWNED, ctx,
                           __LINE__);
    }
    unsigned char *buffer = alloc_bytes(length, __LINE__);
    if (buffer == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    copy_bytes(buffer, data, length);
    return make_stream(buffer, length, length, MEM_FLAG_READONLY, ctx, __LINE__);
}

TEVRA_API int tevra_memstreamdeatch(TEVRA_Stream *stream, unsigned char **data, long *length) {
    MemStreamState *m = mem_state(stream);
    if (m == nullptr || (m->flags & MEM_FLAG_RWSPEC) != 0 || data == nullptr || length == nullptr)
        return 0;
    *data = m->data;
    *length = m->length;
    // The stream may still be used, but the buffer now belongs to the caller.
    m->flags = MEM_FLAG_NOT_OWNED;
    return 1;
}

} // extern "C"
