// Memory streams: capacity rules, the single-position, read-only and queue
// forms, control codes and detaching the buffer.
#include <cstring>
#include <string>

#include "TEVRA_Stream.h"
#include "TEVRA_Stream_Internal.h"
#include "stream_test_support.h"

using tevra::detail::mem_state;
using tevra::detail::MemStreamState;
using tevra_test::StreamTest;

class MemStream : public StreamTest {
  protected:
    void TearDown() override {
        tevra_stream_free(s);
        StreamTest::TearDown();
    }
    MemStreamState *m() { return mem_state(s); }
    int ctrl(long c, long value) { return tevra_stream_ctrl(s, c, &value, &ctx); }
    long get(long c) {
        long value = -99;
        EXPECT_EQ(tevra_stream_ctrl(s, c, &value, &ctx), 1);
        return value;
    }
    std::string read(long n) {
        std::string out(static_cast<size_t>(n), '\0');
        long count = -1;
        EXPECT_EQ(tevra_stream_read(s, out.data(), n, &count, &ctx), 1);
        out.resize(static_cast<size_t>(count));
        return out;
    }
    TEVRA_Stream *s = nullptr;
};

TEST_F(MemStream, CapacityIsRoundedAndDefaulted) {
    for (auto [asked, got] : {std::pair{0L, 4096L}, {10L, 16L}, {16L, 16L}, {1L, 8L}}) {
        s = tevra_stream_new_mem(asked, &ctx);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(m()->capacity, got);
        EXPECT_EQ(tevra_stream_gettype(s), 0x20001u);
        tevra_stream_free(s);
    }
    s = tevra_stream_new_mem(-1, &ctx);
    EXPECT_TRUE(fails(s, 0x10001));
    EXPECT_EQ(file(), "TEVRA_Stream_Mem");
    EXPECT_EQ(tevra_stream_new_rwspecmem(-5, &ctx), nullptr);
}

TEST_F(MemStream, SinglePositionFollowsWrites) {
    s = tevra_stream_new_mem(8, &ctx);
    ASSERT_EQ(write(s, "abc"), 1);
    EXPECT_EQ(read(10), ""); // the read position followed the write
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 1);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 1);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_POS), 2);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 2);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_LENGTH), 3);

    // Growth: n + capacity + write position, rounded up to 8.
    ASSERT_EQ(write(s, "XYZ0123456"), 1); // overwrites "c", then runs past the end
    EXPECT_EQ(m()->capacity, 24);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_LENGTH), 12);
    EXPECT_TRUE(fails(ctrl(TEVRA_STREAM_CTRL_SET_POS, 12), 0x10105, "pos is invalid")); // == length
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_POS, -1), 0);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_POS, 0), 1);
    EXPECT_EQ(read(100), "abXYZ0123456");
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_READ_POS, 3), 1);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 3);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_WRITE_POS, 5), 1);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_READ_POS), 5);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);

    // A failed growth leaves the stream as it was.
    ASSERT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_POS, 11), 1);
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(write(s, std::string(100, 'z')), 0);
    tevra_test::fail_allocations_after(-1);
    EXPECT_EQ(code(), 0x10000u);
    EXPECT_EQ(m()->capacity, 24);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_POS), 11);
}

TEST_F(MemStream, BadArgumentsAndUnsupportedCodes) {
    s = tevra_stream_new_mem(0, &ctx);
    char b[4];
    long n = 0;
    EXPECT_TRUE(fails(tevra_stream_read(s, b, -1, &n, &ctx), 0x10001));
    EXPECT_TRUE(fails(tevra_stream_write(s, nullptr, 3, &n, &ctx), 0x10002));
    for (long c : {0L, 3L, 9L, 10L, 12L, 13L, 14L, 20L, 21L, -1L}) {
        clear();
        EXPECT_EQ(tevra_stream_ctrl(s, c, &n, &ctx), 0) << c;
        EXPECT_EQ(code(), 0x10115u) << c;
    }
    EXPECT_TRUE(fails(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_GET_LENGTH, nullptr, &ctx), 0x10002));

    // A read position beyond the data: the code and the text differ.
    ASSERT_EQ(write(s, "abc"), 1);
    m()->read_pos = 5;
    EXPECT_TRUE(fails(tevra_stream_read(s, b, 1, &n, &ctx), 0x10004, "Bad Length"));
    m()->write_pos = m()->capacity + 1;
    EXPECT_TRUE(fails(write(s, "x"), 0x10004, "Bad Length"));

    // A stream without its state.
    void *state = s->data;
    s->data = nullptr;
    EXPECT_TRUE(fails(tevra_stream_read(s, b, 1, &n, &ctx), 0x10102));
    EXPECT_TRUE(fails(tevra_stream_ctrl(s, 1, nullptr, &ctx), 0x10102));
    s->data = state;
}

