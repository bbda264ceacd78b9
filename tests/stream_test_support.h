// Fixture and helpers shared by the stream test suites.
#ifndef TEVRA_STREAM_TEST_SUPPORT_H
#define TEVRA_STREAM_TEST_SUPPORT_H

#include <string>

#include "TEVRA_Error.h"
#include "TEVRA_Stream.h"
#include "test_support.h"

namespace tevra_test {

// A leak-checked test with a zeroed error context on hand.
class StreamTest : public LeakCheck {
  protected:
    void SetUp() override {
        LeakCheck::SetUp();
        ctx = TEVRA_ErrCtx{};
    }

    // Newest entry's code, or 1 when nothing was reported.
    unsigned int code() const { return ctx.next == ctx.start ? 1u : newest().code; }
    const TEVRA_ErrEntry &newest() const {
        return ctx.entries[ctx.next == 0 ? TEVRA_ERR_CTX_SLOTS - 1 : ctx.next - 1];
    }
    std::string text() const { return code() == 1 ? std::string() : newest().description; }
    std::string file() const { return code() == 1 ? std::string() : newest().file; }
    int entries() const {
        return (ctx.next - ctx.start + TEVRA_ERR_CTX_SLOTS) % TEVRA_ERR_CTX_SLOTS;
    }
    void clear() { ctx = TEVRA_ErrCtx{}; }

    // The constructor returned NULL and its newest entry has the code (and the text, if given).
    ::testing::AssertionResult fails(const void *made, unsigned int expected,
                                     const char *description = nullptr) const {
        if (made != nullptr)
            return ::testing::AssertionFailure() << "made a stream";
        return fails(0, expected, description);
    }
    // The call returned 0 and its newest entry has the code (and the text, if given).
    ::testing::AssertionResult fails(int result, unsigned int expected,
                                     const char *description = nullptr) const {
        if (result == 0 && code() == expected && (description == nullptr || text() == description))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << "result " << result << ", code " << std::hex << code() << " \"" << text() << "\"";
    }

    // Everything a stream yields until it reports no more data.
    std::string drain(TEVRA_Stream *s) {
        std::string out;
        char buffer[256];
        long count = 0;
        while (tevra_stream_read(s, buffer, sizeof buffer, &count, &ctx) == 1 && count > 0)
            out.append(buffer, static_cast<size_t>(count));
        return out;
    }
    int write(TEVRA_Stream *s, const std::string &bytes) {
        return tevra_stream_writen(s, bytes.data(), static_cast<long>(bytes.size()), &ctx);
    }

    TEVRA_ErrCtx ctx{};
};

} // namespace tevra_test

#endif
