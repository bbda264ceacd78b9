// Big-integer calls when the system allocator fails inside GMP. This program
// replaces malloc and friends with versions that forward to the C library
// and can be told to fail after a number of successful calls, so GMP's
// allocations (and the library's own, through the test hooks) fail on cue.
// Sanitizers own malloc, so under them these tests are skipped.
#include <atomic>
#include <cstddef>

#include "TEVRA_BigInteger_Internal.h"
#include "bigint_test_support.h"
#include "test_support.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TEVRA_NO_MALLOC_REPLACEMENT 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) ||                         \
    __has_feature(memory_sanitizer)
#define TEVRA_NO_MALLOC_REPLACEMENT 1
#endif
#endif

namespace {

// Successful calls left before the next one fails; negative: never fail.
std::atomic<long> g_budget{-1};
// Blocks handed out and not yet freed, to see GMP leave nothing behind.
std::atomic<long> g_live{0};

[[maybe_unused]] bool refuse() {
    long budget = g_budget.load();
    if (budget < 0)
        return false;
    if (budget == 0)
        return true;
    g_budget.fetch_sub(1);
    return false;
}

} // namespace

#ifndef TEVRA_NO_MALLOC_REPLACEMENT
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *ptr, size_t size);
void __libc_free(void *ptr);

void *malloc(size_t size) noexcept {
    if (refuse())
        return nullptr;
    void *p = __libc_malloc(size);
    if (p != nullptr)
        g_live.fetch_add(1);
    return p;
}

void *calloc(size_t count, size_t size) noexcept {
    if (refuse())
        return nullptr;
    void *p = __libc_calloc(count, size);
    if (p != nullptr)
        g_live.fetch_add(1);
    return p;
}

void *realloc(void *ptr, size_t size) noexcept {
    if (refuse())
        return nullptr;
    void *p = __libc_realloc(ptr, size);
    if (ptr == nullptr && p != nullptr)
        g_live.fetch_add(1);
    else if (ptr != nullptr && size == 0 && p == nullptr)
        g_live.fetch_sub(1);
    return p;
}

void free(void *ptr) noexcept {
    if (ptr != nullptr)
        g_live.fetch_sub(1);
    __libc_free(ptr);
}
} // extern "C"
#endif

namespace {

using tevra_test::Big;

class BigIntegerOomTest : public tevra_test::LeakCheck {
  protected:
    void SetUp() override {
#ifdef TEVRA_NO_MALLOC_REPLACEMENT
        GTEST_SKIP() << "the sanitizer owns malloc";
#endif
        LeakCheck::SetUp();
    }
    void TearDown() override {
        g_budget.store(-1);
        LeakCheck::TearDown();
    }

    // Runs attempt with the system allocator failing after 0, 1, 2, ...
    // successes until it succeeds; every failed attempt must leave neither
    // library blocks nor GMP blocks behind. attempt frees what it made.
    template <class F> long until_success(F attempt) {
        for (long allowed = 0; allowed < 100000; ++allowed) {
            long library_before = tevra_test::live_blocks();
            long system_before = g_live.load();
            g_budget.store(allowed);
            bool ok = attempt();
            g_budget.store(-1);
            EXPECT_EQ(tevra_test::live_blocks(), library_before) << "after " << allowed;
            EXPECT_EQ(g_live.load(), system_before) << "after " << allowed;
            if (ok)
                return allowed;
        }
        ADD_FAILURE() << "never succeeded";
        return -1;
    }