TEST_F(MemStream, ReadOnlyCopiedOrBorrowed) {
    char bytes[] = "borrowed";
    s = tevra_stream_new_romem(bytes, 8, 0, &ctx);
    bytes[0] = 'B'; // used in place
    EXPECT_EQ(drain(s), "Borrowed");
    long n = 0;
    EXPECT_TRUE(fails(tevra_stream_write(s, "x", 1, &n, &ctx), 0x10100, "Write a readonly stream"));
    clear();
    EXPECT_EQ(tevra_stream_write(s, "x", 0, &n, &ctx), 0); // read-only is tested first
    EXPECT_EQ(tevra_stream_writen(s, "x", 0, &ctx), 1);    // never reaches the method
    EXPECT_EQ(entries(), 1);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_RESERVE, 100), 0); // silent
    EXPECT_EQ(entries(), 1);
    tevra_stream_free(s);

    s = tevra_stream_new_romem(bytes, 8, 1, &ctx);
    bytes[0] = 'b';
    EXPECT_EQ(drain(s), "Borrowed");
    EXPECT_NE(m()->data, reinterpret_cast<unsigned char *>(bytes));
    tevra_stream_free(s);

    s = tevra_stream_new_romem(nullptr, 0, 0, &ctx);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(drain(s), "");
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 1);
    EXPECT_TRUE(fails(tevra_stream_new_romem(nullptr, 3, 1, &ctx), 0x10002));
    EXPECT_TRUE(fails(tevra_stream_new_romem(bytes, -1, 1, &ctx), 0x10001));
}

TEST_F(MemStream, QueueReusesItsFrontBeforeGrowing) {
    s = tevra_stream_new_rwspecmem(0, &ctx);
    std::string first(4096, 'a');
    for (size_t i = 0; i < first.size(); ++i)
        first[i] = static_cast<char>('a' + i % 26);
    ASSERT_EQ(write(s, first), 1);
    unsigned char *buffer = m()->data;
    EXPECT_EQ(read(4000), first.substr(0, 4000));
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_LENGTH), 96);
    ASSERT_EQ(write(s, std::string(100, '!')), 1);
    EXPECT_EQ(m()->data, buffer);
    EXPECT_EQ(m()->capacity, 4096);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_READ_POS), 0);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 196);

    // Not enough space even after compaction: n + capacity + unread bytes.
    EXPECT_EQ(read(50), first.substr(4000, 50));
    ASSERT_EQ(write(s, std::string(4000, '?')), 1);
    EXPECT_EQ(m()->capacity, (4000 + 4096 + 146 + 7) / 8 * 8);
    EXPECT_EQ(drain(s), first.substr(4050) + std::string(100, '!') + std::string(4000, '?'));
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 1);
}

TEST_F(MemStream, QueuePositionsMoveApart) {
    s = tevra_stream_new_rwspecmem(16, &ctx);
    ASSERT_EQ(write(s, "0123456789"), 1);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_READ_POS), 0);
    long n = 0;
    EXPECT_TRUE(fails(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_GET_POS, &n, &ctx), 0x1011B,
                      "wirte pos and read pos are difference"));

    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_READ_POS, 4), 1);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 10); // not lowered
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_WRITE_POS, 6), 1);
    EXPECT_EQ(read(1), "4");
    // Moved even though it ends up behind the read position.
    EXPECT_TRUE(fails(ctrl(TEVRA_STREAM_CTRL_SET_WRITE_POS, 2), 0x10105));
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 2);
    EXPECT_TRUE(fails(write(s, std::string(20, 'x')), 0x10000)); // cannot compact in that state
    EXPECT_EQ(read(1), "5");
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 6); // a read pulls it forward
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_READ_POS, 7), 1);
    EXPECT_EQ(get(TEVRA_STREAM_CTRL_GET_WRITE_POS), 7); // raised to the read position

    unsigned char *data = nullptr;
    long length = 0;
    EXPECT_EQ(tevra_memstreamdeatch(s, &data, &length), 0);
    EXPECT_EQ(data, nullptr);
}

TEST_F(MemStream, DetachHandsOverTheBuffer) {
    s = tevra_stream_new_mem(8, &ctx);
    ASSERT_EQ(write(s, "hello"), 1);
    unsigned char *data = nullptr;
    long length = 0;
    EXPECT_EQ(tevra_memstreamdeatch(s, &data, nullptr), 0);
    EXPECT_EQ(tevra_memstreamdeatch(nullptr, &data, &length), 0);
    ASSERT_EQ(tevra_memstreamdeatch(s, &data, &length), 1);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), 5), "hello");
    EXPECT_EQ(m()->flags, tevra::detail::MEM_FLAG_NOT_OWNED);
    EXPECT_EQ(write(s, "!!!"), 1); // still fits
    EXPECT_TRUE(fails(write(s, "!"), 0x10101, "Stream cannot grow"));
    tevra_stream_free(s);
    s = nullptr;
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), 8), "hello!!!");
    tevra_free(data);
}

TEST_F(MemStream, ReserveGrowsOnlyAtTheEnd) {
    s = tevra_stream_new_mem(8, &ctx);
    ASSERT_EQ(write(s, "abc"), 1);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_RESERVE, 5), 1);
    EXPECT_EQ(m()->capacity, 8);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_RESERVE, 1000), 1);
    EXPECT_EQ(m()->capacity, 1008);
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_RESERVE, 5000), 0);
    tevra_test::fail_allocations_after(-1);
    ASSERT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 1);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_RESERVE, 5000), 0); // not positioned at the end
    EXPECT_EQ(entries(), 0);
    EXPECT_EQ(drain(s), "abc");

    // After a detach the grown buffer is the stream's own; the handed-over
    // one stays with the caller, untouched.
    unsigned char *data = nullptr;
    long length = 0;
    ASSERT_EQ(tevra_memstreamdeatch(s, &data, &length), 1);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_RESERVE, 5000), 1);
    EXPECT_NE(m()->data, data);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), 3), "abc");
    tevra_free(data);
}
