// Test main: counting allocation hooks installed before the library
// allocates anything.
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "TEVRA_Util.h"
#include "test_support.h"

namespace {

std::atomic<long> g_live{0};
std::atomic<long> g_allowed{-1};

// Each block carries its size in a header, so that new blocks can be filled
// with garbage (no test may rely on fresh memory being zero) and freed ones
// poisoned (a use after free reads garbage, not the old contents).
constexpr size_t kHeader = alignof(std::max_align_t);
constexpr unsigned char kFreshByte = 0xA5;
constexpr unsigned char kFreedByte = 0xDD;

void *counting_malloc(long size, const char *, int) {
    long allowed = g_allowed.load();
    if (allowed == 0)
        return nullptr;
    if (allowed > 0)
        g_allowed.fetch_sub(1);
    auto bytes = static_cast<size_t>(size);
    auto *block = static_cast<unsigned char *>(std::malloc(kHeader + bytes));
    if (block == nullptr)
        return nullptr;
    std::memcpy(block, &bytes, sizeof bytes);
    std::memset(block + kHeader, kFreshByte, bytes);
    g_live.fetch_add(1);
    return block + kHeader;
}

void counting_free(void *p) {
    if (p == nullptr)
        return;
    auto *block = static_cast<unsigned char *>(p) - kHeader;
    size_t bytes = 0;
    std::memcpy(&bytes, block, sizeof bytes);
    std::memset(block, kFreedByte, kHeader + bytes);
    g_live.fetch_sub(1);
    std::free(block);
}

} // namespace
namespace tevra_test {

long live_blocks() {
    return g_live.load();
}

void fail_allocations_after(long allowed) {
    g_allowed.store(allowed);
}

} // namespace tevra_test

int main(int argc, char **argv) {
    if (tevra_setallocfunc(counting_malloc, counting_free) != 1)
        return 2;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
