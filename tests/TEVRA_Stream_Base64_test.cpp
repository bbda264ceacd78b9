// Base64 filter stream and the one-shot Base64 and PEM codecs.
#include <random>
#include <string>

#include "TEVRA_Stream.h"
#include "codec_test_support.h"
#include "stream_test_support.h"

using namespace tevra_test;

namespace {

const unsigned int kNoPad = TEVRA_BASE64_NO_PADDING;
const unsigned int kUrl = TEVRA_BASE64_URL_SAFE;

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
    // A decoding filter over a scripted source.
    TEVRA_Stream *decoder(ScriptedStream &source) {
        TEVRA_Stream *b64 = tevra_stream_new_base64(2, 64, 2, &ctx);
        EXPECT_EQ(tevra_stream_push(b64, &source.stream), 1);
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
    std::string pending(TEVRA_Stream *b64) {
        TEVRA_DataBlob *rest = nullptr;
        if (tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, &rest, &ctx) != 1)
            return "<fail>";
        std::string s(reinterpret_cast<char *>(rest->data), static_cast<size_t>(rest->length));
        tevra_data_blob_free(rest);
        return s;
    }
};

std::string b64_encode(unsigned int flags, const std::string &data) {
    return one_shot(
        [&](unsigned char **out, long *n) {
            return tevra_base64encode(flags, bytes(data), len(data), out, n);
        },
        true);
}
std::string b64_decode(unsigned int flags, const std::string &text) {
    return one_shot([&](unsigned char **out, long *n) {
        return tevra_base64decode(flags, bytes(text), len(text), out, n);
    });
}
std::string pem_encode(const char *label, const std::string &data) {
    return one_shot([&](unsigned char **out, long *n) {
        return tevra_pemencode(label, bytes(data), len(data), out, n);
    });
}
std::string pem_decode(const char *label, const std::string &text) {
    return one_shot([&](unsigned char **out, long *n) {
        return tevra_pemdecode(label, bytes(text), len(text), out, n);
    });
}

std::string random_bytes(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (char &c : s)
        c = static_cast<char>(gen());
    return s;
}

