// Hex codec: one-shot functions and the hex filter stream.
#include <string>

#include "TEVRA_Stream.h"
#include "codec_test_support.h"
#include "stream_test_support.h"

using tevra_test::ScriptedStream;
using tevra_test::StreamTest;

namespace {

using Bytes = std::basic_string<unsigned char>;

class HexTest : public StreamTest {
  protected:
    // A hex filter pushed on a memory stream holding text.
    TEVRA_Stream *over(const std::string &text, int upper = 0) {
        TEVRA_Stream *mem =
            tevra_stream_new_romem(text.data(), static_cast<long>(text.size()), 1, &ctx);
        TEVRA_Stream *hex = tevra_stream_new_hex(upper, &ctx);
        EXPECT_EQ(tevra_stream_push(hex, mem), 1);
        return hex;
    }
};

std::string encode(int upper, const Bytes &data) {
    unsigned char *text = nullptr;
    long length = -1;
    if (tevra_hexencode(upper, data.data(), static_cast<long>(data.size()), &text, &length) != 1)
        return "<fail>";
    std::string out(reinterpret_cast<char *>(text), static_cast<size_t>(length));
    EXPECT_EQ(text[length], 0);
    tevra_free(text);
    return out;
}

bool decode(const std::string &text, Bytes *out) {
    unsigned char *data = nullptr;
    long length = -1;
    if (tevra_hexdecode(reinterpret_cast<const unsigned char *>(text.data()),
                        static_cast<long>(text.size()), &data, &length) != 1)
        return false;
    out->assign(data, static_cast<size_t>(length));
    tevra_free(data);
    return true;
}

TEST_F(HexTest, OneShotEncodeBothCases) {
    EXPECT_EQ(encode(1, Bytes{0xAB, 0x01}), "AB01");
    EXPECT_EQ(encode(0, Bytes{0xAB, 0x01}), "ab01");
    EXPECT_EQ(encode(7, Bytes{0xFF, 0x00, 0x9c}), "FF009C");
    EXPECT_EQ(encode(0, Bytes()), "<fail>");
    unsigned char *text = nullptr;
    long length = 0;
    EXPECT_EQ(tevra_hexencode(0, nullptr, 1, &text, &length), 0);
    EXPECT_EQ(tevra_hexencode(0, reinterpret_cast<const unsigned char *>("a"), 1, nullptr, &length),
              0);
    EXPECT_EQ(tevra_hexencode(0, reinterpret_cast<const unsigned char *>("a"), -1, &text, &length),
              0);
}

TEST_F(HexTest, OneShotDecodeAcceptsBothCasesAndRejectsBadText) {
    Bytes out;
    ASSERT_TRUE(decode("aB", &out));
    EXPECT_EQ(out, Bytes{0xAB});
    ASSERT_TRUE(decode("00fF7e", &out));
    EXPECT_EQ(out, (Bytes{0x00, 0xFF, 0x7E}));
    EXPECT_FALSE(decode("a", &out));
    EXPECT_FALSE(decode("", &out));
    EXPECT_FALSE(decode("zz", &out));
    EXPECT_FALSE(decode("0g", &out));
    EXPECT_FALSE(decode(std::string("0\0", 2), &out));
    EXPECT_FALSE(decode("\xc3\xa9", &out));
    EXPECT_FALSE(decode(" 0", &out));
}

TEST_F(HexTest, OneShotRoundTripOfEveryByte) {
    Bytes all;
    for (int i = 0; i < 256; ++i)
        all.push_back(static_cast<unsigned char>(i));
    Bytes back;
    ASSERT_TRUE(decode(encode(1, all), &back));
    EXPECT_EQ(back, all);
    ASSERT_TRUE(decode(encode(0, all), &back));
    EXPECT_EQ(back, all);
}

TEST_F(HexTest, OneShotFailsCleanlyWithoutMemory) {
    Bytes data{1, 2, 3};
    tevra_test::until_allocations_suffice([&] {
        unsigned char *text = nullptr;
        long length = 0;
        int r = tevra_hexencode(0, data.data(), 3, &text, &length);
        if (r == 1)
            tevra_free(text);
        else
            EXPECT_EQ(text, nullptr);
        return r == 1;
    });
    tevra_test::until_allocations_suffice([&] {
        unsigned char *bytes = nullptr;
        long length = 0;
        int r =
            tevra_hexdecode(reinterpret_cast<const unsigned char *>("0102"), 4, &bytes, &length);
        if (r == 1)
            tevra_free(bytes);
        return r == 1;
    });
}

TEST_F(HexTest, FilterWritesDigitsInChosenCase) {
    for (int upper : {0, 1}) {
        TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
        TEVRA_Stream *hex = tevra_stream_new_hex(upper, &ctx);
        ASSERT_EQ(tevra_stream_push(hex, mem), 1);
        // Larger than one internal piece, written in uneven parts.
        std::string data;
        for (int i = 0; i < 3000; ++i)
            data.push_back(static_cast<char>(i * 7));
        ASSERT_EQ(write(hex, data.substr(0, 1)), 1);
        ASSERT_EQ(write(hex, data.substr(1, 2047)), 1);
        ASSERT_EQ(write(hex, data.substr(2048)), 1);
        unsigned char *text = nullptr;
        long length = 0;
        ASSERT_EQ(tevra_memstreamdeatch(mem, &text, &length), 1);
        std::string expected = encode(upper, Bytes(data.begin(), data.end()));
        EXPECT_EQ(std::string(reinterpret_cast<char *>(text), static_cast<size_t>(length)),
                  expected);
        tevra_free(text);
        tevra_stream_freeall(hex);
    }
}

TEST_F(HexTest, ReadAsksOnlyForWhatItNeedsAndKeepsAnOddDigit) {
    ScriptedStream source("0a1B2c3");
    TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
    ASSERT_EQ(tevra_stream_push(hex, &source.stream), 1);
    unsigned char out[8] = {};
    long count = -1;
    ASSERT_EQ(tevra_stream_read(hex, out, 3, &count, &ctx), 1);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(source.src.last_ask, 6);
    EXPECT_EQ(Bytes(out, 3), (Bytes{0x0A, 0x1B, 0x2C}));
    // The seventh digit becomes pending: nothing is delivered yet.
    ASSERT_EQ(tevra_stream_read(hex, out, 1, &count, &ctx), 1);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(source.src.last_ask, 2);
    tevra_stream_pop(hex);
    tevra_stream_free(hex);
}

TEST_F(HexTest, PendingDigitJoinsTheNextRead) {
    // Pieces of three digits force a pending digit after every read.
    std::string text;
    for (int i = 0; i < 2500; ++i)
        text += "5e";
    ScriptedStream source(text, 3);
    TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
    ASSERT_EQ(tevra_stream_push(hex, &source.stream), 1);
    Bytes got;
    unsigned char out[700];
    long count = 0;
    while (got.size() < 2500) {
        ASSERT_EQ(tevra_stream_read(hex, out, sizeof out, &count, &ctx), 1);
        got.append(out, static_cast<size_t>(count));
        if (count == 0 && source.src.pos == text.size())
            break;
    }
    EXPECT_EQ(got, Bytes(2500, 0x5E));
    tevra_stream_pop(hex);
    tevra_stream_free(hex);
}

TEST_F(HexTest, LargeReadOverMemoryRoundTrips) {
    std::string data;
    for (int i = 0; i < 5000; ++i)
        data.push_back(static_cast<char>(i * 13 + 1));
    TEVRA_Stream *hex = over(encode(1, Bytes(data.begin(), data.end())));
    EXPECT_EQ(drain(hex), data);
    EXPECT_EQ(code(), 1u);
    tevra_stream_freeall(hex);
}

TEST_F(HexTest, DecodeFailureIsSticky) {
    TEVRA_Stream *hex = over("00zz11");
    unsigned char out[8];
    long count = 0;
    EXPECT_EQ(tevra_stream_read(hex, out, 3, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_HEX_DECODE));
    EXPECT_EQ(text(), "hex decode fail");
    EXPECT_EQ(file(), "TEVRA_Stream_Hex");
    clear();
    EXPECT_EQ(tevra_stream_read(hex, out, 1, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_HEX_DECODE));
    clear();
    EXPECT_EQ(tevra_stream_ctrl(hex, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_HEX_DECODE));
    tevra_stream_freeall(hex);

    hex = over("\x80\x80");
    EXPECT_EQ(tevra_stream_read(hex, out, 1, &count, &ctx), 0);
    tevra_stream_freeall(hex);
}

TEST_F(HexTest, EndOfAFailingSource) {
    unsigned char out[8];
    long count = 0;
    {
        // Nothing delivered by the call that meets the end.
        ScriptedStream source("abcd", 1L << 30, true);
        TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
        ASSERT_EQ(tevra_stream_push(hex, &source.stream), 1);
        ASSERT_EQ(tevra_stream_read(hex, out, 8, &count, &ctx), 1);
        EXPECT_EQ(count, 2);
        EXPECT_EQ(tevra_stream_read(hex, out, 8, &count, &ctx), 0);
        EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_READ_PAST_END));
        EXPECT_EQ(text(), "Read pass end of stream");
        tevra_stream_pop(hex);
        tevra_stream_free(hex);
    }
    {
        // An odd digit left at the end.
        ScriptedStream source("abc", 1L << 30, true);
        TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
        ASSERT_EQ(tevra_stream_push(hex, &source.stream), 1);
        ASSERT_EQ(tevra_stream_read(hex, out, 8, &count, &ctx), 1);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(tevra_stream_read(hex, out, 8, &count, &ctx), 0);
        EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_LENGTH));
        EXPECT_EQ(text(), "stream length error");
        tevra_stream_pop(hex);
        tevra_stream_free(hex);
    }
}

TEST_F(HexTest, ArgumentChecks) {
    TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
    unsigned char out[4];
    long count = 5;
    EXPECT_EQ(tevra_stream_read(hex, out, 1, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_EQ(tevra_stream_write(hex, "a", 1, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_EQ(tevra_stream_ctrl(hex, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_EQ(tevra_stream_write(hex, "a", -1, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_BAD_LENGTH));
    EXPECT_EQ(tevra_stream_write(hex, "a", 0, &count, &ctx), 1);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(tevra_stream_gettype(hex), unsigned(TEVRA_STREAM_TYPE_HEX));
    tevra_stream_free(hex);

    tevra_test::until_allocations_suffice([&] {
        TEVRA_Stream *s = tevra_stream_new_hex(1, &ctx);
        tevra_stream_free(s);
        return s != nullptr;
    });
}

} // namespace
