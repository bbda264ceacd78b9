// File streams: modes, the end-of-file sequence, close and reopen, seeking,
// and copying between files and memory.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "TEVRA_Stream.h"
#include "stream_test_support.h"

using tevra_test::StreamTest;

class FileStream : public StreamTest {
  protected:
    void SetUp() override {
        StreamTest::SetUp();
        char pattern[] = "/tmp/tevra_file_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        path = dir + "/data.bin";
    }
    void TearDown() override {
        tevra_stream_free(s);
        std::remove(path.c_str());
        rmdir(dir.c_str());
        StreamTest::TearDown();
    }
    void put_file(const std::string &bytes) { std::ofstream(path, std::ios::binary) << bytes; }
    std::string file_bytes() {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    TEVRA_Stream *open(unsigned long mode) {
        return s = tevra_stream_new_file(path.c_str(), mode, &ctx);
    }
    int ctrl(long c, long value) { return tevra_stream_ctrl(s, c, &value, &ctx); }
    int read(long n, long *count) {
        char buffer[64];
        return tevra_stream_read(s, buffer, n, count, &ctx);
    }

    std::string dir, path;
    TEVRA_Stream *s = nullptr;
};

TEST_F(FileStream, ConstructorRefusesBadArguments) {
    EXPECT_TRUE(fails(tevra_stream_new_file(nullptr, 1, &ctx), 0x10002));
    EXPECT_EQ(file(), "TEVRA_Stream_File");
    for (unsigned long mode : {0UL, 4UL, 0x100000001UL}) {
        EXPECT_EQ(open(mode), nullptr);
        EXPECT_EQ(text(), "error file mode");
    }
    EXPECT_TRUE(fails(open(1), 0x1010C, "open file fail")); // missing file

    put_file("x");
    tevra_test::until_allocations_suffice([this] {
        TEVRA_Stream *made = tevra_stream_new_file(path.c_str(), 1, nullptr);
        tevra_stream_free(made);
        return made != nullptr;
    });
}

TEST_F(FileStream, EndOfFileSequence) {
    put_file("abc");
    ASSERT_NE(open(1), nullptr);
    EXPECT_EQ(tevra_stream_gettype(s), 0x20002u);
    long count = -1;
    EXPECT_EQ(read(3, &count), 1);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);
    // The read that first meets the end with nothing fails as an empty read...
    EXPECT_EQ(read(3, &count), 0);
    EXPECT_EQ(text(), "read file fail");
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 1);
    // ...and once the end flag is set, as a read past the end.
    count = -1;
    EXPECT_EQ(read(3, &count), 0);
    EXPECT_TRUE(fails(count, 0x10103, "Read pass end of stream"));

    ASSERT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_RESET, nullptr, &ctx), 1);
    EXPECT_TRUE(fails(read(0, &count), 0x10106)); // a zero-byte read fails here
    EXPECT_EQ(read(64, &count), 1);               // a short read sets the end flag
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(fails(read(64, &count), 0x10103));
    EXPECT_TRUE(fails(read(-1, &count), 0x10001));
    EXPECT_TRUE(fails(tevra_stream_read(s, nullptr, 1, &count, &ctx), 0x10002));
}

TEST_F(FileStream, ModesDecideWhatIsAllowed) {
    ASSERT_NE(open(2), nullptr);
    EXPECT_EQ(write(s, "hello"), 1);
    long count = 0;
    EXPECT_EQ(read(1, &count), 0);
    EXPECT_EQ(text(), "stream can not read");
    EXPECT_EQ(tevra_stream_write(s, nullptr, 0, &count, &ctx), 1);
    EXPECT_TRUE(fails(tevra_stream_write(s, nullptr, 1, &count, &ctx), 0x10002));
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
    EXPECT_EQ(file_bytes(), "hello");
    tevra_stream_free(s);

    ASSERT_NE(open(3), nullptr);
    EXPECT_EQ(write(s, " world"), 1);
    EXPECT_TRUE(fails(read(1, &count), 0x10119));
    tevra_stream_free(s);
    EXPECT_EQ(file_bytes(), "hello world");

    ASSERT_NE(open(1), nullptr);
    EXPECT_TRUE(fails(write(s, "x"), 0x1011A, "stream can not write"));
    EXPECT_TRUE(fails(tevra_stream_ctrl(s, 15, &count, &ctx), 0x10115));
}