TEST_F(Base64Test, EncodingPaddingLineEndingsLinesAndAlphabets) {
    const std::string zeros48(48, '\0');
    const struct {
        unsigned int flags;
        int line;
        std::string data, expected;
    } cases[] = {
        {2, 64, "abc", "YWJj"}, // nothing pending: no line ending
        {2, 64, "ab", "YWI=\r\n"},
        {2 | kNoPad, 64, "ab", "YWI\r\n"},
        {3, 64, "a", "YQ==\n"},
        {1, 64, "a", "YQ==\r"},
        {4, 64, "a", "YQ=="},
        {4 | kNoPad, 64, "a", "YQ"},
        {3, 64, zeros48, std::string(64, 'A') + "\n"},
        {3, 64, zeros48 + "1", std::string(64, 'A') + "\nMQ==\n"},
        {2, 0, zeros48, std::string(64, 'A') + "\r\n"}, // below 1 means 64
        {4, 64, zeros48 + zeros48, std::string(128, 'A')},
        // A length of 65 is stored as 66: the column passes it after 68.
        {3, 65, std::string(60, '\0'), std::string(68, 'A') + "\n" + std::string(12, 'A')},
        {3, 8, std::string(9, '\0'), "AAAAAAAA\nAAAA"},
        {4, 64, "\xfb\xff\xbf", "+/+/"},
        {4 | kUrl, 64, "\xfb\xff\xbf", "-_-_"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(encode(c.flags, c.line, c.data), c.expected) << c.flags << " " << c.line;
    EXPECT_EQ(b64_encode(2, "hello world"), "aGVsbG8gd29ybGQ=\r\n");
    EXPECT_EQ(b64_encode(2 | kNoPad | kUrl, "\xff\xfe"), "__4\r\n");

    // A refused write still moves the column, so the next line breaks early.
    TEVRA_Stream *sink = tevra_stream_new_romem("x", 1, 0, &ctx);
    TEVRA_Stream *b64 = tevra_stream_new_base64(3, 8, 2, &ctx);
    ASSERT_EQ(tevra_stream_push(b64, sink), 1);
    EXPECT_TRUE(fails(write(b64, "abc"), TEVRA_ERR_STREAM_READONLY));
    tevra_stream_pop(b64);
    tevra_stream_free(sink);
    sink = tevra_stream_new_mem(0, &ctx);
    ASSERT_EQ(tevra_stream_push(b64, sink), 1);
    ASSERT_EQ(write(b64, "abc"), 1);
    EXPECT_EQ(contents(sink), "YWJj\n");
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, PiecewiseWritesAndSinkGrowthGiveTheSameText) {
    std::string data = random_bytes(5000, 1);
    for (unsigned int flags : {2u, 3u, 4u, 1u | kUrl}) {
        std::string whole = encode(flags, 40, data);
        for (int roomy = 0; roomy < 2; ++roomy) {
            // Behind some bytes already written, in uneven pieces.
            TEVRA_Stream *mem = tevra_stream_new_mem(roomy ? 1L << 16 : 8, &ctx);
            ASSERT_EQ(write(mem, "head"), 1);
            TEVRA_Stream *b64 = tevra_stream_new_base64(flags, 40, 2, &ctx);
            ASSERT_EQ(tevra_stream_push(b64, mem), 1);
            for (size_t i = 0, step = 1; i < data.size();
                 i += step, step = i < 900 ? step % 7 + 1 : 1700)
                ASSERT_EQ(write(b64, data.substr(i, step)), 1);
            ASSERT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
            long position = -1;
            ASSERT_EQ(tevra_stream_ctrl(mem, TEVRA_STREAM_CTRL_GET_POS, &position, &ctx), 1);
            EXPECT_EQ(position, 4 + len(whole));
            EXPECT_TRUE(contents(mem) == "head" + whole) << flags << " " << roomy;
            tevra_stream_freeall(b64);
        }
    }
}

TEST_F(Base64Test, DecodingSkipPaddingAndInvalidByteRules) {
    const struct {
        unsigned int flags;
        std::string text, expected;
    } cases[] = {
        // Mode 1 skips nothing, mode 2 line endings, mode 3 all white space.
        {1, "YWJj\n", "<fail>"},
        {1, "YWJj", "abc"},
        {2, "YWJj\n", "abc"},
        {2, "YW\r\nJj\r\n", "abc"},
        {2, "YW Jj", "<fail>"},
        {3, "YW Jj", "abc"},
        {3, " Y\tW J j \r\n", "abc"},
        {2, "YWI=", "ab"},
        {2, "YQ==", "a"},
        {2, "YR==", "<fail>"}, // low bits not zero
        {2, "YWJ=", "<fail>"},
        {2, "Y===", "<fail>"},
        {2, "YWJj=", "<fail>"},
        {2, "YQ==YQ==", "<fail>"}, // nothing after the padding
        {2, "YQ=\r\n=", "a"},
        {2, "YQ=a", "<fail>"},
        {2, "YWI", "<fail>"}, // padding required
        {2, "YWJjYQ==\r\n", "abca"},
        {3, "YW*j", "<fail>"},
        {3, std::string("YW\0j", 4), "<fail>"},
        {3, "YW\xc3\xa9", "<fail>"},
        {3, "\x80", "<fail>"},
        {2, "+/+/", "\xfb\xff\xbf"},
        {2 | kUrl, "-_-_", "\xfb\xff\xbf"},
        {2, "-_-_", "<fail>"},
        {2 | kUrl, "+/+/", "<fail>"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(decode_stream(c.flags, c.text), c.expected) << c.flags << " " << c.text;
}

TEST_F(Base64Test, UnpaddedFinalGroupComesFromGetPending) {
    TEVRA_Stream *b64 = decoder(2 | kNoPad, "YWJjZA");
    EXPECT_EQ(drain(b64), "abc");
    // The short group is carried: not at the end yet.
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);
    EXPECT_EQ(pending(b64), "d");
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 1);
    EXPECT_EQ(pending(b64), ""); // nothing carried any more: an empty blob
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_PENDING, nullptr, &ctx), 0);
    tevra_stream_freeall(b64);
    // A lone final character fails without an entry, and the failure sticks.
    b64 = decoder(2 | kNoPad, "Y");
    EXPECT_EQ(drain(b64), "");
    EXPECT_EQ(pending(b64), "<fail>");
    EXPECT_EQ(entries(), 0);
    char out[4];
    long count = 0;
    EXPECT_TRUE(
        fails(tevra_stream_read(b64, out, 1, &count, &ctx), TEVRA_ERR_STREAM_BASE64_DECODE));
    tevra_stream_freeall(b64);

    EXPECT_EQ(b64_decode(2 | kNoPad, "YWI"), "ab");
    EXPECT_EQ(b64_decode(2 | kNoPad, "YQ"), "a");
    for (const char *bad : {"YR", "YWJjZ", "YQ=="})
        EXPECT_EQ(b64_decode(2 | kNoPad, bad), "<fail>") << bad;

    // With padding a carried group is no final group.
    b64 = decoder(2, "YWJjZA");
    EXPECT_EQ(drain(b64), "abc");
    EXPECT_EQ(pending(b64), "<fail>");
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, DecodeFailureEndsTheTextSilently) {
    TEVRA_Stream *b64 = decoder(2, "YWJj!!!!");
    char out[16];
    long count = 0;
    EXPECT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 0);
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);
    EXPECT_EQ(pending(b64), "<fail>");
    EXPECT_EQ(entries(), 1); // only the read reports
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, OverflowIsServedFromItsFront) {
    // One read decodes all six bytes and keeps five; smaller reads are
    // then served from the front of the kept bytes each time.
    TEVRA_Stream *b64 = decoder(2, "YWJjZGVm");
    std::string got;
    char out[16];
    long count = 0;
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(tevra_stream_read(b64, out, 1, &count, &ctx), 1);
        ASSERT_EQ(count, 1);
        got.push_back(out[0]);
    }
    EXPECT_EQ(got, "abbbbb");
    ASSERT_EQ(tevra_stream_read(b64, out, 8, &count, &ctx), 1);
    EXPECT_EQ(count, 0);
    tevra_stream_freeall(b64);

    // A request larger than what is kept takes it all, then reads on.
    b64 = decoder(2, "YWJjZGVmZ2hp");
    ASSERT_EQ(tevra_stream_read(b64, out, 2, &count, &ctx), 1);
    ASSERT_EQ(tevra_stream_read(b64, out + 2, 14, &count, &ctx), 1);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(std::string(out, 9), "abcdefghi");
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, CarryAcrossTrickledInput) {
    std::string data = random_bytes(3000, 2);
    std::string text = b64_encode(2, data);
    for (long piece : {1L, 3L, 5L, 1000L}) {
        ScriptedStream source(text, piece);
        TEVRA_Stream *b64 = decoder(source);
        // Reads larger than the overflow buffer never meet its front-only serving.
        std::string out;
        char buffer[800];
        long count = 0;
        while (tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx) != 1) {
            ASSERT_EQ(tevra_stream_read(b64, buffer, sizeof buffer, &count, &ctx), 1);
            out.append(buffer, static_cast<size_t>(count));
        }
        EXPECT_TRUE(out == data) << "piece " << piece;
        release_filter(b64);
    }
}

