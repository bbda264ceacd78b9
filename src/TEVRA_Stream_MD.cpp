// Message-digest filter: passes written bytes on to the next stream and feeds
// the bytes it accepted into a digest supplied by the caller.
#include <cstring>

#include "TEVRA_Alloc.h"
#include "TEVRA_Stream_Digest.h"
#include "TEVRA_Stream_Internal.h"

namespace {

using tevra::detail::report;

constexpr char kFile[] = "TEVRA_Stream_MD";

struct DigestStreamState {
    TEVRA_DigestMethod method; // copied, so the caller's table may go away
    void *context;
    unsigned char *digest; // digest-length bytes, kept for duplicates
};

DigestStreamState *state_of(TEVRA_Stream *stream) {
    return static_cast<DigestStreamState *>(stream->data);
}

// Releases a state and whatever it holds; NULL is ignored.
void release_state(DigestStreamState *st) {
    if (st == nullptr)
        return;
    if (st->context != nullptr)
        st->method.freectx(st->context);
    tevra_free(st->digest);
    tevra_free(st);
}

int md_write(TEVRA_Stream *stream, const void *data, long n, long *count, TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    DigestStreamState *st = state_of(stream);
    if (st == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD);
    return tevra::detail::digest_write(stream, &st->method, st->context, data, n, count, ctx,
                                       kFile);
}

int md_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    if (state_of(stream) == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD);
    return tevra::detail::digest_read(stream, buffer, n, count, ctx, kFile);
}

void md_destroy(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != TEVRA_STREAM_TYPE_MD || stream->data == nullptr)
        return;
    release_state(state_of(stream));
    stream->data = nullptr;
}

int md_ctrl(TEVRA_Stream *stream, long code, void *argument, TEVRA_ErrCtx *ctx) {
    if (stream == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
    DigestStreamState *st = state_of(stream);
    if (st == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD);
    if (stream->next == nullptr)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_NO_SINK);
    switch (code) {
    case TEVRA_STREAM_CTRL_GET_MD_LENGTH:
        if (argument == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        *static_cast<long *>(argument) = st->method.mdlen();
        return 1;
    case TEVRA_STREAM_CTRL_GET_MD: {
        if (argument == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        // The digest method leaves the digest at the start of its context
        // when it is given the context as the output too.
        auto *context = static_cast<unsigned char *>(st->context);
        if (st->method.final(st->context, context) != 1)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_MD_FINISH);
        int length = st->method.mdlen();
        if (length > 0)
            std::memcpy(argument, context, static_cast<size_t>(length));
        return 1;
    }
    case TEVRA_STREAM_CTRL_GET_MD_ALGORITHM:
        if (argument == nullptr)
            return report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        *static_cast<unsigned int *>(argument) = st->method.algorithm();
        return 1;
    default:
        return tevra_stream_ctrl(stream->next, code, argument, ctx);
    }
}

const TEVRA_StreamMethod md_method = {md_read, md_write, md_destroy, md_ctrl};

} // namespace

namespace tevra::detail {

bool digest_method_usable(const TEVRA_DigestMethod *m) {
    return m->newctx != nullptr && m->freectx != nullptr && m->mdlen != nullptr &&
           m->algorithm != nullptr && m->init != nullptr && m->final != nullptr &&
           m->blocksize != nullptr;
}

int digest_write(TEVRA_Stream *stream, const TEVRA_DigestMethod *method, void *context,
                 const void *data, long n, long *count, TEVRA_ErrCtx *ctx, const char *file) {
    if (n < 0)
        return report(ctx, file, __LINE__, TEVRA_ERR_BAD_LENGTH);
    if (n == 0) {
        if (count != nullptr)
            *count = 0;
        return 1;
    }
    if (stream->next == nullptr)
        return report(ctx, file, __LINE__, TEVRA_ERR_STREAM_NO_SINK);
    if (data == nullptr)
        return report(ctx, file, __LINE__, TEVRA_ERR_NULL_POINT);
    long accepted = 0;
    int r = tevra_stream_write(stream->next, data, n, &accepted, ctx);
    if (r != 1)
        return r;
    if (accepted < 0 || accepted > n)
        return report(ctx, file, __LINE__, TEVRA_ERR_BAD_LENGTH);
    // A table without an update operation cannot digest anything.
    if (accepted > 0 &&
        (method->update == nullptr ||
         method->update(context, static_cast<const unsigned char *>(data), accepted) != 1))
        return report(ctx, file, __LINE__, TEVRA_ERR_STREAM_MD_UPDATE);
    if (count != nullptr)
        *count = accepted;
    return 1;
}

int digest_read(TEVRA_Stream *stream, void *buffer, long n, long *count, TEVRA_ErrCtx *ctx,
                const char *file) {
    if (n < 0)
        return report(ctx, file, __LINE__, TEVRA_ERR_BAD_LENGTH);
    if (n == 0) {
        if (count != nullptr)
            *count = 0;
        return 1;
    }
    if (stream->next == nullptr)
        return report(ctx, file, __LINE__, TEVRA_ERR_STREAM_NO_SINK);
    return tevra_stream_read(stream->next, buffer, n, count, ctx);
}

} // namespace tevra::detail

extern "C" {

TEVRA_API TEVRA_Stream *tevra_stream_new_md(const TEVRA_DigestMethod *method, TEVRA_ErrCtx *ctx) {
    if (method == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        return nullptr;
    }
    if (!tevra::detail::digest_method_usable(method)) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_MD);
        return nullptr;
    }
    int length = method->mdlen();
    if (length < 1) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_MD);
        return nullptr;
    }
    auto *st =
        static_cast<DigestStreamState *>(tevra_malloc(sizeof(DigestStreamState), kFile, __LINE__));
    if (st == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    st->method = *method;
    st->digest = nullptr;
    st->context = st->method.newctx();
    if (st->context == nullptr) {
        release_state(st);
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    st->method.init(st->context);
    st->digest = static_cast<unsigned char *>(tevra_malloc(length, kFile, __LINE__));
    TEVRA_Stream *stream =
        st->digest == nullptr
            ? nullptr
            : tevra::detail::stream_new(&md_method, TEVRA_STREAM_TYPE_MD, st, kFile, __LINE__);
    if (stream == nullptr) {
        release_state(st);
        report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    std::memset(st->digest, 0, static_cast<size_t>(length));
    return stream;
}

TEVRA_API TEVRA_Stream *tevra_stream_md_dup(TEVRA_Stream *stream) {
    if (stream == nullptr || stream->type != TEVRA_STREAM_TYPE_MD || stream->data == nullptr)
        return nullptr;
    const DigestStreamState *from = state_of(stream);
    if (from->method.dup == nullptr)
        return nullptr;
    auto *st =
        static_cast<DigestStreamState *>(tevra_malloc(sizeof(DigestStreamState), kFile, __LINE__));
    if (st == nullptr)
        return nullptr;
    st->method = from->method;
    st->digest = nullptr;
    st->context = st->method.dup(from->context);
    if (st->context == nullptr) {
        release_state(st);
        return nullptr;
    }
    int length = st->method.mdlen();
    st->digest = static_cast<unsigned char *>(tevra_malloc(length, kFile, __LINE__));
    if (length < 1 || st->digest == nullptr) {
        release_state(st);
        return nullptr;
    }
    std::memcpy(st->digest, from->digest, static_cast<size_t>(length));
    TEVRA_Stream *copy =
        tevra::detail::stream_new(&md_method, TEVRA_STREAM_TYPE_MD, st, kFile, __LINE__);
    if (copy == nullptr)
        release_state(st);
    return copy;
}

} // extern "C"
