// Message-digest and HMAC filter streams, with SHA-1 and SHA-256 digest
// methods built on libcrypto's EVP interface.
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "codec_test_support.h"
#include "stream_test_support.h"

using namespace tevra_test;

namespace {

// A digest context. The digest method leaves its result at the start of the
// context as well as at the output, so the stream's GET_MD code, which asks
// for the context itself as the output, finds it there.
struct ShaContext {
    unsigned char result[EVP_MAX_MD_SIZE];
    EVP_MD_CTX *md = EVP_MD_CTX_new();
    ~ShaContext() { EVP_MD_CTX_free(md); }
};

EVP_MD_CTX *md_of(void *p) {
    return static_cast<ShaContext *>(p)->md;
}

template <int Bits> const EVP_MD *evp() {
    return Bits == 1 ? EVP_sha1() : EVP_sha256();
}

template <int Bits>
const TEVRA_DigestMethod kSha = {
    []() -> void * { return new ShaContext; },
    [](void *p) { delete static_cast<ShaContext *>(p); },
    [] { return EVP_MD_size(evp<Bits>()); },
    [] { return Bits == 1 ? 64u : 672u; },
    [](void *p) { return EVP_DigestInit_ex(md_of(p), evp<Bits>(), nullptr); },
    [](void *p, const unsigned char *data, long n) {
        return EVP_DigestUpdate(md_of(p), data, static_cast<size_t>(n));
    },
    [](void *p, unsigned char *out) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int n = 0;
        if (EVP_DigestFinal_ex(md_of(p), digest, &n) != 1)
            return 0;
        std::memcpy(static_cast<ShaContext *>(p)->result, digest, n);
        std::memmove(out, digest, n);
        return 1;
    },
    [] { return EVP_MD_block_size(evp<Bits>()); },
    [](void *p) -> void * {
        auto *c = new ShaContext;
        EVP_MD_CTX_copy_ex(c->md, md_of(p));
        return c;
    }};
const TEVRA_DigestMethod &kSha1 = kSha<1>;
const TEVRA_DigestMethod &kSha256 = kSha<256>;

std::string hex(const unsigned char *p, size_t n) {
    std::string s;
    char digits[3];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(digits, sizeof digits, "%02x", p[i]);
        s += digits;
    }
    return s;
}

// A sink that takes at most g_take bytes of each write.
long g_take = 0;
int stingy_write(TEVRA_Stream *, const void *, long n, long *count, TEVRA_ErrCtx *) {
    *count = n < g_take ? n : g_take;
    return 1;
}
const TEVRA_StreamMethod stingy_method = {nullptr, stingy_write, nullptr, nullptr};

class DigestTest : public StreamTest {
  protected:
    // A digest filter over a null stream.
    TEVRA_Stream *digest_over_null(const TEVRA_DigestMethod &method) {
        TEVRA_Stream *md = tevra_stream_new_md(&method, &ctx);
        EXPECT_EQ(tevra_stream_push(md, tevra_stream_new_null(&ctx)), 1);
        return md;
    }
    std::string digest_of(TEVRA_Stream *md, long get = TEVRA_STREAM_CTRL_GET_MD) {
        long length = 0;
        EXPECT_EQ(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD_LENGTH, &length, &ctx), 1);
        unsigned char out[EVP_MAX_MD_SIZE];
        if (tevra_stream_ctrl(md, get, out, &ctx) != 1)
            return "<fail>";
        return hex(out, static_cast<size_t>(length));
    }
    // HMAC of data through the filter over a null stream, as hex.
    std::string hmac(const TEVRA_DigestMethod &method, const std::string &key,
                     const std::string &data) {
        TEVRA_Stream *mac = tevra_stream_new_hmac(&method, bytes(key), len(key), &ctx);
        EXPECT_EQ(tevra_stream_push(mac, tevra_stream_new_null(&ctx)), 1);
        EXPECT_EQ(write(mac, data), 1);
        std::string result = digest_of(mac, TEVRA_STREAM_CTRL_GET_HMAC);
        tevra_stream_freeall(mac);
        return result;
    }
};

TEST_F(DigestTest, DigestOfWrittenBytesOnly) {
    TEVRA_Stream *md = digest_over_null(kSha256);
    ASSERT_EQ(write(md, "ab"), 1);
    ASSERT_EQ(write(md, ""), 1);
    ASSERT_EQ(write(md, "c"), 1);
    unsigned int algorithm = 0;
    EXPECT_EQ(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD_ALGORITHM, &algorithm, &ctx), 1);
    EXPECT_EQ(algorithm, 672u);
    EXPECT_EQ(digest_of(md), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(tevra_stream_gettype(md), unsigned(TEVRA_STREAM_TYPE_MD));
    tevra_stream_freeall(md);

    // Bytes read through the filter are not hashed; a reset is only forwarded.
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    md = tevra_stream_new_md(&kSha1, &ctx);
    ASSERT_EQ(tevra_stream_push(md, mem), 1);
    ASSERT_EQ(write(md, "abc"), 1);
    ASSERT_EQ(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 1);
    EXPECT_EQ(drain(md), "abc");
    EXPECT_EQ(digest_of(md), "a9993e364706816aba3e25717850c26c9cd0d89d");
    tevra_stream_freeall(md);
}