TEST_F(Base64Test, AskingForMoreThanAFailingSourceHolds) {
    char out[16];
    long count = 0;
    ScriptedStream pieces("YWJjZA==", 4, true);
    TEVRA_Stream *b64 = decoder(pieces);
    ASSERT_EQ(tevra_stream_read(b64, out, sizeof out, &count, &ctx), 1);
    ASSERT_EQ(tevra_stream_read(b64, out + 3, sizeof out - 3, &count, &ctx), 1);
    EXPECT_EQ(std::string(out, 4), "abcd");
    release_filter(b64);
}

TEST_F(Base64Test, ConstructorAndControlChecks) {
    EXPECT_TRUE(fails(tevra_stream_new_base64(5, 64, 2, &ctx), TEVRA_ERR_STREAM_BASE64_FLAG,
                      "bad base64 flag"));
    EXPECT_EQ(tevra_stream_new_base64(0, 64, 2, &ctx), nullptr);
    EXPECT_EQ(tevra_stream_new_base64(2, 64, 4, &ctx), nullptr);
    EXPECT_EQ(tevra_stream_new_base64(2 | 0x200, 64, 2, &ctx), nullptr);

    TEVRA_Stream *b64 = tevra_stream_new_base64(4 | 0x180, 64, 3 | 0x180, &ctx);
    ASSERT_NE(b64, nullptr);
    EXPECT_EQ(tevra_stream_gettype(b64), unsigned(TEVRA_STREAM_TYPE_BASE64));
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    ASSERT_EQ(tevra_stream_push(b64, mem), 1);
    clear();
    long length = 99;
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_LENGTH, &length, &ctx), 0);
    EXPECT_EQ(entries(), 0);
    EXPECT_EQ(tevra_stream_ctrl(b64, TEVRA_STREAM_CTRL_GET_POS, &length, &ctx), 1); // forwarded
    tevra_stream_freeall(b64);
}

