// Hex codec: one-shot functions and the hex filter stream.
#include <string>

#include "TEVRA_Stream.h"
#include "codec_test_support.h"
#include "stream_test_support.h"

using namespace tevra_test;

namespace {

class HexTest : public StreamTest {
  protected:
    // A hex filter pushed on a memory stream holding text.
    TEVRA_Stream *over(const std::string &text) {
        TEVRA_Stream *mem = tevra_stream_new_romem(text.data(), len(text), 1, &ctx);
        TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
        EXPECT_EQ(tevra_stream_push(hex, mem), 1);
        return hex;
    }
    // A hex filter pushed on a scripted source.
    TEVRA_Stream *over(ScriptedStream &source) {
        TEVRA_Stream *hex = tevra_stream_new_hex(0, &ctx);
        EXPECT_EQ(tevra_stream_push(hex, &source.stream), 1);
        return hex;
    }
};

std::string encode(int upper, const std::string &data) {
    return one_shot([&](unsigned char **out,
                        long *n) { return tevra_hexencode(upper, bytes(data), len(data), out, n); },
                    true);
}
std::string decode(const std::string &text) {
    return one_shot([&](unsigned char **out, long *n) {
        return tevra_hexdecode(bytes(text), len(text), out, n);
    });
}

// Bytes whose values run through every residue.
std::string pattern(size_t n, int step) {
    std::string data;
    for (size_t i = 0; i < n; ++i)
        data.push_back(static_cast<char>(i * step + 1));
    return data;
}

TEST_F(HexTest, OneShotCodec) {
    EXPECT_EQ(encode(1, "\xAB\x01"), "AB01");
    EXPECT_EQ(encode(0, "\xAB\x01"), "ab01");
    EXPECT_EQ(encode(7, std::string("\xFF\x00\x9c", 3)), "FF009C");
    EXPECT_EQ(encode(0, ""), "<fail>");
    EXPECT_EQ(decode("aB"), "\xAB");
    EXPECT_EQ(decode("00fF7e"), std::string("\x00\xFF\x7E", 3));
    for (const char *bad : {"a", "", "zz", "0g", "\xc3\xa9", " 0"})
        EXPECT_EQ(decode(bad), "<fail>") << bad;
    EXPECT_EQ(decode(std::string("0\0", 2)), "<fail>");
    std::string all = pattern(256, 1);
    EXPECT_EQ(decode(encode(1, all)), all);
    EXPECT_EQ(decode(encode(0, all)), all);

    unsigned char *text = nullptr;
    long length = 0;
    EXPECT_EQ(tevra_hexencode(0, nullptr, 1, &text, &length), 0);
    EXPECT_EQ(tevra_hexencode(0, bytes("a"), 1, nullptr, &length), 0);
    EXPECT_EQ(tevra_hexencode(0, bytes("a"), -1, &text, &length), 0);
    until_allocations_suffice([] { return encode(0, "\x01\x02\x03") == "010203"; });
    until_allocations_suffice([] { return decode("0102") == "\x01\x02"; });
}

TEST_F(HexTest, FilterWritesDigitsInChosenCaseAndReadsThemBack) {
    // Larger than one internal piece, written in uneven parts.
    std::string data = pattern(3000, 7);
    for (int upper : {0, 1}) {
        TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
        TEVRA_Stream *hex = tevra_stream_new_hex(upper, &ctx);
        ASSERT_EQ(tevra_stream_push(hex, mem), 1);
        ASSERT_EQ(write(hex, data.substr(0, 1)), 1);
        ASSERT_EQ(write(hex, data.substr(1, 2047)), 1);
        ASSERT_EQ(write(hex, data.substr(2048)), 1);
        unsigned char *text = nullptr;
        long length = 0;
        ASSERT_EQ(tevra_memstreamdeatch(mem, &text, &length), 1);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(text), static_cast<size_t>(length)),
                  encode(upper, data));
        tevra_free(text);
        tevra_stream_freeall(hex);
    }
    TEVRA_Stream *hex = over(encode(1, pattern(5000, 13)));
    EXPECT_EQ(drain(hex), pattern(5000, 13));
    EXPECT_EQ(code(), 1u);
    tevra_stream_freeall(hex);
}

TEST_F(HexTest, ReadAsksOnlyForWhatItNeedsAndKeepsAnOddDigit) {
    ScriptedStream source("0a1B2c3");
    TEVRA_Stream *hex = over(source);
    unsigned char out[8] = {};
    long count = -1;
    ASSERT_EQ(tevra_stream_read(hex, out, 3, &count, &ctx), 1);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(source.src.last_ask, 6);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), 3), "\x0A\x1B\x2C");
    // The seventh digit becomes pending: nothing is delivered yet.
    ASSERT_EQ(tevra_stream_read(hex, out, 1, &count, &ctx), 1);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(source.src.last_ask, 2);
    release_filter(hex);

    // Pieces of three digits force a pending digit after every read.
    std::string text;
    for (int i = 0; i < 2500; ++i)
        text += "5e";
    ScriptedStream pieces(text, 3);
    hex = over(pieces);
    std::string got;
    char buffer[700];
    while (got.size() < 2500) {
        ASSERT_EQ(tevra_stream_read(hex, buffer, sizeof buffer, &count, &ctx), 1);
        got.append(buffer, static_cast<size_t>(count));
        if (count == 0 && pieces.src.pos == text.size())
            break;
    }
    EXPECT_EQ(got, std::string(2500, '\x5E'));
    release_filter(hex);

    // A request met exactly by a full 1024-digit read still asks for nothing once more.
    ScriptedStream full(std::string(2048, '7'));
    hex = over(full);
    ASSERT_EQ(tevra_stream_read(hex, buffer, 512, &count, &ctx), 1);
    EXPECT_EQ(count, 512);
    EXPECT_EQ(full.src.reads, 2);
    EXPECT_EQ(full.src.last_ask, 0);
    release_filter(hex);
}

TEST_F(HexTest, DecodeFailureRefusesAReset) {
    TEVRA_Stream *hex = over("00zz11");
    unsigned char out[8];
    long count = 0;
    EXPECT_EQ(tevra_stream_read(hex, out, 3, &count, &ctx), 0);
    EXPECT_TRUE(fails(tevra_stream_ctrl(hex, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx),
                      TEVRA_ERR_STREAM_HEX_DECODE));
    tevra_stream_freeall(hex);
    hex = over("\x80\x80");
    EXPECT_EQ(tevra_stream_read(hex, out, 1, &count, &ctx), 0);
    tevra_stream_freeall(hex);
}

} // namespace
