// Stream core: front ends, exact-length loops, chains, copying between
// streams, the null stream and the error listing written into a stream.
#include <cstdio>
#include <cstring>
#include <string>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "codec_test_support.h"
#include "stream_test_support.h"

using tevra_test::StreamTest;

namespace {

constexpr unsigned int kTrickleType = 0x10042;
constexpr long kTrickle = 3;
int g_write_calls = 0;

// A filter that moves at most three bytes per call, to exercise the loops.
int trickle_read(TEVRA_Stream *s, void *buf, long n, long *count, TEVRA_ErrCtx *ctx) {
    return tevra_stream_read(s->next, buf, n < kTrickle ? n : kTrickle, count, ctx);
}
int trickle_write(TEVRA_Stream *s, const void *data, long n, long *count, TEVRA_ErrCtx *ctx) {
    ++g_write_calls;
    return tevra_stream_write(s->next, data, n < kTrickle ? n : kTrickle, count, ctx);
}
int trickle_ctrl(TEVRA_Stream *s, long code, void *arg, TEVRA_ErrCtx *ctx) {
    return tevra_stream_ctrl(s->next, code, arg, ctx);
}
const TEVRA_StreamMethod trickle_method = {trickle_read, trickle_write, nullptr, trickle_ctrl};
const TEVRA_StreamMethod empty_method = {nullptr, nullptr, nullptr, nullptr};

// A source whose second read fails without reaching its end.
int broken_read(TEVRA_Stream *s, void *buf, long n, long *count, TEVRA_ErrCtx *ctx) {
    if (s->data != nullptr) {
        tevra_err_ctx_put(ctx, "TEVRA_Test", 1, 0x10106, "read file fail");
        return 0;
    }
    s->data = buf; // any non-NULL marker
    std::memset(buf, 'x', static_cast<size_t>(n));
    *count = n;
    return 1;
}
int broken_ctrl(TEVRA_Stream *, long code, void *, TEVRA_ErrCtx *) {
    return code == TEVRA_STREAM_CTRL_RESET ? 1 : 0;
}
const TEVRA_StreamMethod broken_method = {broken_read, nullptr, nullptr, broken_ctrl};

// A source that claims success with a negative count.
int negative_read(TEVRA_Stream *, void *, long, long *count, TEVRA_ErrCtx *) {
    *count = -1;
    return 1;
}
const TEVRA_StreamMethod negative_method = {negative_read, nullptr, nullptr, broken_ctrl};

TEVRA_Stream *make(const TEVRA_StreamMethod *m, unsigned int type) {
    return tevra::detail::stream_new(m, type, nullptr, "TEVRA_Test", __LINE__);
}

} // namespace

class Stream : public StreamTest {
  protected:
    std::string contents(TEVRA_Stream *mem) {
        tevra_stream_ctrl(mem, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx);
        return drain(mem);
    }
};