    // A value of the given bit length with a dense pattern.
    static Big operand(unsigned long bits, unsigned long seed) {
        tevra_test::Mpz v;
        gmp_randstate_t state;
        gmp_randinit_mt(state);
        gmp_randseed_ui(state, seed);
        mpz_urandomb(v.v, state, bits);
        mpz_setbit(v.v, bits - 1);
        gmp_randclear(state);
        return tevra_test::from(v.v);
    }
};

TEST_F(BigIntegerOomTest, FailureInsideGmpIsCaught) {
    Big a = operand(4096, 1), b = operand(4096, 2);
    long before = g_live.load();
    // The handle's record is the one allocation that succeeds; GMP's
    // allocation for the sum fails and must not escape as an exception.
    g_budget.store(1);
    TEVRA_BigInteger *sum = tevra_biginteger_add(a.get(), b.get());
    g_budget.store(-1);
    EXPECT_EQ(sum, nullptr);
    EXPECT_EQ(g_live.load(), before);

    // Growing an operand in place: the operand survives a failed reallocation.
    Big n(tevra_biginteger_new(5));
    g_budget.store(0);
    EXPECT_EQ(tevra_biginteger_setbit(n.get(), 1 << 20), 0);
    g_budget.store(-1);
    long value = 0;
    EXPECT_EQ(tevra_biginteger_getvalue(n.get(), &value), 1);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(tevra_biginteger_setbit(n.get(), 1 << 20), 1);
    EXPECT_EQ(tevra_biginteger_getbitcount(n.get()), (1 << 20) + 1);

    // The same for a product, whose limbs first move out of its record.
    Big product(tevra_biginteger_mul(a.get(), b.get()));
    for (long budget : {0L, 1L}) {
        g_budget.store(budget);
        EXPECT_EQ(tevra_biginteger_setbit(product.get(), 1 << 20), 0);
        g_budget.store(-1);
        EXPECT_EQ(tevra_biginteger_getbitcount(product.get()), 8192);
    }
}

TEST_F(BigIntegerOomTest, EveryFailurePointOfConstructionAndConversion) {
    Big a = operand(2048, 3);
    std::string digits(600, '7');
    // At least one of the failure points lies inside GMP.
    EXPECT_GT(
        until_success([&] { return Big(tevra_biginteger_newdec(digits.c_str())) != nullptr; }), 1);
    until_success([&] {
        TEVRA_DataBlob *blob = tevra_biginteger_getdata(a.get());
        if (blob == nullptr)
            return false;
        Big back(tevra_biginteger_newdata(blob->data, blob->length));
        tevra_data_blob_free(blob);
        return back != nullptr;
    });
    until_success([&] {
        char *text = nullptr;
        if (tevra_biginteger_unsigned_todec(a.get(), &text, nullptr) != 1)
            return false;
        tevra_free(text);
        return true;
    });
}

TEST_F(BigIntegerOomTest, EveryFailurePointOfArithmetic) {
    Big a = operand(2048, 4), b = operand(1024, 5), m = operand(2048, 6);
    until_success([&] { return Big(tevra_biginteger_mul(a.get(), b.get())) != nullptr; });
    until_success([&] {
        TEVRA_BigInteger *rem = nullptr;
        Big q(tevra_biginteger_div(a.get(), b.get(), &rem));
        Big r(rem);
        return q != nullptr && r != nullptr;
    });
    until_success(
        [&] { return Big(tevra_biginteger_expmod(a.get(), b.get(), m.get())) != nullptr; });
    until_success(
        [&] { return Big(tevra_biginteger_mulmod(a.get(), b.get(), m.get())) != nullptr; });
    until_success([&] { return Big(tevra_biginteger_gcd(a.get(), m.get())) != nullptr; });
    // Consecutive numbers are coprime, so the inverse exists.
    Big one(tevra_biginteger_new(1));
    Big next(tevra_biginteger_add(m.get(), one.get()));
    until_success([&] { return Big(tevra_biginteger_invmod(m.get(), next.get())) != nullptr; });
}

int xorshift_random(void *ctx, unsigned char *buf, long len) {
    auto *state = static_cast<unsigned long *>(ctx);
    for (long i = 0; i < len; ++i) {
        *state ^= *state << 13;
        *state ^= *state >> 7;
        *state ^= *state << 17;
        buf[i] = static_cast<unsigned char>(*state >> 56);
    }
    return 1;
}

TEST_F(BigIntegerOomTest, EveryFailurePointOfPrimeTestsAndGeneration) {
    unsigned long seed = 88172645463325252ul;
    Big p(tevra_biginteger_newprime(xorshift_random, &seed, 256, 0));
    ASSERT_TRUE(p);
    until_success([&] { return tevra_biginteger_isprime(p.get()) == 1; });
    until_success([&] { return tevra_biginteger_isprime_fasttest(p.get()) == 1; });
    until_success([] {
        unsigned long state = 88172645463325252ul;
        return Big(tevra_biginteger_newprime(xorshift_random, &state, 40, 0x01)) != nullptr;
    });
}

} // namespace
