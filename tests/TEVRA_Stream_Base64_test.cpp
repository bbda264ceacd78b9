// Base64 filter stream and the one-shot Base64 and PEM codecs.
#include <random>
#include <string>

#include "TEVRA_Stream.h"
#include "codec_test_support.h"
#include "stream_test_support.h"

using tevra_test::ScriptedStream;
using tevra_test::StreamTest;

namespace {

const unsigned char *bytes(const std::string &s) {
    return reinterpret_cast<const unsigned char *>(s.data());
}
long len(const std::string &s) {
    return static_cast<long>(s.size());
}

class Base64Test : public StreamTest {
  protected:
    // Encodes data through a filter over a memory stream, with a flush.
    std::string encode(unsigned int flags, int line, const std::string &data) {
        TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
        TEVRA_Stream *b64 = tevra_stream_new_base64(flags, line, 2, &ctx);
        EXPECT_EQ(tevra_stream_push(b64, mem), 1);
        EXPECT_EQ(write(b64, data), 1);
        EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
        std::string out = contents(mem);
        tevra_stream_freeall(b64);
        return out;
    }
    std::string contents(TEVRA_Stream *mem) {
        EXPECT_EQ(tevra_stream_ctrl(mem, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 1);
        return drain(mem);
    }
    // A decoding filter over a copy of text.
    TEVRA_Stream *decoder(unsigned int flags, const std::string &text) {
        TEVRA_Stream *mem = tevra_stream_new_romem(text.data(), len(text), 1, &ctx);
        TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, flags, &ctx);
        EXPECT_EQ(tevra_stream_push(b64, mem), 1);
        return b64;
    }
    // Decodes through the filter; "<fail>" when a read fails or the filter
    // is not at its end afterwards.
    std::string decode_stream(unsigned int flags, const std::string &text) {
        TEVRA_Stream *b64 = decoder(flags, text);
        std::string out;
        char buffer[100];
        long count = 0;
        int r;
        while ((r = tevra_stream_read(b64, buffer, sizeof buffer, &count, &ctx)) == 1 && count > 0)
            out.append(buffer, static_cast<size_t>(count));
        bool ok = r == 1 && tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx) == 1;
        tevra_stream_freeall(b64);
        return ok ? out : "<fail>";
    }
};

std::string one_shot_encode(unsigned int flags, const std::string &data) {
    unsigned char *text = nullptr;
    long length = -1;
    if (tevra_base64encode(flags, bytes(data), len(data), &text, &length) != 1)
        return "<fail>";
    std::string out(reinterpret_cast<char *>(text), static_cast<size_t>(length));
    EXPECT_EQ(text[length], 0);
    tevra_free(text);
    return out;
}

std::string one_shot_decode(unsigned int flags, const std::string &text) {
    unsigned char *data = nullptr;
    long length = -1;
    if (tevra_base64decode(flags, bytes(text), len(text), &data, &length) != 1)
        return "<fail>";
    std::string out(reinterpret_cast<char *>(data), static_cast<size_t>(length));
    tevra_free(data);
    return out;
}

std::string pem_encode(const char *label, const std::string &data) {
    unsigned char *text = nullptr;
    long length = -1;
    if (tevra_pemencode(label, bytes(data), len(data), &text, &length) != 1)
        return "<fail>";
    std::string out(reinterpret_cast<char *>(text), static_cast<size_t>(length));
    tevra_free(text);
    return out;
}

std::string pem_decode(const char *label, const std::string &text) {
    unsigned char *data = nullptr;
    long length = -1;
    if (tevra_pemdecode(label, bytes(text), len(text), &data, &length) != 1)
        return "<fail>";
    std::string out(reinterpret_cast<char *>(data), static_cast<size_t>(length));
    tevra_free(data);
    return out;
}

std::string random_bytes(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (char &c : s)
        c = static_cast<char>(gen());
    return s;
}

// ---- Encoding ----

