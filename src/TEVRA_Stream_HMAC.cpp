// HMAC filter (RFC 2104): authenticates the bytes written through it with a
// caller-supplied digest method and key, passing them on to the next stream.
#include <cstring>

#include "TEVRA_Alloc.h"
#include "TEVRA_Stream_Digest.h"
#include "TEVRA_Stream_Internal.h"

namespace {

using tevra::detail::report;

constexpr char kFile[] = "TEVRA_Stream_HMAC";

constexpr unsigned char kInnerPad = 0x36;
constexpr unsigned char kOuterPad = 0x5C;

struct HmacStreamState {
    TEVRA_DigestMethod method; // copied, so the caller's table may go away
    void *context;             // the inner hash, keyed at creation
    unsigned char *digest;     // digest-length bytes
    unsigned char *key_block;  // block-size bytes: the key, or its digest, zero-padded
};

void release_state(HmacStreamState *st) {
    if (st == nullptr)
        return;
    tevra_free(st->key_block);
    tevra_free(st->digest);
    if (st->context != nullptr)
        st->method.freectx(st->context);
    tevra_free(st);
}

// Digest of length bytes into out (digest-length bytes), computed by a
// digest stream over a null stream. Returns the digest length, or -1.
long hash(const TEVRA_DigestMethod *method, const unsigned char *data, long length,
          unsigned char *out, TEVRA_ErrCtx *ctx) {
    TEVRA_Stream *sink = tevra_stream_new_null(ctx);
    if (sink == nullptr)
        return -1;
    TEVRA_Stream *md = tevra_stream_new_md(method, ctx);
    if (md == nullptr) {
        tevra_stream_free(sink);
        return -1;
    }
    tevra_stream_push(md, sink);
    long written = 0;
    long digest_length = -1;
    bool ok = tevra_stream_write(md, data, length, &written, ctx) == 1 &&
              tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD_LENGTH, &digest_length, ctx) == 1 &&
              tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD, out, ctx) == 1;
    tevra_stream_freeall(md);
    return ok ? digest_length : -1;
}

// Finishes the inner hash and hashes the outer pad and it into out.
int finish_mac(HmacStreamState *st, unsigned char *out, TEVRA_ErrCtx *ctx) {
    long block = st->method.blocksize();
    long length = st->method.mdlen();
    tevra::Owned<unsigned char> buffer =
        tevra::alloc_buffer<unsigned char>(block + length, kFile, __LINE__);
    if (!buffer)
        return report(ctx, kFile, __LINE__, TEVRA_ERR_OUT_OF_MEMORY);
    unsigned char *b = buffer.get();
    for (long i = 0; i < block; ++i)
        b[i] = static_cast<unsigned char>(st->key_block[i] ^ kOuterPad);
    // A failing inner final is reported and the outer hash still runs; the
    // inner digest's bytes are zeroed first so they are never uninitialised.
    std::memset(b + block, 0, static_cast<size_t>(length));
    if (st->method.final(st->context, b + block) != 1)
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_MD_FINISH);
    return hash(&st->method, b, block + length, out, ctx) > 0 ? 1 : 0;
}

struct HmacKind {
    using State = HmacStreamState;
    static constexpr unsigned int type = TEVRA_STREAM_TYPE_HMAC;
    static constexpr auto release = release_state;
    static constexpr const char *file = kFile;
    static constexpr long result = TEVRA_STREAM_CTRL_GET_HMAC;
    static constexpr auto finish = finish_mac;
};

// Fills the key block: a key longer than the block is replaced by its
// digest; either way the block is padded with zeros. false when hashing the
// key failed (its streams have reported why).
bool make_key_block(HmacStreamState *st, const unsigned char *key, long key_length, long block,
                    long length, TEVRA_ErrCtx *ctx, bool *out_of_memory) {
    std::memset(st->key_block, 0, static_cast<size_t>(block));
    if (key_length <= block) {
        std::memcpy(st->key_block, key, static_cast<size_t>(key_length));
        return true;
    }
    tevra::Owned<unsigned char> digest =
        tevra::alloc_buffer<unsigned char>(length, kFile, __LINE__);
    if (!digest) {
        *out_of_memory = true;
        return false;
    }
    if (hash(&st->method, key, key_length, digest.get(), ctx) < 1)
        return false;
    // A digest longer than the block (an odd method) is cut to the block.
    std::memcpy(st->key_block, digest.get(), static_cast<size_t>(length < block ? length : block));
    return true;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_Stream *tevra_stream_new_hmac(const TEVRA_DigestMethod *method,
                                              const unsigned char *key, long key_length,
                                              TEVRA_ErrCtx *ctx) {
    if (method == nullptr || key == nullptr) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_NULL_POINT);
        return nullptr;
    }
    if (!tevra::detail::digest_method_usable(method)) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_MD);
        return nullptr;
    }
    if (key_length < 1) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_BAD_LENGTH);
        return nullptr;
    }
    long block = method->blocksize();
    long length = method->mdlen();
    if (block < 1 || length < 1) {
        report(ctx, kFile, __LINE__, TEVRA_ERR_STREAM_BAD_MD);
        return nullptr;
    }
    auto fail = [ctx](HmacStreamState *st, unsigned int code, int line) -> TEVRA_Stream * {
        release_state(st);
        if (code != 0)
            report(ctx, kFile, line, code);
        return nullptr;
    };
    auto *st =
        static_cast<HmacStreamState *>(tevra_malloc(sizeof(HmacStreamState), kFile, __LINE__));
    if (st == nullptr)
        return fail(nullptr, TEVRA_ERR_OUT_OF_MEMORY, __LINE__);
    st->method = *method;
    st->digest = nullptr;
    st->key_block = nullptr;
    st->context = st->method.newctx();
    if (st->context == nullptr)
        return fail(st, TEVRA_ERR_OUT_OF_MEMORY, __LINE__);
    st->method.init(st->context);
    st->digest = static_cast<unsigned char *>(tevra_malloc(length, kFile, __LINE__));
    if (st->digest == nullptr)
        return fail(st, TEVRA_ERR_OUT_OF_MEMORY, __LINE__);
    std::memset(st->digest, 0, static_cast<size_t>(length));
    st->key_block = static_cast<unsigned char *>(tevra_malloc(block, kFile, __LINE__));
    if (st->key_block == nullptr)
        return fail(st, TEVRA_ERR_OUT_OF_MEMORY, __LINE__);
    bool out_of_memory = false;
    if (!make_key_block(st, key, key_length, block, length, ctx, &out_of_memory))
        return fail(st, out_of_memory ? TEVRA_ERR_OUT_OF_MEMORY : 0, __LINE__);

    tevra::Owned<unsigned char> pad = tevra::alloc_buffer<unsigned char>(block, kFile, __LINE__);
    if (!pad)
        return fail(st, TEVRA_ERR_OUT_OF_MEMORY, __LINE__);
    for (long i = 0; i < block; ++i)
        pad.get()[i] = static_cast<unsigned char>(st->key_block[i] ^ kInnerPad);
    if (st->method.update == nullptr || st->method.update(st->context, pad.get(), block) != 1)
        return fail(st, TEVRA_ERR_STREAM_MD_UPDATE, __LINE__);
    TEVRA_Stream *stream = tevra::detail::stream_new(&tevra::detail::digest_stream_method<HmacKind>,
                                                     HmacKind::type, st, kFile, __LINE__);
    if (stream == nullptr)
        return fail(st, TEVRA_ERR_OUT_OF_MEMORY, __LINE__);
    return stream;
}

} // extern "C"
