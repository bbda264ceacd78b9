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

// The digest so far into out. The digest method leaves it at the start of
// its context when it is given the context as the output too.
int finish_md(DigestStreamState *st, unsigned char *out, TEVRA_ErrCtx *ctx) {
    auto *context = static_cast<unsigned char *>(st->context);
    // A failing final is reported, yet whatever the context starts with is
    // handed out and the call succeeds: callers look at the error context.
    if (st->method.final(st->context, context) != 1)
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_MD_FINISH);
    int length = st->method.mdlen();
    if (length > 0)
        std::memcpy(out, context, static_cast<size_t>(length));
    return 1;
}

struct MdKind {
    using State = DigestStreamState;
    static constexpr unsigned int type = TEVRA_STREAM_TYPE_MD;
    static constexpr auto release = release_state;
    static constexpr const char *file = kFile;
    static constexpr long result = TEVRA_STREAM_CTRL_GET_MD;
    static constexpr auto finish = finish_md;
};

} // namespace

namespace tevra::detail {

bool digest_method_usable(const TEVRA_DigestMethod *m) {
    return m->newctx != nullptr && m->freectx != nullptr && m->mdlen != nullptr &&
           m->algorithm != nullptr && m->init != nullptr && m->final != nullptr &&
           m->blocksize != nullptr;
}

int digest_through(TEVRA_Stream *next, const TEVRA_DigestMethod *method, void *context,
                   const void *data, long n, long *count, TEVRA_ErrCtx *ctx, const char *file) {
    long accepted = 0;
    int r = tevra_stream_write(next, data, n, &accepted, ctx);
    if (r != 1)
        return r;
    if (accepted < 0 || accepted > n)
        return report(ctx, file, __LINE__, TEVRA_ERR_BAD_LENGTH);
    // The update runs even when the next stream took nothing. A table
    // without an update operation cannot digest anything.
    if (method->update == nullptr ||
        method->update(context, static_cast<const unsigned char *>(data), accepted) != 1)
        return report(ctx, file, __LINE__, TEVRA_ERR_STREAM_MD_UPDATE);
    if (count != nullptr)
        *count = accepted;
    return 1;
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
            : tevra::detail::stream_new(&tevra::detail::digest_stream_method<MdKind>, MdKind::type,
                                        st, kFile, __LINE__);
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
    TEVRA_Stream *copy = tevra::detail::stream_new(&tevra::detail::digest_stream_method<MdKind>,
                                                   MdKind::type, st, kFile, __LINE__);
    if (copy == nullptr)
        release_state(st);
    return copy;
}

} // extern "C"