TEST_F(DigestTest, OnlyBytesTheSinkTookAreDigested) {
    TEVRA_Stream *md = tevra_stream_new_md(&kSha256, &ctx);
    ASSERT_EQ(tevra_stream_push(md, tevra::detail::stream_new(&stingy_method, 0x20006, nullptr,
                                                              "TEVRA_Test", __LINE__)),
              1);
    g_take = 1;
    long n = 0;
    ASSERT_EQ(tevra_stream_write(md, "abc", 3, &n, &ctx), 1);
    EXPECT_EQ(n, 1);
    EXPECT_EQ(digest_of(md), "ca978112ca1bbdcafac231b39a23dc4da786eff8147c4e72b9807785afee48bb");
    tevra_stream_freeall(md);

    // Even a write the sink took nothing of goes through the update operation.
    TEVRA_DigestMethod no_update = kSha256;
    no_update.update = nullptr;
    md = tevra_stream_new_md(&no_update, &ctx);
    ASSERT_EQ(tevra_stream_push(md, tevra::detail::stream_new(&stingy_method, 0x20006, nullptr,
                                                              "TEVRA_Test", __LINE__)),
              1);
    g_take = 0;
    EXPECT_TRUE(fails(tevra_stream_write(md, "abc", 3, &n, &ctx), TEVRA_ERR_STREAM_MD_UPDATE,
                      "md update fail"));
    tevra_stream_freeall(md);
}

TEST_F(DigestTest, FailingFinalIsReportedButTheResultStillHandedOut) {
    TEVRA_DigestMethod bad_final = kSha256;
    bad_final.final = [](void *, unsigned char *) { return 0; };
    TEVRA_Stream *md = digest_over_null(bad_final);
    unsigned char out[EVP_MAX_MD_SIZE];
    EXPECT_EQ(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD, out, &ctx), 1);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_MD_FINISH));
    tevra_stream_freeall(md);
    clear();
    const unsigned char key[] = "key";
    TEVRA_Stream *mac = tevra_stream_new_hmac(&bad_final, key, 3, &ctx);
    ASSERT_EQ(tevra_stream_push(mac, tevra_stream_new_null(&ctx)), 1);
    EXPECT_EQ(tevra_stream_ctrl(mac, TEVRA_STREAM_CTRL_GET_HMAC, out, &ctx), 1);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_MD_FINISH));
    EXPECT_EQ(entries(), 2); // the inner final and the outer hash's final
    tevra_stream_freeall(mac);
}