TEST_F(Base64Test, FinalGroupPaddingAndLineEnding) {
    EXPECT_EQ(encode(2, 64, "abc"), "YWJj"); // nothing pending: no line ending
    EXPECT_EQ(encode(2, 64, "ab"), "YWI=\r\n");
    EXPECT_EQ(encode(2 | TEVRA_BASE64_NO_PADDING, 64, "ab"), "YWI\r\n");
    EXPECT_EQ(encode(3, 64, "a"), "YQ==\n");
    EXPECT_EQ(encode(1, 64, "a"), "YQ==\r");
    EXPECT_EQ(encode(4, 64, "a"), "YQ==");
    EXPECT_EQ(encode(4 | TEVRA_BASE64_NO_PADDING, 64, "a"), "YQ");
}

TEST_F(Base64Test, FullLinesBreakAtTheLineLength) {
    std::string line(64, 'x');
    std::string data48(48, '\0');
    std::string full = encode(3, 64, data48);
    EXPECT_EQ(full, std::string(64, 'A') + "\n");
    EXPECT_EQ(encode(3, 64, data48 + "1"), std::string(64, 'A') + "\nMQ==\n");
    EXPECT_EQ(encode(2, 0, data48), std::string(64, 'A') + "\r\n"); // below 1 means 64
    EXPECT_EQ(encode(4, 64, data48 + data48), std::string(128, 'A'));
    // A length of 65 is stored as 66: the column passes it after 68.
    EXPECT_EQ(encode(3, 65, std::string(60, '\0')),
              std::string(68, 'A') + "\n" + std::string(12, 'A'));
    EXPECT_EQ(encode(3, 8, std::string(9, '\0')), "AAAAAAAA\nAAAA");
}

TEST_F(Base64Test, AlphabetsDifferInTheLastTwoDigits) {
    std::string data("\xfb\xff\xbf", 3);
    EXPECT_EQ(encode(4, 64, data), "+/+/");
    EXPECT_EQ(encode(4 | TEVRA_BASE64_URL_SAFE, 64, data), "-_-_");
    EXPECT_EQ(decode_stream(2, "+/+/"), data);
    EXPECT_EQ(decode_stream(2 | TEVRA_BASE64_URL_SAFE, "-_-_"), data);
    EXPECT_EQ(decode_stream(2, "-_-_"), "<fail>");
    EXPECT_EQ(decode_stream(2 | TEVRA_BASE64_URL_SAFE, "+/+/"), "<fail>");
}

TEST_F(Base64Test, PiecewiseWritesMatchOneWrite) {
    std::string data = random_bytes(5000, 1);
    std::string whole = encode(2, 76, data);
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    TEVRA_Stream *b64 = tevra_stream_new_base64(2, 76, 2, &ctx);
    ASSERT_EQ(tevra_stream_push(b64, mem), 1);
    for (size_t i = 0, step = 1; i < data.size(); i += step, step = step % 7 + 1)
        ASSERT_EQ(write(b64, data.substr(i, step)), 1);
    ASSERT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
    EXPECT_EQ(contents(mem), whole);
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, SameTextWhetherTheSinkHasRoomOrGrows) {
    std::string data = random_bytes(4000, 9);
    for (unsigned int flags : {2u, 3u, 4u, 1u | TEVRA_BASE64_URL_SAFE}) {
        std::string texts[2];
        for (int roomy = 0; roomy < 2; ++roomy) {
            TEVRA_Stream *mem = tevra_stream_new_mem(roomy ? 1L << 16 : 8, &ctx);
            ASSERT_EQ(write(mem, "head"), 1);
            TEVRA_Stream *b64 = tevra_stream_new_base64(flags, 40, 2, &ctx);
            ASSERT_EQ(tevra_stream_push(b64, mem), 1);
            ASSERT_EQ(write(b64, data.substr(0, 1000)), 1);
            ASSERT_EQ(write(b64, data.substr(1000)), 1);
            ASSERT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
            long position = -1;
            ASSERT_EQ(tevra_stream_ctrl(mem, TEVRA_STREAM_CTRL_GET_POS, &position, &ctx), 1);
            texts[roomy] = contents(mem);
            EXPECT_EQ(position, static_cast<long>(texts[roomy].size()));
            tevra_stream_freeall(b64);
        }
        EXPECT_EQ(texts[0], texts[1]) << flags;
        EXPECT_EQ(texts[0].substr(0, 4), "head");
    }
}

