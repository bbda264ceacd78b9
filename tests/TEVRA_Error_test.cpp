// Error contexts: the ring, the listing rule, descriptions and the last error.
#include <algorithm>
#include <cstring>
#include <string>
#include <thread>

#include "TEVRA_Error.h"
#include "test_support.h"

using tevra_test::LeakCheck;

class ErrCtx : public LeakCheck {
  protected:
    void SetUp() override {
        LeakCheck::SetUp();
        ctx = tevra_err_ctx_new();
        ASSERT_NE(ctx, nullptr);
    }
    void TearDown() override {
        tevra_err_ctx_free(ctx);
        LeakCheck::TearDown();
    }
    std::string listing() {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(tevra_err_ctx_print(ctx), 1);
        return ::testing::internal::GetCapturedStderr();
    }
    void put_numbered(int count) {
        for (int i = 0; i < count; ++i, ++puts)
            tevra_err_ctx_put(ctx, "TEVRA_Test", puts, 0x10000 + puts, "e");
    }
    static int lines(const std::string &text) {
        return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    }
    TEVRA_ErrCtx *ctx = nullptr;
    int puts = 0;
};

TEST_F(ErrCtx, NewContextIsEmpty) {
    unsigned int code = 0;
    EXPECT_EQ(tevra_err_ctx_geterrcode(ctx, &code), 1);
    EXPECT_EQ(code, 1u);
    unsigned int length = 0;
    char buffer[8] = "xxxxxxx";
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, buffer, sizeof buffer, &length), 1);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, buffer, 0, &length), 0);
    EXPECT_EQ(listing(), "No Error\n");
}

TEST_F(ErrCtx, ListsNewestFirstInTheExactFormat) {
    tevra_err_ctx_put(ctx, "TEVRA_Stream", 12, 0x10103, tevra_igetStreamError(0x10103));
    tevra_err_ctx_put(ctx, "TEVRA_Error", 7, 0x10002, tevra_igetGeneralError(0x10002));
    EXPECT_EQ(listing(), "0X00010002 Null Point TEVRA_Error(7)\n"
                         "0X00010103 Read pass end of stream TEVRA_Stream(12)\n");
    unsigned int code = 0;
    tevra_err_ctx_geterrcode(ctx, &code);
    EXPECT_EQ(code, 0x10002u);
}

TEST_F(ErrCtx, RingHolds31AndStopsListingOnceWrapped) {
    put_numbered(31);
    std::string text = listing();
    EXPECT_EQ(lines(text), 31);
    EXPECT_EQ(text.rfind("0X0001001E e TEVRA_Test(30)\n", 0), 0u);
    put_numbered(1); // 32nd put: the first entry is dropped, newest sits at slot 31
    text = listing();
    EXPECT_EQ(lines(text), 31);
    EXPECT_EQ(text.find("TEVRA_Test(0)\n"), std::string::npos);
    put_numbered(1); // wrapped: newest slot below oldest, nothing listed
    EXPECT_EQ(listing(), "");
    unsigned int code = 0;
    tevra_err_ctx_geterrcode(ctx, &code);
    EXPECT_EQ(code, 0x10020u);
}

TEST_F(ErrCtx, PutValidatesAndTruncates) {
    EXPECT_EQ(tevra_err_ctx_put(ctx, "f", -1, 5, "x"), 0);
    EXPECT_EQ(tevra_err_ctx_put(ctx, nullptr, 1, 5, "x"), 0);
    EXPECT_EQ(tevra_err_ctx_put(nullptr, "f", 1, 5, "x"), 0);
    EXPECT_EQ(listing(), "No Error\n");
    std::string hundred(100, 'a');
    EXPECT_EQ(tevra_err_ctx_put(ctx, "f", 1, 5, hundred.c_str()), 1);
    EXPECT_EQ(std::string(ctx->entries[0].description), hundred.substr(0, 63));
    EXPECT_EQ(tevra_err_ctx_put(ctx, "f", 2, 6, nullptr), 1);
    EXPECT_STREQ(ctx->entries[1].description, "");
}