// Refused methods and arguments, and what an unlinked or MAC stream refuses.
TEST_F(DigestTest, RefusedMethodsArgumentsAndCodes) {
    TEVRA_DigestMethod no_final = kSha256, no_block = kSha256, no_init = kSha256;
    no_final.final = nullptr;
    no_block.blocksize = nullptr;
    no_init.init = nullptr;
    const unsigned char key[] = "key";
    EXPECT_TRUE(fails(tevra_stream_new_md(nullptr, &ctx), TEVRA_ERR_NULL_POINT));
    EXPECT_TRUE(
        fails(tevra_stream_new_md(&no_final, &ctx), TEVRA_ERR_STREAM_BAD_MD, "bad md function"));
    EXPECT_EQ(file(), "TEVRA_Stream_MD");
    EXPECT_EQ(tevra_stream_new_md(&no_block, &ctx), nullptr);
    EXPECT_TRUE(fails(tevra_stream_new_hmac(&kSha256, key, 0, &ctx), TEVRA_ERR_BAD_LENGTH));
    EXPECT_EQ(file(), "TEVRA_Stream_HMAC");
    EXPECT_TRUE(fails(tevra_stream_new_hmac(&kSha256, nullptr, 3, &ctx), TEVRA_ERR_NULL_POINT));
    EXPECT_EQ(tevra_stream_new_hmac(nullptr, key, 3, &ctx), nullptr);
    EXPECT_TRUE(fails(tevra_stream_new_hmac(&no_init, key, 3, &ctx), TEVRA_ERR_STREAM_BAD_MD));

    TEVRA_Stream *md = tevra_stream_new_md(&kSha256, &ctx);
    TEVRA_Stream *mac = tevra_stream_new_hmac(&kSha1, key, 3, &ctx);
    ASSERT_NE(mac, nullptr);
    EXPECT_EQ(tevra_stream_gettype(mac), unsigned(TEVRA_STREAM_TYPE_HMAC));
    long n = 0;
    unsigned char out[EVP_MAX_MD_SIZE];
    EXPECT_TRUE(fails(tevra_stream_write(md, "a", 1, &n, &ctx), TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_TRUE(fails(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD_LENGTH, &n, &ctx),
                      TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_TRUE(fails(tevra_stream_ctrl(mac, TEVRA_STREAM_CTRL_GET_HMAC, out, &ctx),
                      TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_TRUE(fails(tevra_stream_write(md, "a", -1, &n, &ctx), TEVRA_ERR_BAD_LENGTH));
    ASSERT_EQ(tevra_stream_push(md, tevra_stream_new_null(&ctx)), 1);
    ASSERT_EQ(tevra_stream_push(mac, tevra_stream_new_null(&ctx)), 1);
    EXPECT_TRUE(fails(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD, nullptr, &ctx),
                      TEVRA_ERR_NULL_POINT));
    EXPECT_TRUE(fails(tevra_stream_ctrl(mac, TEVRA_STREAM_CTRL_GET_HMAC, nullptr, &ctx),
                      TEVRA_ERR_NULL_POINT));
    // Codes the digest does not handle reach the null stream, which refuses them.
    EXPECT_TRUE(fails(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_POS, &n, &ctx),
                      TEVRA_ERR_STREAM_CTRL_CODE));
    EXPECT_EQ(tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
    char buffer[4];
    EXPECT_TRUE(fails(tevra_stream_read(md, buffer, 4, &n, &ctx), TEVRA_ERR_NOT_SUPPORT));
    unsigned int algorithm = 0;
    EXPECT_EQ(tevra_stream_ctrl(mac, TEVRA_STREAM_CTRL_GET_MD_ALGORITHM, &algorithm, &ctx), 1);
    EXPECT_EQ(algorithm, 64u);
    // The MAC stream does not hand out a plain digest.
    EXPECT_EQ(tevra_stream_ctrl(mac, TEVRA_STREAM_CTRL_GET_MD, out, &ctx), 0);
    EXPECT_EQ(tevra_stream_md_dup(mac), nullptr);
    tevra_stream_freeall(md);
    tevra_stream_freeall(mac);
}

TEST_F(DigestTest, DuplicateCarriesTheRunningState) {
    TEVRA_Stream *md = digest_over_null(kSha256);
    ASSERT_EQ(write(md, "ab"), 1);
    TEVRA_Stream *copy = tevra_stream_md_dup(md);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(tevra_stream_next(copy), nullptr);
    TEVRA_Stream *sink = tevra_stream_new_null(&ctx);
    ASSERT_EQ(tevra_stream_push(copy, sink), 1);
    ASSERT_EQ(write(copy, "c"), 1);
    ASSERT_EQ(write(md, "x"), 1);
    EXPECT_EQ(digest_of(copy), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_NE(digest_of(md), digest_of(copy));
    tevra_stream_freeall(copy);

    EXPECT_EQ(tevra_stream_md_dup(sink = tevra_stream_new_null(&ctx)), nullptr);
    tevra_stream_free(sink);
    tevra_stream_freeall(md);

    TEVRA_DigestMethod no_dup = kSha256;
    no_dup.dup = nullptr;
    md = digest_over_null(no_dup);
    clear();
    EXPECT_EQ(tevra_stream_md_dup(md), nullptr);
    EXPECT_EQ(entries(), 0);
    tevra_stream_freeall(md);
}

TEST_F(DigestTest, ConstructorsFailCleanlyWithoutMemory) {
    TEVRA_Stream *md = digest_over_null(kSha256);
    const std::string long_key(200, 'k');
    const std::function<TEVRA_Stream *()> makers[] = {
        [&] { return tevra_stream_new_md(&kSha256, &ctx); },
        [&] { return tevra_stream_md_dup(md); },
        [&] { return tevra_stream_new_hmac(&kSha256, bytes(long_key), 200, &ctx); }};
    for (const auto &make : makers)
        until_allocations_suffice([&] {
            TEVRA_Stream *made = make();
            tevra_stream_free(made);
            return made != nullptr;
        });
    tevra_stream_freeall(md);
}

// Published HMAC vectors: keys used as given and keys hashed first; keys
// around the block size are compared with libcrypto below.
TEST_F(DigestTest, HmacPublishedVectors) {
    const struct {
        const TEVRA_DigestMethod &method;
        std::string key, data, expected;
    } cases[] = {
        {kSha1, std::string(20, '\x0b'), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
        {kSha1, std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
         "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
        {kSha256, "Jefe", "what do ya want for nothing?",
         "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
        {kSha256, std::string(131, '\xaa'),
         "This is a test using a larger than block-size key and a larger than block-size data. "
         "The key needs to be hashed before being used by the HMAC algorithm.",
         "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(hmac(c.method, c.key, c.data), c.expected) << c.data;
}

TEST_F(DigestTest, KeysAroundTheBlockSize) {
    // A key of exactly one block is used as it is; one byte more is hashed.
    for (size_t n : {63, 64, 65}) {
        std::string key(n, '\x5a');
        key[0] = static_cast<char>(n);
        unsigned char expected[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        HMAC(EVP_sha256(), key.data(), static_cast<int>(n),
             reinterpret_cast<const unsigned char *>("message"), 7, expected, &length);
        EXPECT_EQ(hmac(kSha256, key, "message"), hex(expected, length)) << n;
    }
}

} // namespace