// ---- Decoding ----

TEST_F(Base64Test, SkipRulesOfTheDecodeModes) {
    EXPECT_EQ(decode_stream(1, "YWJj\n"), "<fail>");
    EXPECT_EQ(decode_stream(1, "YWJj"), "abc");
    EXPECT_EQ(decode_stream(2, "YWJj\n"), "abc");
    EXPECT_EQ(decode_stream(2, "YW\r\nJj\r\n"), "abc");
    EXPECT_EQ(decode_stream(2, "YW Jj"), "<fail>");
    EXPECT_EQ(decode_stream(3, "YW Jj"), "abc");
    EXPECT_EQ(decode_stream(3, " Y\tW J j \r\n"), "abc");
}

TEST_F(Base64Test, PaddingRules) {
    EXPECT_EQ(decode_stream(2, "YWI="), "ab");
    EXPECT_EQ(decode_stream(2, "YQ=="), "a");
    EXPECT_EQ(decode_stream(2, "YR=="), "<fail>"); // low bits not zero
    EXPECT_EQ(decode_stream(2, "YWJ="), "<fail>");
    EXPECT_EQ(decode_stream(2, "Y==="), "<fail>");
    EXPECT_EQ(decode_stream(2, "YWJj="), "<fail>");
    EXPECT_EQ(decode_stream(2, "YQ==YQ=="), "<fail>"); // nothing after the padding
    EXPECT_EQ(decode_stream(2, "YQ=\r\n="), "a");
    EXPECT_EQ(decode_stream(2, "YQ=a"), "<fail>");
    EXPECT_EQ(decode_stream(2, "YWI"), "<fail>"); // padding required
    EXPECT_EQ(decode_stream(2, "YWJjYQ==\r\n"), "abca");
}

TEST_F(Base64Test, InvalidBytesFail) {
    EXPECT_EQ(decode_stream(3, "YW*j"), "<fail>");
    EXPECT_EQ(decode_stream(3, std::string("YW\0j", 4)), "<fail>");
    EXPECT_EQ(decode_stream(3, "YW\xc3\xa9"), "<fail>");
    EXPECT_EQ(decode_stream(3, "\x80"), "<fail>");
}

