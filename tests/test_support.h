// Helpers shared by the test suites: allocation accounting and failure injection.
#ifndef TEVRA_TEST_SUPPORT_H
#define TEVRA_TEST_SUPPORT_H

#include <gtest/gtest.h>

namespace tevra_test {

// Blocks handed out through tevra_malloc and not yet freed.
long live_blocks();

// Makes the allocation hook fail once `allowed` more allocations succeeded;
// a negative value lets every allocation succeed again.
void fail_allocations_after(long allowed);

// Fixture checking that a test frees every block it allocated.
class LeakCheck : public ::testing::Test {
  protected:
    void SetUp() override { start_ = live_blocks(); }
    void TearDown() override {
        fail_allocations_after(-1);
        EXPECT_EQ(live_blocks(), start_) << "blocks leaked by this test";
    }

  private:
    long start_ = 0;
};

// Runs make() with allocations failing after 0, 1, 2, ... successes until it
// succeeds, checking that every failed attempt leaves nothing behind. Returns
// the number of allocations a successful run needed.
template <class Attempt> long until_allocations_suffice(Attempt attempt, long limit = 10000) {
    for (long allowed = 0; allowed < limit; ++allowed) {
        long before = live_blocks();
        fail_allocations_after(allowed);
        bool ok = attempt();
        fail_allocations_after(-1);
        if (ok)
            return allowed;
        EXPECT_EQ(live_blocks(), before) << "leak after " << allowed << " allocations";
    }
    ADD_FAILURE() << "never succeeded";
    return -1;
}

} // namespace tevra_test

#endif