TEST_F(Stream, FrontEndsTellNullFromUnsupported) {
    char b[4];
    long n = 0;
    EXPECT_TRUE(fails(tevra_stream_read(nullptr, b, 4, &n, &ctx), 0x10002, "Null Point"));
    EXPECT_EQ(file(), "TEVRA_Stream");
    EXPECT_EQ(tevra_stream_writen(nullptr, b, 4, &ctx), 0);
    EXPECT_EQ(tevra_stream_readn(nullptr, b, 4, &ctx), 0);
    EXPECT_EQ(tevra_stream_ctrl(nullptr, 1, nullptr, &ctx), 0);
    EXPECT_EQ(entries(), 4);

    TEVRA_Stream *s = make(&empty_method, kTrickleType);
    clear();
    EXPECT_EQ(tevra_stream_read(s, b, 4, &n, &ctx), 0);
    EXPECT_EQ(tevra_stream_write(s, b, 4, &n, &ctx), 0);
    EXPECT_EQ(tevra_stream_ctrl(s, 6, nullptr, &ctx), 0);
    EXPECT_EQ(tevra_stream_writen(s, b, 0, &ctx), 0); // no write slot beats length 0
    EXPECT_TRUE(fails(tevra_stream_readn(s, b, 4, &ctx), 0x10003, "This method not support"));
    EXPECT_EQ(entries(), 5);
    tevra_stream_free(s);

    EXPECT_EQ(tevra_stream_gettype(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(tevra_stream_next(nullptr), nullptr);
    tevra_stream_free(nullptr);
    tevra_stream_freeall(nullptr);
}

TEST_F(Stream, ExactLengthLoops) {
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    TEVRA_Stream *t = make(&trickle_method, kTrickleType);
    ASSERT_EQ(tevra_stream_push(t, mem), 1);

    g_write_calls = 0;
    EXPECT_EQ(tevra_stream_writen(t, "never", 0, &ctx), 1);
    EXPECT_EQ(g_write_calls, 0);
    EXPECT_TRUE(fails(tevra_stream_writen(t, "x", -1, &ctx), 0x10001));

    EXPECT_EQ(write(t, "hello world"), 1);
    EXPECT_EQ(g_write_calls, 4);
    EXPECT_EQ(tevra_stream_ctrl(t, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 1);
    char back[12] = {};
    EXPECT_EQ(tevra_stream_readn(t, back, 11, &ctx), 1);
    EXPECT_STREQ(back, "hello world");

    // A source that runs dry before the requested length.
    clear();
    long seven = 7;
    tevra_stream_ctrl(t, TEVRA_STREAM_CTRL_SET_POS, &seven, &ctx);
    EXPECT_TRUE(fails(tevra_stream_readn(t, back, 10, &ctx), 0x10001));
    EXPECT_EQ(tevra_stream_readn(t, back, -2, &ctx), 0);
    EXPECT_EQ(tevra_stream_readn(t, back, 0, &ctx), 1);

    // A failing write's result is passed back unchanged.
    TEVRA_Stream *ro = tevra_stream_new_romem("abc", 3, 0, &ctx);
    EXPECT_TRUE(fails(tevra_stream_writen(ro, "z", 1, &ctx), 0x10100));
    tevra_stream_free(ro);
    tevra_stream_freeall(mem);
}

TEST_F(Stream, PushPopFindKeepTheChainWellFormed) {
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    TEVRA_Stream *other = tevra_stream_new_null(&ctx);
    TEVRA_Stream *f1 = make(&trickle_method, kTrickleType);
    TEVRA_Stream *f2 = make(&trickle_method, kTrickleType);
    TEVRA_Stream *f3 = make(&trickle_method, kTrickleType);
    TEVRA_Stream *f4 = make(&trickle_method, kTrickleType);

    EXPECT_EQ(tevra_stream_pop(mem), nullptr);   // alone
    EXPECT_EQ(tevra_stream_push(other, mem), 0); // a source/sink is no filter
    EXPECT_EQ(tevra_stream_push(f3, f4), 0);     // no source/sink below
    EXPECT_EQ(tevra_stream_push(nullptr, mem), 0);
    EXPECT_EQ(tevra_stream_push(f1, nullptr), 0);
    ASSERT_EQ(tevra_stream_push(f1, mem), 1);
    EXPECT_EQ(tevra_stream_push(f2, mem), 0); // mem has a prev
    EXPECT_EQ(tevra_stream_push(f1, mem), 0); // f1 already linked
    ASSERT_EQ(tevra_stream_push(f2, f1), 1);

    for (TEVRA_Stream *s : {f2, f1, mem}) {
        EXPECT_EQ(tevra_stream_find_type(s, TEVRA_STREAM_FIND_FROM_TOP, TEVRA_STREAM_SOURCE_SINK),
                  mem);
        EXPECT_EQ(tevra_stream_find_type(s, TEVRA_STREAM_FIND_FROM_TOP, TEVRA_STREAM_FILTER), f2);
        EXPECT_EQ(tevra_stream_find_type(s, 4, TEVRA_STREAM_FILTER), nullptr);
        EXPECT_EQ(tevra_stream_find_type(s, 0, TEVRA_STREAM_FILTER), nullptr);
    }
    EXPECT_EQ(tevra_stream_find_type(f1, TEVRA_STREAM_FIND_FROM_SELF, kTrickleType), f1);
    EXPECT_EQ(tevra_stream_find_type(f2, TEVRA_STREAM_FIND_FROM_NEXT, kTrickleType), f1);
    EXPECT_EQ(tevra_stream_find_type(f1, TEVRA_STREAM_FIND_FROM_NEXT, kTrickleType), nullptr);
    EXPECT_EQ(tevra_stream_find_type(mem, TEVRA_STREAM_FIND_FROM_NEXT, TEVRA_STREAM_TYPE_MEM),
              nullptr);
    EXPECT_EQ(tevra_stream_find_type(f2, TEVRA_STREAM_FIND_FROM_TOP, 0x20000 | 1), mem);
    EXPECT_EQ(tevra_stream_gettype(mem), static_cast<unsigned int>(TEVRA_STREAM_TYPE_MEM));

    EXPECT_EQ(tevra_stream_pop(f1), nullptr); // not the top
    EXPECT_EQ(tevra_stream_pop(f2), f1);
    EXPECT_EQ(tevra_stream_next(f2), nullptr);
    EXPECT_EQ(tevra_stream_find_type(f1, TEVRA_STREAM_FIND_FROM_TOP, kTrickleType), f1);
    EXPECT_EQ(tevra_stream_next(f1), mem);
    EXPECT_EQ(entries(), 0); // chain operations report only through results

    tevra_stream_freeall(mem); // releases f1 too, found through prev
    for (TEVRA_Stream *s : {other, f2, f3, f4})
        tevra_stream_free(s);
}

TEST_F(Stream, WriteFromMemoryCopiesEverythingWhateverThePosition) {
    std::string data(20000, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 7);
    TEVRA_Stream *src = tevra_stream_new_mem(16, &ctx);
    ASSERT_EQ(write(src, data), 1);
    long middle = 5000;
    ASSERT_EQ(tevra_stream_ctrl(src, TEVRA_STREAM_CTRL_SET_POS, &middle, &ctx), 1);

    TEVRA_Stream *dst = tevra_stream_new_mem(8, &ctx);
    long total = 0;
    EXPECT_EQ(tevra_stream_writefromstream(dst, src, &total, &ctx), 1);
    EXPECT_EQ(total, 20000);
    // Grown once beforehand to exactly the source's length.
    EXPECT_EQ(tevra::detail::mem_state(dst)->capacity, 20000);
    EXPECT_EQ(contents(dst), data);
    EXPECT_EQ(entries(), 0);

    // Copying a stream into itself, with the buffer growing under the copy.
    TEVRA_Stream *self = tevra_stream_new_mem(8, &ctx);
    ASSERT_EQ(write(self, "abcdefgh"), 1);
    long four = 4;
    ASSERT_EQ(tevra_stream_ctrl(self, TEVRA_STREAM_CTRL_SET_POS, &four, &ctx), 1);
    EXPECT_EQ(tevra_stream_writefromstream(self, self, &total, &ctx), 1);
    EXPECT_EQ(contents(self), "abcdabcdefgh");
    tevra_stream_free(self);

    EXPECT_TRUE(fails(tevra_stream_writefromstream(nullptr, src, &total, &ctx), 0x10002));
    TEVRA_Stream *ro = tevra_stream_new_romem("x", 1, 1, &ctx);
    EXPECT_TRUE(fails(tevra_stream_writefromstream(ro, src, nullptr, &ctx), 0x10100));
    tevra_stream_free(ro);
    tevra_stream_free(src);
    tevra_stream_free(dst);
}

TEST_F(Stream, WriteFromOtherSourcesReadsUntilTheEnd) {
    // A queue-mode memory stream is copied by reading through the buffer.
    std::string data(3 * 8192 + 17, 'q');
    TEVRA_Stream *queue = tevra_stream_new_rwspecmem(0, &ctx);
    ASSERT_EQ(write(queue, data), 1);
    TEVRA_Stream *dst = tevra_stream_new_mem(0, &ctx);
    TEVRA_Stream *t = make(&trickle_method, kTrickleType);
    ASSERT_EQ(tevra_stream_push(t, dst), 1);
    long total = -1;
    EXPECT_EQ(tevra_stream_writefromstream(t, queue, &total, &ctx), 1);
    EXPECT_EQ(total, static_cast<long>(data.size()));
    EXPECT_EQ(contents(dst), data);
    EXPECT_EQ(entries(), 0);

    // A read failure before the end fails the copy and keeps the reason.
    TEVRA_Stream *broken = make(&broken_method, TEVRA_STREAM_SOURCE_SINK | 0x40);
    EXPECT_TRUE(fails(tevra_stream_writefromstream(t, broken, &total, &ctx), 0x10106));
    broken->data = nullptr;

    // Only a count of 0 ends the copy; any other count goes to the write.
    TEVRA_Stream *negative = make(&negative_method, TEVRA_STREAM_SOURCE_SINK | 0x42);
    EXPECT_TRUE(fails(tevra_stream_writefromstream(t, negative, &total, &ctx), 0x10001));
    tevra_stream_free(negative);

    TEVRA_Stream *no_ctrl = make(&empty_method, TEVRA_STREAM_SOURCE_SINK | 0x41);
    EXPECT_TRUE(fails(tevra_stream_writefromstream(t, no_ctrl, &total, &ctx), 0x10003));
    for (TEVRA_Stream *s : {queue, broken, no_ctrl})
        tevra_stream_free(s);
    tevra_stream_freeall(t);
}

TEST_F(Stream, DupReadonlySharesTheBytes) {
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    ASSERT_EQ(write(mem, "shared"), 1);
    TEVRA_Stream *ro = tevra_memstream_dup_readonly(mem);
    ASSERT_NE(ro, nullptr);
    EXPECT_EQ(tevra::detail::mem_state(ro)->data, tevra::detail::mem_state(mem)->data);
    EXPECT_EQ(drain(ro), "shared");
    EXPECT_TRUE(fails(write(ro, "x"), 0x10100));
    tevra_stream_free(ro);

    clear();
    TEVRA_Stream *queue = tevra_stream_new_rwspecmem(0, &ctx);
    TEVRA_Stream *null = tevra_stream_new_null(&ctx);
    TEVRA_Stream *t = make(&trickle_method, kTrickleType);
    ASSERT_EQ(tevra_stream_push(t, mem), 1);
    EXPECT_EQ(tevra_memstream_dup_readonly(mem), nullptr); // linked
    EXPECT_EQ(tevra_memstream_dup_readonly(queue), nullptr);
    EXPECT_EQ(tevra_memstream_dup_readonly(null), nullptr);
    EXPECT_EQ(tevra_memstream_dup_readonly(nullptr), nullptr);
    EXPECT_EQ(entries(), 0);
    tevra_stream_freeall(t);
    tevra_stream_free(queue);
    tevra_stream_free(null);
}

TEST_F(Stream, NullStreamDiscardsAndRefusesReads) {
    TEVRA_Stream *s = tevra_stream_new_null(&ctx);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(tevra_stream_gettype(s), 0x20006u);
    long n = 0;
    EXPECT_EQ(tevra_stream_write(s, nullptr, 1L << 40, &n, &ctx), 1);
    EXPECT_EQ(n, 1L << 40);
    EXPECT_TRUE(fails(tevra_stream_write(s, "x", -1, &n, &ctx), 0x10001));
    EXPECT_EQ(file(), "TEVRA_Stream_Null");
    char b[1];
    EXPECT_TRUE(fails(tevra_stream_read(s, b, 1, &n, &ctx), 0x10003));
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
    EXPECT_TRUE(fails(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 0x10115,
                      "unsupported ctrl code"));
    tevra_stream_free(s);
}

TEST_F(Stream, ErrorListingIsWrittenNewestFirstInPaddedColumns) {
    TEVRA_Stream *out = tevra_stream_new_mem(0, nullptr);
    TEVRA_ErrCtx listed{};
    unsigned int c = 0;
    EXPECT_EQ(tevra_err_ctx_output(out, &listed, &c), 1);
    EXPECT_EQ(contents(out), "No Error\n");

    tevra_err_ctx_put(&listed, "TEVRA_A", 10, 0x10001, "Bad Length");
    tevra_err_ctx_put(&listed, "TEVRA_B", 20, 0x10115, "unsupported ctrl code");
    tevra_stream_ctrl(out, TEVRA_STREAM_CTRL_RESET, nullptr, nullptr);
    EXPECT_EQ(tevra_err_ctx_output(out, &listed, nullptr), 1);
    char expected[2048];
    std::snprintf(expected, sizeof expected, "0X%08X %512s %64s(%d)\n0X%08X %512s %64s(%d)\n",
                  0x10115, "unsupported ctrl code", "TEVRA_B", 20, 0x10001, "Bad Length", "TEVRA_A",
                  10);
    EXPECT_EQ(contents(out), expected);

    // Once the ring has wrapped nothing is listed.
    for (int i = 0; i < 31; ++i)
        tevra_err_ctx_put(&listed, "TEVRA_C", i, 0x10000, "x");
    tevra_stream_ctrl(out, TEVRA_STREAM_CTRL_RESET, nullptr, nullptr);
    long length = -1;
    EXPECT_EQ(tevra_err_ctx_output(out, &listed, nullptr), 1);
    tevra_stream_ctrl(out, TEVRA_STREAM_CTRL_GET_POS, &length, nullptr);
    EXPECT_EQ(length, 0);

    // Failures report through the code and leave the listed context alone.
    listed = TEVRA_ErrCtx{};
    EXPECT_EQ(tevra_err_ctx_output(nullptr, &listed, &c), 0);
    EXPECT_EQ(c, 0x10102u);
    EXPECT_EQ(tevra_err_ctx_output(out, nullptr, &c), 0);
    EXPECT_EQ(c, 0x10002u);
    EXPECT_EQ(tevra_err_ctx_output(out, nullptr, nullptr), 0);
    EXPECT_EQ(tevra_err_ctx_output(nullptr, &listed, nullptr), 0);
    tevra_stream_free(out);
    tevra_err_ctx_put(&listed, "TEVRA_A", 1, 0x10002, "Null Point");
    TEVRA_ErrCtx before = listed;
    TEVRA_Stream *ro = tevra_stream_new_romem(nullptr, 0, 0, nullptr);
    EXPECT_EQ(tevra_err_ctx_output(ro, &listed, &c), 0);
    EXPECT_EQ(c, 0x10100u);
    EXPECT_EQ(std::memcmp(&before, &listed, sizeof listed), 0);
    tevra_stream_free(ro);
}

namespace {

// The decoding filters behave alike at the edges: what each one reads, and
// where its answers differ.
struct DecoderKind {
    const char *name;
    TEVRA_Stream *(*make)(TEVRA_ErrCtx *);
    const char *file;
    const char *bad;     // fails to decode
    const char *whole;   // whole groups, decoding to whole_bytes
    const char *partial; // a short final group after partial_bytes
    long whole_bytes, partial_bytes;
    unsigned int decode_code;
    const char *decode_text;
    int broken_result; // a read whose source fails before its end
};
const DecoderKind kDecoders[] = {
    {"hex", [](TEVRA_ErrCtx *c) { return tevra_stream_new_hex(0, c); }, "TEVRA_Stream_Hex",
     "00zz11", "abcd", "abc", 2, 1, TEVRA_ERR_STREAM_HEX_DECODE, "hex decode fail",
     0}, // the end test's answer
    {"base64", [](TEVRA_ErrCtx *c) { return tevra_stream_new_base64(2, 64, 2, c); },
     "TEVRA_Stream_Base64", "YWJj!!!!", "YWJj", "YWJjZA", 3, 3, TEVRA_ERR_STREAM_BASE64_DECODE,
     "base64 decode fail", 7}, // the source's own result
};

} // namespace

TEST_F(Stream, DecodingFiltersShareTheirContract) {
    using namespace tevra_test;
    char out[16];
    long n = 5;
    for (const DecoderKind &k : kDecoders) {
        SCOPED_TRACE(k.name);
        clear();
        TEVRA_Stream *f = k.make(&ctx);
        EXPECT_TRUE(fails(tevra_stream_read(f, out, 1, &n, &ctx), TEVRA_ERR_STREAM_NO_SINK));
        EXPECT_TRUE(fails(tevra_stream_write(f, "a", 1, &n, &ctx), TEVRA_ERR_STREAM_NO_SINK));
        EXPECT_TRUE(fails(tevra_stream_ctrl(f, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx),
                          TEVRA_ERR_STREAM_NO_SINK));
        EXPECT_TRUE(fails(tevra_stream_write(f, "a", -1, &n, &ctx), TEVRA_ERR_BAD_LENGTH));
        EXPECT_EQ(tevra_stream_write(f, "a", 0, &n, &ctx), 1);
        EXPECT_EQ(n, 0);

        // A decoding failure sticks.
        ScriptedStream bad(k.bad);
        ASSERT_EQ(tevra_stream_push(f, &bad.stream), 1);
        EXPECT_TRUE(fails(tevra_stream_read(f, out, 8, &n, &ctx), k.decode_code, k.decode_text));
        EXPECT_EQ(file(), k.file);
        clear();
        EXPECT_TRUE(fails(tevra_stream_read(f, out, 1, &n, &ctx), k.decode_code));
        release_filter(f);

        // The end of a source whose exhausted read fails: whole groups are
        // delivered first; a short group left over is a length error.
        const struct {
            const char *text;
            long delivered;
            unsigned int code;
        } ends[] = {{k.whole, k.whole_bytes, TEVRA_ERR_STREAM_READ_PAST_END},
                    {k.partial, k.partial_bytes, TEVRA_ERR_STREAM_LENGTH}};
        for (const auto &e : ends) {
            ScriptedStream source(e.text, 1L << 30, true);
            f = k.make(&ctx);
            ASSERT_EQ(tevra_stream_push(f, &source.stream), 1);
            ASSERT_EQ(tevra_stream_read(f, out, sizeof out, &n, &ctx), 1);
            EXPECT_EQ(n, e.delivered) << e.text;
            EXPECT_TRUE(fails(tevra_stream_read(f, out, sizeof out, &n, &ctx), e.code)) << e.text;
            release_filter(f);
        }

        ScriptedStream broken(k.whole);
        broken.src.fail_with = 7;
        f = k.make(&ctx);
        ASSERT_EQ(tevra_stream_push(f, &broken.stream), 1);
        EXPECT_EQ(tevra_stream_read(f, out, 2, &n, &ctx), k.broken_result);
        release_filter(f);
    }
}