TEST_F(Base64Test, UnpaddedFinalGroupComesFromGetPending) {
    const unsigned int flags = 2 | TEVRA_BASE64_NO_PADDING;
    TEVRA_Stream *b64 = decoder(flags, "YWJjZA");
    EXPECT_EQ(drain(b64), "abc");
    // The short group is carried: not at the end yet.
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);
    TEVRA_DataBlob *rest = nullptr;
    ASSERT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx), 1);
    ASSERT_NE(rest, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(rest->data), static_cast<size_t>(rest->length)),
              "d");
    tevra_data_blob_free(rest);
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 1);
    // Nothing carried any more: an empty blob.
    ASSERT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx), 1);
    EXPECT_EQ(rest->length, 0);
    tevra_data_blob_free(rest);
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, nullptr, &ctx), 0);
    tevra_stream_freeall(b64);

    EXPECT_EQ(one_shot_decode(flags, "YWI"), "ab");
    EXPECT_EQ(one_shot_decode(flags, "YQ"), "a");
    EXPECT_EQ(one_shot_decode(flags, "YR"), "<fail>");
    EXPECT_EQ(one_shot_decode(flags, "YWJjZ"), "<fail>");
    EXPECT_EQ(one_shot_decode(flags, "YQ=="), "<fail>");

    // With padding a carried group is no final group.
    b64 = decoder(2, "YWJjZA");
    EXPECT_EQ(drain(b64), "abc");
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx), 0);
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, DecodeFailureIsSticky) {
    TEVRA_Stream *b64 = decoder(2, "YWJj!!!!");
    char out[16];
    long count = 0;
    EXPECT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_BASE64_DECODE));
    EXPECT_EQ(text(), "base64 decode fail");
    EXPECT_EQ(file(), "TEVRA_Stream_Base64");
    clear();
    EXPECT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_BASE64_DECODE));
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);
    TEVRA_DataBlob *rest = nullptr;
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx), 0);
    EXPECT_EQ(rest, nullptr);
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, OverflowIsServedFromItsFront) {
    // One read decodes all six bytes and keeps five; smaller reads are
    // then served from the front of the kept bytes each time.
    TEVRA_Stream *b64 = decoder(2, "YWJjZGVm");
    std::string got;
    char c;
    long count = 0;
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(tevra_stream_read(b64, &c, 1, &count, &ctx), 1);
        ASSERT_EQ(count, 1);
        got.push_back(c);
    }
    EXPECT_EQ(got, "abbbbb");
    char rest[8];
    ASSERT_EQ(tevra_stream_read(b64, rest, 8, &count, &ctx), 1);
    EXPECT_EQ(count, 0);
    tevra_stream_freeall(b64);

    // A request larger than what is kept takes it all, then reads on.
    b64 = decoder(2, "YWJjZGVmZ2hp");
    char out[16];
    ASSERT_EQ(tevra_stream_read(b64, out, 2, &count, &ctx), 1);
    ASSERT_EQ(tevra_stream_read(b64, out + 2, 14, &count, &ctx), 1);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(std::string(out, 9), "abcdefghi");
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, CarryAcrossTrickledInput) {
    std::string data = random_bytes(3000, 2);
    std::string text = one_shot_encode(2, data);
    for (long piece : {1L, 3L, 5L, 1000L}) {
        ScriptedStream source(text, piece);
        TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, 2, &ctx);
        ASSERT_EQ(tevra_stream_push(b64, &source.stream), 1);
        // Reads larger than the overflow buffer never meet its front-only serving.
        std::string out;
        char buffer[800];
        long count = 0;
        while (tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx) != 1) {
            ASSERT_EQ(tevra_stream_read(b64, buffer, sizeof buffer, &count, &ctx), 1);
            out.append(buffer, static_cast<size_t>(count));
        }
        EXPECT_TRUE(out == data) << "piece " << piece;
        tevra_stream_pop(b64);
        tevra_stream_free(b64);
    }
}

TEST_F(Base64Test, EndOfAFailingSource) {
    char out[16];
    long count = 0;
    {
        ScriptedStream source("YWJj", 1L << 30, true);
        TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, 2, &ctx);
        ASSERT_EQ(tevra_stream_push(b64, &source.stream), 1);
        ASSERT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 1);
        EXPECT_EQ(count, 3);
        EXPECT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 0);
        EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_READ_PAST_END));
        tevra_stream_pop(b64);
        tevra_stream_free(b64);
    }
    {
        // Asking for more than the text holds: delivered bytes, then the end.
        ScriptedStream source("YWJjZA==", 4, true);
        TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, 2, &ctx);
        ASSERT_EQ(tevra_stream_push(b64, &source.stream), 1);
        ASSERT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 1);
        ASSERT_EQ(tevra_stream_read(b64, out + 3, sizeof out - 3, &count, &ctx), 1);
        EXPECT_EQ(std::string(out, 4), "abcd");
        tevra_stream_pop(b64);
        tevra_stream_free(b64);
    }
    {
        ScriptedStream source("YWJjZA", 1L << 30, true);
        TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, 2, &ctx);
        ASSERT_EQ(tevra_stream_push(b64, &source.stream), 1);
        ASSERT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 1);
        EXPECT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 0);
        EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_LENGTH));
        tevra_stream_pop(b64);
        tevra_stream_free(b64);
    }
}

