// The stream object: dispatching front ends, exact-length loops, chain
// operations and copying one stream into another.
#include <cstring>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "TEVRA_Util.h"

namespace {

constexpr char kFile[] = "TEVRA_Stream";
constexpr long kCopyBuffer = 8192;

bool is_filter(unsigned int type) {
    return (type & TEVRA_STREAM_FILTER) != 0 && (type & TEVRA_STREAM_SOURCE_SINK) == 0;
}

TEVRA_Stream *top_of(TEVRA_Stream *stream) {
    while (stream->prev != nullptr)
        stream = stream->prev;
    return stream;
}

void release(TEVRA_Stream *stream) {
    if (stream->method != nullptr && stream->method->destroy != nullptr)
        stream->method->destroy(stream);
    tevra_free(stream);
}

// What the exact-length loops refuse before their first call of op: a NULL
// stream, a kind without op, a negative length. Returns kFilterProceed, 1
// for a length of 0 (nothing to do), or 0 after reporting.
template <class Op>
int exact_length_checks(const TEVRA_Stream *stream, Op TEVRA_StreamMethod::*op, long length,
                        TEVRA_ErrCtx *ctx) {
    using tevra::detail::report;
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (stream->method == nullptr || stream->method->*op == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
    if (length < 0)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
    return length == 0 ? 1 : tevra::detail::kFilterProceed;
}

// Copies source into destination through the 8192-byte buffer, once source
// has been rewound. The reads report into the caller's context, so a source
// that meets its end through a failing read (a file stream does) leaves that
// entry behind even when the copy succeeds.
int copy_by_reading(TEVRA_Stream *destination, TEVRA_Stream *source, long *total_out,
                    TEVRA_ErrCtx *ctx) {
    unsigned char buffer[kCopyBuffer];
    long total = 0;
    for (;;) {
        if (source->method->read == nullptr) {
            tevra::detail::report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
            break;
        }
        long count = 0;
        int rc = source->method->read(source, buffer, kCopyBuffer, &count, ctx);
        if (rc != 1 || count == 0)
            break;
        rc = tevra_stream_writen(destination, buffer, count, ctx);
        if (rc != 1)
            return rc;
        total += count;
    }
    int at_end = source->method->ctrl != nullptr
                     ? source->method->ctrl(source, TEVRA_STREAM_CTRL_EOF, nullptr, nullptr)
                     : 0;
    if (at_end != 1)
        return at_end;
    if (total_out != nullptr)
        *total_out = total;
    return 1;
}

} // namespace

namespace tevra::detail {

TEVRA_Stream *stream_new(const TEVRA_StreamMethod *method, unsigned int type, void *data,
                         const char *file, int line) noexcept {
    auto *stream = static_cast<TEVRA_Stream *>(tevra_malloc(sizeof(TEVRA_Stream), file, line));
    if (stream == nullptr)
        return nullptr;
    stream->method = method;
    stream->type = type;
    stream->data = data;
    stream->prev = nullptr;
    stream->next = nullptr;
    return stream;
}

int filter_io_checks(const TEVRA_Stream *stream, const FilterChecks &checks, const void *buffer,
                     long n, long *count, TEVRA_ErrCtx *ctx, const char *file, int line) {
    if (stream == nullptr)
        return report(ctx, file, line, TEVRA_ERR_NULL_POINT);
    if (stream->data == nullptr)
        return report(ctx, file, line, TEVRA_ERR_STREAM_BAD);
    if (checks.failed != nullptr && checks.failed(stream->data))
        return report(ctx, file, line, checks.sticky_code);
    if (n < 0)
        return report(ctx, file, line, TEVRA_ERR_BAD_LENGTH);
    if (n == 0) {
        set_count(count, 0);
        return 1;
    }
    if (stream->next == nullptr)
        return report(ctx, file, line, TEVRA_ERR_STREAM_NO_SINK);
    if (checks.buffer_required && buffer == nullptr)
        return report(ctx, file, line, TEVRA_ERR_NULL_POINT);
    return kFilterProceed;
}

int filter_ctrl_checks(const TEVRA_Stream *stream, TEVRA_ErrCtx *ctx, const char *file, int line) {
    if (stream == nullptr)
        return report(ctx, file, line, TEVRA_ERR_NULL_POINT);
    if (stream->data == nullptr)
        return report(ctx, file, line, TEVRA_ERR_STREAM_BAD);
    if (stream->next == nullptr)
        return report(ctx, file, line, TEVRA_ERR_STREAM_NO_SINK);
    return kFilterProceed;
}

} // namespace tevra::detail

using tevra::detail::report;

extern "C" {

TEVRA_API int tevra_stream_read(TEVRA_Stream *stream, void *buffer, long n, long *count,
                                TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (stream->method == nullptr || stream->method->read == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
    return stream->method->read(stream, buffer, n, count, ctx);
}

TEVRA_API int tevra_stream_write(TEVRA_Stream *stream, const void *data, long n, long *count,
                                 TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (stream->method == nullptr || stream->method->write == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
    return stream->method->write(stream, data, n, count, ctx);
}

TEVRA_API int tevra_stream_ctrl(TEVRA_Stream *stream, long code, void *argument,
                                TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (stream->method == nullptr || stream->method->ctrl == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
    return stream->method->ctrl(stream, code, argument, ctx);
}

TEVRA_API void tevra_stream_free(TEVRA_Stream *stream) {
    if (stream != nullptr)
        release(stream);
}

TEVRA_API void tevra_stream_freeall(TEVRA_Stream *stream) {
    if (stream == nullptr)
        return;
    stream = top_of(stream);
    while (stream != nullptr) {
        TEVRA_Stream *next = stream->next;
        release(stream);
        stream = next;
    }
}

TEVRA_API int tevra_stream_writen(TEVRA_Stream *stream, const void *data, long length,
                                  TEVRA_ErrCtx *ctx) {
    int checked = exact_length_checks(stream, &TEVRA_StreamMethod::write, length, ctx);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    const auto *bytes = static_cast<const unsigned char *>(data);
    long total = 0;
    // Every write method accepts at least one byte per successful call, so
    // this loop always advances.
    for (;;) {
        long count = 0;
        int rc = stream->method->write(stream, bytes + total, length - total, &count, ctx);
        if (rc != 1)
            return rc;
        total += count;
        if (total >= length)
            return 1;
    }
}

TEVRA_API int tevra_stream_readn(TEVRA_Stream *stream, void *buffer, long length,
                                 TEVRA_ErrCtx *ctx) {
    int checked = exact_length_checks(stream, &TEVRA_StreamMethod::read, length, ctx);
    if (checked != tevra::detail::kFilterProceed)
        return checked;
    auto *bytes = static_cast<unsigned char *>(buffer);
    long total = 0;
    for (;;) {
        long count = 0;
        int rc = stream->method->read(stream, bytes + total, length - total, &count, ctx);
        if (rc != 1)
            return rc;
        if (count == 0) // ran dry before length bytes
            return report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
        total += count;
        if (total >= length)
            return 1;
    }
}

TEVRA_API int tevra_stream_writefromstream(TEVRA_Stream *destination, TEVRA_Stream *source,
                                           long *total, TEVRA_ErrCtx *ctx) {
    using namespace tevra::detail;
    if (destination == nullptr || source == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);

    // Grow a memory destination once, to the source's full length.
    const MemStreamState *dst_mem = mem_state(destination);
    if (dst_mem != nullptr && (dst_mem->flags & MEM_FLAG_READONLY) == 0 &&
        source->method != nullptr && source->method->ctrl != nullptr &&
        destination->method != nullptr && destination->method->ctrl != nullptr) {
        long length = 0;
        if (source->method->ctrl(source, TEVRA_STREAM_CTRL_GET_LENGTH, &length, nullptr) == 1)
            destination->method->ctrl(destination, TEVRA_STREAM_CTRL_RESERVE, &length, nullptr);
    }

    // A memory source is written in one piece straight from its storage,
    // whatever its read position.
    const MemStreamState *src_mem = mem_state(source);
    if (src_mem != nullptr && (src_mem->flags & MEM_FLAG_RWSPEC) == 0) {
        int rc = tevra_stream_writen(destination, src_mem->data, src_mem->length, ctx);
        if (rc != 1)
            return rc;
        if (total != nullptr)
            *total = src_mem->length;
        return 1;
    }

    if (source->method == nullptr || source->method->ctrl == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NOT_SUPPORT);
    int rc = source->method->ctrl(source, TEVRA_STREAM_CTRL_RESET, nullptr, ctx);
    if (rc != 1)
        return rc;
    return copy_by_reading(destination, source, total, ctx);
}

TEVRA_API unsigned int tevra_stream_gettype(const TEVRA_Stream *stream) {
    return stream == nullptr ? 0xFFFFFFFFu : stream->type;
}

TEVRA_API int tevra_stream_push(TEVRA_Stream *filter, TEVRA_Stream *top) {
    if (filter == nullptr || top == nullptr || filter == top)
        return 0;
    if (filter->prev != nullptr || filter->next != nullptr || !is_filter(filter->type))
        return 0;
    if (top->prev != nullptr)
        return 0;
    // The first source/sink below top must end the chain.
    TEVRA_Stream *s = top;
    while (s != nullptr && (s->type & TEVRA_STREAM_SOURCE_SINK) == 0)
        s = s->next;
    if (s == nullptr || s->next != nullptr)
        return 0;
    filter->next = top;
    top->prev = filter;
    return 1;
}

TEVRA_API TEVRA_Stream *tevra_stream_pop(TEVRA_Stream *top) {
    if (top == nullptr || top->prev != nullptr || top->next == nullptr)
        return nullptr;
    TEVRA_Stream *rest = top->next;
    rest->prev = nullptr;
    top->next = nullptr;
    return rest;
}

TEVRA_API TEVRA_Stream *tevra_stream_next(TEVRA_Stream *stream) {
    return stream == nullptr ? nullptr : stream->next;
}

TEVRA_API TEVRA_Stream *tevra_stream_find_type(TEVRA_Stream *stream, int where, int type) {
    if (stream == nullptr)
        return nullptr;
    TEVRA_Stream *s = nullptr;
    switch (where) {
    case TEVRA_STREAM_FIND_FROM_TOP:
        s = top_of(stream);
        break;
    case TEVRA_STREAM_FIND_FROM_SELF:
        s = stream;
        break;
    case TEVRA_STREAM_FIND_FROM_NEXT:
        s = stream->next;
        break;
    default:
        return nullptr;
    }
    const auto wanted = static_cast<unsigned int>(type);
    const bool by_class = wanted == TEVRA_STREAM_FILTER || wanted == TEVRA_STREAM_SOURCE_SINK;
    for (; s != nullptr; s = s->next)
        if (by_class ? (s->type & wanted) != 0 : s->type == wanted)
            return s;
    return nullptr;
}

TEVRA_API TEVRA_Stream *tevra_memstream_dup_readonly(TEVRA_Stream *stream) {
    using namespace tevra::detail;
    const MemStreamState *mem = mem_state(stream);
    if (mem == nullptr || stream->prev != nullptr || stream->next != nullptr ||
        (mem->flags & MEM_FLAG_RWSPEC) != 0)
        return nullptr;
    return tevra_stream_new_romem(mem->data, mem->length, 0, nullptr);
}

} // extern "C"