TEST_F(Base64Test, OneShotRoundTripsAndArgumentChecks) {
    for (unsigned int flags : {1u, 2u, 3u, 4u, 2 | kUrl, 2 | kNoPad, 3 | kUrl | kNoPad}) {
        // Decode mode 3 skips every line ending the encoder can write.
        unsigned int decode_flags = 3 | (flags & 0x180);
        for (size_t n : {1, 2, 3, 4, 47, 48, 49, 767, 768, 769, 5000}) {
            std::string data = random_bytes(n, static_cast<unsigned>(n));
            ASSERT_TRUE(b64_decode(decode_flags, b64_encode(flags, data)) == data)
                << "flags " << flags << " length " << n;
        }
    }
    EXPECT_EQ(b64_decode(2, "\r\n"), "");
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

TEST_F(Base64Test, PemLayoutAndTolerantForms) {
    EXPECT_EQ(pem_encode("TEST", "hello"),
              "-----BEGIN TEST-----\r\naGVsbG8=\r\n-----END TEST-----\r\n");
    // A body ending in a full line gets no second line ending.
    std::string data(48, 'z');
    EXPECT_EQ(pem_encode("X", data),
              "-----BEGIN X-----\r\n" + b64_encode(2, data) + "-----END X-----\r\n");
    EXPECT_EQ(pem_encode("", "a"), "<fail>");
    EXPECT_EQ(pem_encode(nullptr, "a"), "<fail>");
    EXPECT_EQ(pem_encode("X", ""), "<fail>");
    for (size_t n : {1, 31, 32, 100, 3000}) {
        std::string data = random_bytes(n, static_cast<unsigned>(n + 7));
        ASSERT_TRUE(pem_decode("CERTIFICATE", pem_encode("CERTIFICATE", data)) == data);
    }
    const std::string body = "aGVsbG8=";
    EXPECT_EQ(pem_decode("T", "-----BEGIN T-----\n" + body + "\n-----END T-----\n"), "hello");
    EXPECT_EQ(pem_decode("T", "-----BEGIN T-----\r\n" + body + "\r\n-----END T-----"), "hello");
    EXPECT_EQ(pem_decode("T", "---------BEGIN T--------\r\n" + body + "\r\n-----END T-------\n"),
              "hello");
    EXPECT_EQ(pem_decode("T", "-----BEGIN T-----\n" + body + "\n-----END T-----\n" +
                                  std::string(1, '\0')),
              "hello");
}

TEST_F(Base64Test, PemDecodeRejects) {
    const std::string body = "aGVsbG8=\r\n";
    const std::string head = "-----BEGIN T-----\r\n";
    const std::string tail = "-----END T-----\r\n";
    EXPECT_EQ(pem_decode("T", head + body + tail), "hello");
    for (const std::string &bad : {
             "Header: x\r\n" + head + body + tail, "-----BEGIN T----\r\n" + body + tail,
             "-----BEGIN T-----" + body + tail, head + body + "-----END U-----\r\n",
             head + body + "-----END T----\r\n", head + body + "-----END T-----\r\n\r\n",
             head + body + "-----END T-----x", head + "-----END T-----\r\n" + std::string(20, '-'),
             head + body + "-----ENDT-----\r\n", head + "aGVs!G8=\r\n" + tail,
             head, // too short
         })
        EXPECT_EQ(pem_decode("T", bad), "<fail>") << bad;
    EXPECT_EQ(pem_decode("U", head + body + tail), "<fail>");
    EXPECT_EQ(pem_decode("", head + body + tail), "<fail>");
    unsigned char *out = nullptr;
    long length = 0;
    std::string ok = head + body + tail;
    EXPECT_EQ(tevra_pemdecode("T", nullptr, len(ok), &out, &length), 0);
    EXPECT_EQ(tevra_pemdecode("T", bytes(ok), len(ok), nullptr, &length), 0);
}

TEST_F(Base64Test, OneShotAndPemFailCleanlyWithoutMemory) {
    std::string data = random_bytes(2000, 3);
    std::string text = b64_encode(2, data);
    until_allocations_suffice([&] { return b64_encode(2, data) == text; });
    until_allocations_suffice([&] { return b64_decode(2, text) == data; });
    until_allocations_suffice([&] { return b64_decode(2 | kNoPad, "YWI") == "ab"; });
    std::string pem = pem_encode("KEY", data.substr(0, 500));
    until_allocations_suffice([&] { return pem_encode("KEY", data.substr(0, 500)) == pem; });
    until_allocations_suffice([&] { return pem_decode("KEY", pem) == data.substr(0, 500); });
}

} // namespace