TEST_F(Base64Test, ConstructorAndControlChecks) {
    EXPECT_EQ(tevra_stream_new_base64(5, 64, 2, &ctx), nullptr);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_BASE64_FLAG));
    EXPECT_EQ(text(), "bad base64 flag");
    EXPECT_EQ(tevra_stream_new_base64(0, 64, 2, &ctx), nullptr);
    EXPECT_EQ(tevra_stream_new_base64(2, 64, 4, &ctx), nullptr);
    EXPECT_EQ(tevra_stream_new_base64(2 | 0x200, 64, 2, &ctx), nullptr);

    TEVRA_Stream *b64 = tevra_stream_new_base64(4 | 0x180, 64, 3 | 0x180, &ctx);
    ASSERT_NE(b64, nullptr);
    EXPECT_EQ(tevra_stream_gettype(b64), unsigned(TEVRA_STREAM_TYPE_BASE64));
    long count = 0;
    EXPECT_EQ(tevra_stream_write(b64, "a", 1, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_STREAM_NO_SINK));
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 0);
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    ASSERT_EQ(tevra_stream_push(b64, mem), 1);
    clear();
    long length = 99;
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_LENGTH, &length, &ctx), 0);
    EXPECT_EQ(entries(), 0);
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_POS, &length, &ctx), 1); // forwarded
    EXPECT_EQ(tevra_stream_write(b64, "a", -1, &count, &ctx), 0);
    EXPECT_EQ(code(), unsigned(TEVRA_ERR_BAD_LENGTH));
    tevra_stream_freeall(b64);

    tevra_test::until_allocations_suffice([&] {
        TEVRA_Stream *s = tevra_stream_new_base64(2, 64, 2, &ctx);
        tevra_stream_free(s);
        return s != nullptr;
    });
}

// ---- One-shot functions ----

TEST_F(Base64Test, OneShotRoundTrips) {
    const unsigned int kFlags[] = {1,
                                   2,
                                   3,
                                   4,
                                   2 | TEVRA_BASE64_URL_SAFE,
                                   2 | TEVRA_BASE64_NO_PADDING,
                                   3 | TEVRA_BASE64_URL_SAFE | TEVRA_BASE64_NO_PADDING};
    for (unsigned int flags : kFlags) {
        // Decode mode 3 skips every line ending the encoder can write.
        unsigned int decode_flags = 3 | (flags & 0x180);
        for (size_t n : {1, 2, 3, 4, 47, 48, 49, 767, 768, 769, 5000}) {
            std::string data = random_bytes(n, static_cast<unsigned>(n));
            std::string text = one_shot_encode(flags, data);
            ASSERT_TRUE(one_shot_decode(decode_flags, text) == data)
                << "flags " << flags << " length " << n;
        }
    }
    EXPECT_EQ(one_shot_encode(2, "hello world"), "aGVsbG8gd29ybGQ=\r\n");
    EXPECT_EQ(one_shot_encode(2 | TEVRA_BASE64_NO_PADDING | TEVRA_BASE64_URL_SAFE, "\xff\xfe"),
              "__4\r\n");
    EXPECT_EQ(one_shot_decode(2, "\r\n"), "");
}

TEST_F(Base64Test, OneShotArgumentChecks) {
    unsigned char *out = nullptr;
    long length = 0;
    EXPECT_EQ(tevra_base64encode(2, bytes("a"), 0, &out, &length), 0);
    EXPECT_EQ(tevra_base64encode(2, nullptr, 1, &out, &length), 0);
    EXPECT_EQ(tevra_base64encode(2, bytes("a"), 1, nullptr, &length), 0);
    EXPECT_EQ(tevra_base64encode(9, bytes("a"), 1, &out, &length), 0);
    EXPECT_EQ(tevra_base64decode(2, bytes("a"), 0, &out, &length), 0);
    EXPECT_EQ(tevra_base64decode(2, bytes("YQ=="), 4, &out, nullptr), 0);
    EXPECT_EQ(tevra_base64decode(7, bytes("YQ=="), 4, &out, &length), 0);
    EXPECT_EQ(out, nullptr);
}

TEST_F(Base64Test, OneShotFailsCleanlyWithoutMemory) {
    std::string data = random_bytes(2000, 3);
    std::string text = one_shot_encode(2, data);
    tevra_test::until_allocations_suffice([&] { return one_shot_encode(2, data) == text; });
    tevra_test::until_allocations_suffice([&] { return one_shot_decode(2, text) == data; });
    tevra_test::until_allocations_suffice(
        [&] { return one_shot_decode(2 | TEVRA_BASE64_NO_PADDING, "YWI") == "ab"; });
}

// ---- PEM ----