TEST_F(FileStream, PositionsAndLength) {
    put_file("0123456789");
    ASSERT_NE(open(1), nullptr);
    long value = -1;
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_POS, 4), 1);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_GET_LENGTH, &value, &ctx), 1);
    EXPECT_EQ(value, 10);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_GET_POS, &value, &ctx), 1);
    EXPECT_EQ(value, 4); // unchanged by measuring
    char b[3] = {};
    EXPECT_EQ(tevra_stream_readn(s, b, 2, &ctx), 1);
    EXPECT_STREQ(b, "45");
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_SET_POS, -1), 0);
    EXPECT_EQ(text(), "pos is invalid");
    for (long c : {TEVRA_STREAM_CTRL_GET_LENGTH, TEVRA_STREAM_CTRL_GET_POS,
                   TEVRA_STREAM_CTRL_SET_POS, TEVRA_STREAM_CTRL_REOPEN}) {
        clear();
        EXPECT_EQ(tevra_stream_ctrl(s, c, nullptr, &ctx), 0);
        EXPECT_EQ(code(), 0x10002u) << c;
    }

    // ftell on a pipe fails: reported under "pos is invalid" with an empty text.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::string pipe_path = "/proc/self/fd/" + std::to_string(fds[0]);
    TEVRA_Stream *p = tevra_stream_new_file(pipe_path.c_str(), 1, &ctx);
    if (p != nullptr) {
        clear();
        EXPECT_TRUE(
            fails(tevra_stream_ctrl(p, TEVRA_STREAM_CTRL_GET_POS, &value, &ctx), 0x10105, ""));
        tevra_stream_free(p);
    }
    close(fds[0]);
    close(fds[1]);
}

TEST_F(FileStream, CloseAndReopen) {
    put_file("abcdef");
    ASSERT_NE(open(1), nullptr);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_CLOSE, nullptr, &ctx), 1);
    long value = 0;
    for (long c : {TEVRA_STREAM_CTRL_RESET, TEVRA_STREAM_CTRL_GET_LENGTH, TEVRA_STREAM_CTRL_GET_POS,
                   TEVRA_STREAM_CTRL_SET_POS, TEVRA_STREAM_CTRL_CLOSE}) {
        clear();
        EXPECT_EQ(tevra_stream_ctrl(s, c, &value, &ctx), 0);
        EXPECT_EQ(text(), "file already close") << c;
    }
    clear();
    EXPECT_EQ(read(1, &value), 0);
    EXPECT_EQ(write(s, "x"), 0);
    EXPECT_EQ(entries(), 2);
    EXPECT_EQ(code(), 0x10108u);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_EOF, nullptr, &ctx), 0);

    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_REOPEN, 1), 1);
    EXPECT_EQ(drain(s), "abcdef");
    // Reading to writing updates in place rather than truncating.
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_REOPEN, 2), 1);
    EXPECT_EQ(write(s, "XY"), 1);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
    EXPECT_EQ(file_bytes(), "XYcdef");
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_REOPEN, 3), 1);
    EXPECT_EQ(write(s, "++"), 1);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_REOPEN, 2), 1); // from append: truncates
    EXPECT_EQ(write(s, "new"), 1);
    EXPECT_EQ(ctrl(TEVRA_STREAM_CTRL_REOPEN, 1), 1);
    EXPECT_EQ(drain(s), "new");
    EXPECT_TRUE(fails(ctrl(TEVRA_STREAM_CTRL_REOPEN, 7), 0x1010B));
    EXPECT_EQ(drain(s), ""); // still open after the refused mode

    std::remove(path.c_str());
    rmdir(dir.c_str());
    EXPECT_TRUE(fails(ctrl(TEVRA_STREAM_CTRL_REOPEN, 1), 0x1010C));
    EXPECT_TRUE(fails(read(1, &value), 0x10108));
}

TEST_F(FileStream, CopiesBetweenFileAndMemory) {
    std::string data(3 * 8192 + 5, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 31 + 7);
    put_file(data);
    ASSERT_NE(open(1), nullptr);
    TEVRA_Stream *mem = tevra_stream_new_mem(0, &ctx);
    char skip[10];
    ASSERT_EQ(tevra_stream_readn(s, skip, 10, &ctx), 1); // copying starts from the beginning
    long total = 0;
    EXPECT_EQ(tevra_stream_writefromstream(mem, s, &total, &ctx), 1);
    EXPECT_EQ(total, static_cast<long>(data.size()));
    // The read past the end left its entry, although the copy succeeded.
    EXPECT_EQ(entries(), 1);
    EXPECT_EQ(code(), 0x10103u);
    tevra_stream_free(s);

    ASSERT_NE(open(2), nullptr);
    EXPECT_EQ(tevra_stream_writefromstream(s, mem, &total, &ctx), 1);
    EXPECT_EQ(tevra_stream_ctrl(s, TEVRA_STREAM_CTRL_FLUSH, nullptr, &ctx), 1);
    EXPECT_EQ(file_bytes(), data);
    tevra_stream_free(mem);

    // An empty file copies nothing and succeeds.
    tevra_stream_free(s);
    put_file("");
    ASSERT_NE(open(1), nullptr);
    TEVRA_Stream *null = tevra_stream_new_null(&ctx);
    EXPECT_EQ(tevra_stream_writefromstream(null, s, &total, &ctx), 1);
    EXPECT_EQ(total, 0);
    tevra_stream_free(null);
}
