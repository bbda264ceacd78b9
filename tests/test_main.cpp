// Test main: counting allocation hooks installed before the library
// allocates anything.
#include <atomic>
#include <cstdlib>

#include "TEVRA_Util.h"
#include "test_support.h"

namespace {

std::atomic<long> g_live{0};
std::atomic<long> g_allowed{-1};

void *counting_malloc(long size, const char *, int) {
    long allowed = g_allowed.load();
    if (allowed == 0)
        return nullptr;
    if (allowed > 0)
        g_allowed.fetch_sub(1);
    void *p = std::malloc(static_cast<size_t>(size));
    if (p != nullptr)
        g_live.fetch_add(1);
    return p;
}

void counting_free(void *p) {
    g_live.fetch_sub(1);
    std::free(p);
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