TEST_F(Base64Test, PemEncodeLayout) {
    EXPECT_EQ(pem_encode("TEST", "hello"),
              "-----BEGIN TEST-----\r\naGVsbG8=\r\n-----END TEST-----\r\n");
    // A body ending in a full line gets no second line ending.
    std::string data(48, 'z');
    std::string pem = pem_encode("X", data);
    EXPECT_EQ(pem, "-----BEGIN X-----\r\n" + std::string(one_shot_encode(2, data)) +
                       "-----END X-----\r\n");
    EXPECT_EQ(pem_encode("", "a"), "<fail>");
    EXPECT_EQ(pem_encode(nullptr, "a"), "<fail>");
    EXPECT_EQ(pem_encode("X", ""), "<fail>");
}

TEST_F(Base64Test, PemRoundTripsAndTolerantForms) {
    for (size_t n : {1, 31, 32, 100, 3000}) {
        std::string data = random_bytes(n, static_cast<unsigned>(n + 7));
        ASSERT_TRUE(pem_decode("CERTIFICATE", pem_encode("CERTIFICATE", data)) == data);
    }
    const std::string body = "aGVsbG8=";
    EXPECT_EQ(pem_decode("T", "-----BEGIN T-----\n" + body + "\n-----END T-----\n"), "hello");
    EXPECT_EQ(pem_decode("T", "-----BEGIN T-----\r\n" + body + "\r\n-----END T-----"), "hello");
    EXPECT_EQ(pem_decode("T", "---------BEGIN T--------\r\n" + body + "\r\n-----END T-------\n"),
              "hello");
    std::string with_zero = "-----BEGIN T-----\n" + body + "\n-----END T-----\n";
    with_zero.push_back('\0');
    EXPECT_EQ(pem_decode("T", with_zero), "hello");
}

TEST_F(Base64Test, PemDecodeRejects) {
    const std::string body = "aGVsbG8=\r\n";
    auto pem = [&](const std::string &head, const std::string &tail) { return head + body + tail; };
    const std::string head = "-----BEGIN T-----\r\n";
    const std::string tail = "-----END T-----\r\n";
    EXPECT_EQ(pem_decode("T", pem(head, tail)), "hello");
    EXPECT_EQ(pem_decode("T", "Header: x\r\n" + pem(head, tail)), "<fail>");
    EXPECT_EQ(pem_decode("U", pem(head, tail)), "<fail>");
    EXPECT_EQ(pem_decode("T", pem("-----BEGIN T----\r\n", tail)), "<fail>");
    EXPECT_EQ(pem_decode("T", pem("-----BEGIN T-----", tail)), "<fail>");
    EXPECT_EQ(pem_decode("T", pem(head, "-----END U-----\r\n")), "<fail>");
    EXPECT_EQ(pem_decode("T", pem(head, "-----END T----\r\n")), "<fail>");
    EXPECT_EQ(pem_decode("T", pem(head, "-----END T-----\r\n\r\n")), "<fail>");
    EXPECT_EQ(pem_decode("T", pem(head, "-----END T-----x")), "<fail>");
    EXPECT_EQ(pem_decode("T", head + "-----END T-----\r\n" + std::string(20, '-')), "<fail>");
    EXPECT_EQ(pem_decode("T", pem(head, "") + "-----ENDT-----\r\n"), "<fail>");
    EXPECT_EQ(pem_decode("T", head + "aGVs!G8=\r\n" + tail), "<fail>");
    EXPECT_EQ(pem_decode("", pem(head, tail)), "<fail>");
    EXPECT_EQ(pem_decode("T", "-----BEGIN T-----\r\n"), "<fail>"); // too short
    unsigned char *out = nullptr;
    long length = 0;
    std::string ok = pem(head, tail);
    EXPECT_EQ(tevra_pemdecode("T", nullptr, len(ok), &out, &length), 0);
    EXPECT_EQ(tevra_pemdecode("T", bytes(ok), len(ok), nullptr, &length), 0);
}

TEST_F(Base64Test, PemFailsCleanlyWithoutMemory) {
    std::string data = random_bytes(500, 4);
    std::string pem = pem_encode("KEY", data);
    tevra_test::until_allocations_suffice([&] { return pem_encode("KEY", data) == pem; });
    tevra_test::until_allocations_suffice([&] { return pem_decode("KEY", pem) == data; });
}

} // namespace