TEST_F(ErrCtx, GeterrdescCopiesFromTheBufferIntoTheEntry) {
    tevra_err_ctx_put(ctx, "f", 1, 5, "abcd");
    unsigned int length = 0;
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, nullptr, 0, &length), 1);
    EXPECT_EQ(length, 5u);
    char exact[4] = {'w', 'x', 'y', 'z'};
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, exact, 4, &length), 0);
    char buffer[8] = "WXYZ\0QQ";
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, buffer, sizeof buffer, &length), 1);
    EXPECT_EQ(std::memcmp(ctx->entries[0].description, "WXYZ\0\0", 6), 0);

    // A full-length description: the copy stops at the entry's last byte.
    tevra_err_ctx_put(ctx, "f", 1, 5, std::string(63, 'a').c_str());
    std::string longer = std::string(63, 'B') + '\0' + "QQQQ";
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, longer.data(), 68, &length), 1);
    EXPECT_EQ(std::string(ctx->entries[1].description), std::string(63, 'B'));
    EXPECT_EQ(ctx->entries[2].file, nullptr);
    EXPECT_EQ(tevra_err_ctx_geterrdesc(nullptr, buffer, 8, &length), 0);
    EXPECT_EQ(tevra_err_ctx_geterrdesc(ctx, buffer, 8, nullptr), 0);
}

TEST_F(ErrCtx, CopyCleanAndNullArguments) {
    put_numbered(3);
    TEVRA_ErrCtx copy;
    std::memset(&copy, 0xFF, sizeof copy);
    EXPECT_EQ(tevra_err_ctx_copy(ctx, &copy), 1);
    EXPECT_EQ(std::memcmp(&copy, ctx, sizeof copy), 0);
    EXPECT_EQ(tevra_err_ctx_copy(nullptr, &copy), 0);
    EXPECT_EQ(tevra_err_ctx_copy(ctx, nullptr), 0);
    EXPECT_EQ(tevra_err_ctx_clean(ctx), 1);
    EXPECT_EQ(listing(), "No Error\n");
    EXPECT_EQ(tevra_err_ctx_clean(nullptr), 0);
    EXPECT_EQ(tevra_err_ctx_print(nullptr), 0);
    unsigned int code;
    EXPECT_EQ(tevra_err_ctx_geterrcode(nullptr, &code), 0);
    EXPECT_EQ(tevra_err_ctx_geterrcode(ctx, nullptr), 0);
    tevra_err_ctx_free(nullptr);
}

TEST(ErrorTables, TextsUnknownCodesAndNoMemory) {
    EXPECT_STREQ(tevra_igetGeneralError(0x10000), "Out Of Memory");
    EXPECT_STREQ(tevra_igetGeneralError(0x10004), "unexcpeted error");
    EXPECT_STREQ(tevra_igetGeneralError(0x10005), "");
    EXPECT_STREQ(tevra_igetGeneralError(0xFFFF), "");
    EXPECT_STREQ(tevra_igetStreamError(0x10100), "Write a readonly stream");
    EXPECT_STREQ(tevra_igetStreamError(0x1010D), "no source/sink stream");
    EXPECT_STREQ(tevra_igetStreamError(0x1011B), "wirte pos and read pos are difference");
    EXPECT_STREQ(tevra_igetStreamError(0x1011C), "");
    EXPECT_STREQ(tevra_igetStreamError(0x10000), "");
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(tevra_err_ctx_new(), nullptr);
    tevra_test::fail_allocations_after(-1);
}

TEST(LastError, IsPerThreadAndStartsAtZero) {
    EXPECT_EQ(tevra_setlasterror(0x10001), 1);
    unsigned int seen = 99;
    std::thread([&] {
        seen = tevra_getlasterror();
        tevra_setlasterror(7);
    }).join();
    EXPECT_EQ(seen, 0u);
    EXPECT_EQ(tevra_getlasterror(), 0x10001u);
}
