// Big integers: conversions against hand-computed vectors, arithmetic against
// GMP on random operands, bits, primality and prime generation.
#include <cstdint>
#include <vector>

#include "bigint_test_support.h"
#include "test_support.h"

namespace {

using tevra_test::Big;
using tevra_test::from;
using tevra_test::Mpz;
using tevra_test::text;

struct BlobDeleter {
    void operator()(TEVRA_DataBlob *b) const { tevra_data_blob_free(b); }
};
using Blob = std::unique_ptr<TEVRA_DataBlob, BlobDeleter>;

Big dec(const char *text) {
    return Big(tevra_biginteger_newdec(text));
}

std::string hex(const unsigned char *p, long n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (long i = 0; i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

// Decimal text of any value, through the unsigned decimal output.
std::string text(const TEVRA_BigInteger *n) {
    if (n == nullptr)
        return "<null>";
    Big magnitude(tevra_biginteger_getsign(n) < 0 ? tevra_biginteger_neg(n)
                                                  : tevra_biginteger_dup(n));
    char *out = nullptr;
    long length = -1;
    if (tevra_biginteger_unsigned_todec(magnitude.get(), &out, &length) != 1)
        return "<fail>";
    std::string s = (tevra_biginteger_getsign(n) < 0 ? "-" : "") + std::string(out);
    EXPECT_EQ(static_cast<long>(std::strlen(out)), length);
    tevra_free(out);
    return s;
}

// Text of a freshly made result, which is released.
std::string take(TEVRA_BigInteger *n) {
    return text(Big(n).get());
}

using UnaryOp = TEVRA_BigInteger *(*)(const TEVRA_BigInteger *);
using BinaryOp = TEVRA_BigInteger *(*)(const TEVRA_BigInteger *, const TEVRA_BigInteger *);
using ModOp = TEVRA_BigInteger *(*)(const TEVRA_BigInteger *, const TEVRA_BigInteger *,
                                    const TEVRA_BigInteger *);

// 2^64 + 1 and its square: operands of more than one limb.
#define TWO64P1 "18446744073709551617"
#define TWO64P1_SQ "340282366920938463500268095579187314689"

class BigIntegerTest : public tevra_test::LeakCheck {};

TEST_F(BigIntegerTest, ByteInputSignedAndUnsigned) {
    const struct {
        std::vector<unsigned char> data;
        const char *as_signed, *as_unsigned;
    } cases[] = {
        {{0x00, 0x00, 0x80}, "128", "128"},
        {{0xFF, 0xFF, 0x7F}, "-129", "16777087"},
        {{0xFF}, "-1", "255"},
        {{0x80}, "-128", "128"},
        {{0xFF, 0x00}, "-256", "65280"},
        {{0x00, 0x00}, "0", "0"},
        {{0x01, 0, 0, 0, 0, 0, 0, 0, 0}, "18446744073709551616", "18446744073709551616"},
        {{}, "0", "0"},
    };
    for (const auto &c : cases) {
        const unsigned char *p = c.data.empty() ? nullptr : c.data.data();
        long n = static_cast<long>(c.data.size());
        EXPECT_EQ(take(tevra_biginteger_newdata(p, n)), c.as_signed) << hex(p, n);
        EXPECT_EQ(take(tevra_biginteger_newunsigneddata(p, n)), c.as_unsigned) << hex(p, n);
    }
    unsigned char one = 1;
    EXPECT_EQ(tevra_biginteger_newdata(nullptr, 1), nullptr);
    EXPECT_EQ(tevra_biginteger_newdata(&one, -1), nullptr);
    EXPECT_EQ(tevra_biginteger_newunsigneddata(nullptr, 2), nullptr);
    EXPECT_EQ(tevra_biginteger_newunsigneddata(&one, -1), nullptr);
}

TEST_F(BigIntegerTest, MinimalTwosComplementOutput) {
    const struct {
        const char *value;
        const char *expected;
    } cases[] = {
        {"0", "00"},
        {"127", "7F"},
        {"128", "0080"},
        {"255", "00FF"},
        {"-1", "FF"},
        {"-128", "80"},
        {"-129", "FF7F"},
        {"-256", "FF00"},
        {"-32768", "8000"},
        {"-32769", "FF7FFF"},
        {"-18446744073709551616", "FF0000000000000000"},
        {"-18446744073709551617", "FEFFFFFFFFFFFFFFFF"},
        {TWO64P1, "010000000000000001"},
        {"-9223372036854775808", "8000000000000000"},
        {"9223372036854775808", "008000000000000000"},
        {"-" TWO64P1_SQ, "FEFFFFFFFFFFFFFFFDFFFFFFFFFFFFFFFF"},
    };
    for (const auto &c : cases) {
        Blob blob(tevra_biginteger_getdata(dec(c.value).get()));
        ASSERT_TRUE(blob) << c.value;
        EXPECT_EQ(hex(blob->data, blob->length), c.expected) << c.value;
        EXPECT_EQ(take(tevra_biginteger_newdata(blob->data, blob->length)), c.value);
    }
    EXPECT_EQ(tevra_biginteger_getdata(nullptr), nullptr);
}

TEST_F(BigIntegerTest, FixedWidthUnsignedOutput) {
    Big n = dec("258"), minus_one = dec("-1"), zero(tevra_biginteger_new(0));
    unsigned char out[4] = {9, 9, 9, 9};
    ASSERT_EQ(tevra_biginteger_unsigned_tonbuf(n.get(), 4, out), 1);
    EXPECT_EQ(hex(out, 4), "00000102");
    ASSERT_EQ(tevra_biginteger_unsigned_tonbuf(n.get(), 2, out), 1);
    EXPECT_EQ(hex(out, 2), "0102");
    std::memset(out, 9, sizeof out);
    EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(n.get(), 1, out), 0);
    EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(minus_one.get(), 4, out), 0);
    EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(n.get(), 0, out), 0);
    EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(n.get(), -4, out), 0);
    EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(n.get(), 4, nullptr), 0);
    EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(nullptr, 4, out), 0);
    EXPECT_EQ(hex(out, 4), "09090909") << "a refused call writes nothing";
    ASSERT_EQ(tevra_biginteger_unsigned_tonbuf(zero.get(), 3, out), 1);
    EXPECT_EQ(hex(out, 3), "000000");
}

TEST_F(BigIntegerTest, DecimalTextAndValues) {
    EXPECT_EQ(text(dec("  -123").get()), "-123");
    EXPECT_EQ(text(dec("12 34").get()), "1234");
    for (const char *bad : {"abc", "", "0x10", "12a"})
        EXPECT_EQ(dec(bad), nullptr) << bad;
    EXPECT_EQ(tevra_biginteger_newdec(nullptr), nullptr);

    char *out = reinterpret_cast<char *>(1);
    long length = 7;
    EXPECT_EQ(tevra_biginteger_unsigned_todec(dec("-5").get(), &out, &length), 0);
    EXPECT_EQ(out, reinterpret_cast<char *>(1));
    EXPECT_EQ(length, 7);
    Big big = dec("340282366920938463463374607431768211456");
    ASSERT_EQ(tevra_biginteger_unsigned_todec(big.get(), &out, nullptr), 1);
    EXPECT_STREQ(out, "340282366920938463463374607431768211456");
    tevra_free(out);
    EXPECT_EQ(tevra_biginteger_unsigned_todec(big.get(), nullptr, &length), 0);
    EXPECT_EQ(tevra_biginteger_unsigned_todec(nullptr, &out, &length), 0);

    const struct {
        const char *text;
        int ok;
        long value;
    } values[] = {
        {"9223372036854775807", 1, INT64_MAX},
        {"-9223372036854775807", 1, -INT64_MAX},
        {"-9223372036854775808", 0, 0},
        {"9223372036854775808", 0, 0},
        {"0", 1, 0},
        {"-5", 1, -5},
        {"4294967296", 1, 4294967296L},
    };
    for (const auto &v : values) {
        long got = 42;
        EXPECT_EQ(tevra_biginteger_getvalue(dec(v.text).get(), &got), v.ok) << v.text;
        EXPECT_EQ(got, v.ok ? v.value : 42) << v.text;
    }
    long got = 0;
    EXPECT_EQ(tevra_biginteger_getvalue(nullptr, &got), 0);
    Big n(tevra_biginteger_new(INT64_MIN));
    EXPECT_EQ(text(n.get()), "-9223372036854775808");
    EXPECT_EQ(tevra_biginteger_getvalue(n.get(), &got), 0);
}

TEST_F(BigIntegerTest, SignBitCountComparisonAndNulls) {
    Big a = dec("-256"), b = dec("255"), z = dec("0");
    EXPECT_EQ(tevra_biginteger_getbitcount(a.get()), 9);
    EXPECT_EQ(tevra_biginteger_getbitcount(b.get()), 8);
    EXPECT_EQ(tevra_biginteger_getbitcount(z.get()), 0);
    EXPECT_EQ(tevra_biginteger_getsign(a.get()), -1);
    EXPECT_EQ(tevra_biginteger_getsign(z.get()), 0);
    EXPECT_EQ(tevra_biginteger_getsign(b.get()), 1);
    EXPECT_EQ(tevra_biginteger_cmp(nullptr, a.get()), -1);
    EXPECT_EQ(tevra_biginteger_cmp(a.get(), nullptr), 1);
    EXPECT_EQ(tevra_biginteger_cmp(nullptr, nullptr), 0);
    EXPECT_EQ(tevra_biginteger_getbitcount(nullptr), 0);
    EXPECT_EQ(tevra_biginteger_getsign(nullptr), 0);
    tevra_biginteger_free(nullptr);
}

TEST_F(BigIntegerTest, DivisionTruncatesAndRefusesZero) {
    const struct {
        const char *a, *b, *quotient, *remainder;
    } cases[] = {{"-7", "2", "-3", "-1"},
                 {"7", "-2", "-3", "1"},
                 {"0", "5", "0", "0"},
                 {TWO64P1_SQ "0", TWO64P1, "184467440737095516170", "0"},
                 {"-" TWO64P1_SQ, "18446744073709551616", "-18446744073709551618", "-1"}};
    for (const auto &c : cases) {
        TEVRA_BigInteger *rem = nullptr;
        EXPECT_EQ(take(tevra_biginteger_div(dec(c.a).get(), dec(c.b).get(), &rem)), c.quotient);
        EXPECT_EQ(take(rem), c.remainder) << c.a;
        EXPECT_EQ(take(tevra_biginteger_div(dec(c.a).get(), dec(c.b).get(), nullptr)), c.quotient);
    }
    // Zero divisors are refused instead of trapping, the remainder untouched.
    auto *rem = reinterpret_cast<TEVRA_BigInteger *>(1);
    EXPECT_EQ(tevra_biginteger_div(dec("-7").get(), dec("0").get(), &rem), nullptr);
    EXPECT_EQ(rem, reinterpret_cast<TEVRA_BigInteger *>(1));
    EXPECT_EQ(tevra_biginteger_div(nullptr, dec("1").get(), &rem), nullptr);
    EXPECT_EQ(tevra_biginteger_div(dec("1").get(), nullptr, &rem), nullptr);
}

// Results by sign, zero and width; a NULL operand or a zero modulus gives NULL.
TEST_F(BigIntegerTest, ArithmeticSignsZerosAndRefusals) {
    const struct {
        UnaryOp op;
        const char *a, *expected;
    } unary[] = {
        {tevra_biginteger_neg, "-7", "7"},
        {tevra_biginteger_neg, "0", "0"},
        {tevra_biginteger_div_2, "-7", "-3"},
        {tevra_biginteger_div_2, TWO64P1, "9223372036854775808"},
        {tevra_biginteger_dup, "-5", "-5"},
        {tevra_biginteger_neg, nullptr, "<null>"},
        {tevra_biginteger_div_2, nullptr, "<null>"},
        {tevra_biginteger_dup, nullptr, "<null>"},
    };
    for (const auto &c : unary)
        EXPECT_EQ(take(c.op(dec(c.a).get())), c.expected) << c.a;

    const struct {
        BinaryOp op;
        const char *a, *b, *expected;
    } binary[] = {
        {tevra_biginteger_add, "-7", "3", "-4"},
        {tevra_biginteger_add, "0", "-3", "-3"},
        {tevra_biginteger_add, TWO64P1, "-1", "18446744073709551616"},
        {tevra_biginteger_sub, "-7", "3", "-10"},
        {tevra_biginteger_sub, "3", "3", "0"},
        {tevra_biginteger_mul, "-7", "3", "-21"},
        {tevra_biginteger_mul, "-7", "-3", "21"},
        {tevra_biginteger_mul, "0", TWO64P1, "0"},
        {tevra_biginteger_mul, "0", "0", "0"},
        {tevra_biginteger_mul, TWO64P1, TWO64P1, TWO64P1_SQ},
        {tevra_biginteger_mul, "-" TWO64P1, TWO64P1, "-" TWO64P1_SQ},
        {tevra_biginteger_mul, "18446744073709551615", TWO64P1,
         "340282366920938463463374607431768211455"},
        {tevra_biginteger_gcd, "-12", "18", "6"},
        {tevra_biginteger_gcd, "0", "-5", "5"},
        {tevra_biginteger_lcm, "-4", "6", "12"},
        {tevra_biginteger_lcm, "0", "6", "0"},
        {tevra_biginteger_mod, "-7", "5", "3"},
        {tevra_biginteger_mod, "-7", "-3", "2"}, // a negative modulus acts as its magnitude
        {tevra_biginteger_sqrmod, "-7", "5", "4"},
        {tevra_biginteger_invmod, "3", "5", "2"},
        {tevra_biginteger_invmod, "2", "4", "<null>"}, // no inverse
        {tevra_biginteger_mod, "-7", "0", "<null>"},
        {tevra_biginteger_sqrmod, "-7", "0", "<null>"},
        {tevra_biginteger_invmod, "-7", "0", "<null>"},
    };
    for (const auto &c : binary) {
        EXPECT_EQ(take(c.op(dec(c.a).get(), dec(c.b).get())), c.expected) << c.a << ", " << c.b;
        EXPECT_EQ(c.op(dec(c.a).get(), nullptr), nullptr) << c.a;
        EXPECT_EQ(c.op(nullptr, dec(c.b).get()), nullptr) << c.b;
    }

    const struct {
        ModOp op;
        const char *a, *b, *m, *expected;
    } modular[] = {
        {tevra_biginteger_addmod, "-7", "3", "5", "1"},
        {tevra_biginteger_submod, "-7", "3", "5", "0"},
        {tevra_biginteger_mulmod, "-7", "3", "5", "4"},
        {tevra_biginteger_mulmod, TWO64P1, TWO64P1, "2305843009213693951", "81"},
        {tevra_biginteger_expmod, "-7", "3", "5", "2"},
        {tevra_biginteger_expmod, TWO64P1, "3", "2305843009213693951", "729"},
        {tevra_biginteger_expmod, "2", "-1", "7", "4"}, // a negative exponent needs the inverse
        {tevra_biginteger_expmod, "2", "-1", "4", "<null>"},
    };
    for (const auto &c : modular) {
        EXPECT_EQ(take(c.op(dec(c.a).get(), dec(c.b).get(), dec(c.m).get())), c.expected) << c.a;
        EXPECT_EQ(c.op(dec(c.a).get(), dec(c.b).get(), dec("0").get()), nullptr) << c.a;
        EXPECT_EQ(c.op(dec(c.a).get(), dec(c.b).get(), nullptr), nullptr) << c.a;
        EXPECT_EQ(c.op(dec(c.a).get(), nullptr, dec(c.m).get()), nullptr) << c.a;
        EXPECT_EQ(c.op(nullptr, dec(c.b).get(), dec(c.m).get()), nullptr) << c.a;
    }
}

TEST_F(BigIntegerTest, Bits) {
    Big n = dec("-1"), z = dec("0");
    EXPECT_EQ(tevra_biginteger_testbit(n.get(), 1000), 1) << "two's complement view";
    EXPECT_EQ(tevra_biginteger_testbit(n.get(), -1), 0);
    EXPECT_EQ(tevra_biginteger_testbit(nullptr, 0), 0);
    EXPECT_EQ(tevra_biginteger_isodd(n.get()), 1);
    EXPECT_EQ(tevra_biginteger_iseven(n.get()), 0);
    EXPECT_EQ(tevra_biginteger_isodd(z.get()), 0);
    EXPECT_EQ(tevra_biginteger_iseven(nullptr), 0);
    EXPECT_EQ(tevra_biginteger_isodd(nullptr), 0);

    ASSERT_EQ(tevra_biginteger_setbit(z.get(), 200), 1);
    ASSERT_EQ(tevra_biginteger_setbit(z.get(), 0), 1);
    EXPECT_EQ(tevra_biginteger_getbitcount(z.get()), 201);
    EXPECT_EQ(tevra_biginteger_testbit(z.get(), 199), 0);
    ASSERT_EQ(tevra_biginteger_clearbit(z.get(), 200), 1);
    EXPECT_EQ(text(z.get()), "1");
    EXPECT_EQ(tevra_biginteger_setbit(z.get(), -1), 0);
    EXPECT_EQ(tevra_biginteger_clearbit(z.get(), -1), 0);
    EXPECT_EQ(tevra_biginteger_setbit(nullptr, 1), 0);

    // A product's limbs grow in place like any other value's.
    Big p(tevra_biginteger_mul(dec("-3").get(), dec("5").get()));
    ASSERT_EQ(tevra_biginteger_clearbit(p.get(), 300), 1);
    EXPECT_EQ(tevra_biginteger_getbitcount(p.get()), 301);
    ASSERT_EQ(tevra_biginteger_setbit(p.get(), 300), 1);
    EXPECT_EQ(text(p.get()), "-15");
    Big q(tevra_biginteger_mul(dec("3").get(), dec("5").get()));
    ASSERT_EQ(tevra_biginteger_setbit(q.get(), 64), 1);
    EXPECT_EQ(text(q.get()), "18446744073709551631");
    EXPECT_EQ(tevra_biginteger_clearbit(nullptr, 1), 0);
}

TEST_F(BigIntegerTest, PrimalityTests) {
    const struct {
        const char *n;
        int prime;
    } cases[] = {
        // 561 is a Carmichael number, 3825123056546413051 a strong pseudoprime
        // to the first nine prime bases, the long ones 2^127 - 1 and 2^127 + 1.
        {"2", 1},
        {"3", 1},
        {"561", 0},
        {"0", 0},
        {"1", 0},
        {"3825123056546413051", 0},
        {"170141183460469231731687303715884105727", 1},
        {"170141183460469231731687303715884105729", 0},
    };
    for (const auto &c : cases) {
        Big n = dec(c.n);
        ASSERT_TRUE(n);
        EXPECT_EQ(tevra_biginteger_isprime(n.get()), c.prime) << c.n;
        EXPECT_EQ(tevra_biginteger_isprime_fasttest(n.get()), c.prime) << c.n;
    }
    // Mersenne numbers around the sizes where the fast test's rounds change.
    Mpz m;
    for (unsigned long e : {521ul, 607ul, 1279ul}) {
        mpz_ui_pow_ui(m.v, 2, e);
        mpz_sub_ui(m.v, m.v, 1);
        EXPECT_EQ(tevra_biginteger_isprime(from(m.v).get()), 1) << e;
        EXPECT_EQ(tevra_biginteger_isprime_fasttest(from(m.v).get()), 1) << e;
        mpz_add_ui(m.v, m.v, 2);
        EXPECT_EQ(tevra_biginteger_isprime_fasttest(from(m.v).get()), 0) << e;
    }
    EXPECT_EQ(tevra_biginteger_isprime(nullptr), 0);
    EXPECT_EQ(tevra_biginteger_isprime_fasttest(nullptr), 0);
}

// Deterministic byte source for the generator; counts its calls.
struct Xorshift {
    uint64_t state = 0x9E3779B97F4A7C15ull;
    int calls = 0;
    int fail_at = -1;
    bool zeros = false;
    long last_length = -1;
};

int xorshift_random(void *ctx, unsigned char *buf, long len) {
    auto *x = static_cast<Xorshift *>(ctx);
    x->last_length = len;
    if (x->calls++ == x->fail_at)
        return 0;
    for (long i = 0; i < len; ++i) {
        x->state ^= x->state << 13;
        x->state ^= x->state >> 7;
        x->state ^= x->state << 17;
        buf[i] = x->zeros ? 0 : static_cast<unsigned char>(x->state >> 56);
    }
    return 1;
}

TEST_F(BigIntegerTest, PrimeGenerationForms) {
    for (unsigned int flags : {0x00u, 0x01u, 0x02u, 0x03u, 0x80u, 0x83u}) {
        for (long bits : {2L, 3L, 9L, 16L, 17L, 64L, 130L}) {
            if ((flags & 1) && bits == 2)
                continue;
            SCOPED_TRACE("bits " + std::to_string(bits) + " flags " + std::to_string(flags));
            Xorshift rng;
            Big p(tevra_biginteger_newprime(xorshift_random, &rng, bits, flags));
            ASSERT_TRUE(p);
            EXPECT_EQ(rng.last_length, (bits + 7) / 8);
            EXPECT_EQ(tevra_biginteger_getbitcount(p.get()), bits);
            EXPECT_EQ(tevra_biginteger_isprime(p.get()), 1);
            if (flags & 0x02) {
                EXPECT_EQ(tevra_biginteger_testbit(p.get(), bits - 2), 1);
            }
            if (flags & 0x01) {
                EXPECT_EQ(tevra_biginteger_testbit(p.get(), 1), 1) << "p % 4 == 3";
                EXPECT_EQ(tevra_biginteger_isprime(Big(tevra_biginteger_div_2(p.get())).get()), 1);
            }
        }
    }
}

TEST_F(BigIntegerTest, PrimeGenerationRefusals) {
    Xorshift rng;
    EXPECT_EQ(tevra_biginteger_newprime(xorshift_random, &rng, 1, 0), nullptr);
    EXPECT_EQ(tevra_biginteger_newprime(xorshift_random, &rng, -8, 0), nullptr);
    EXPECT_EQ(tevra_biginteger_newprime(nullptr, &rng, 64, 0), nullptr);
    // Forms no prime can take would otherwise draw forever.
    EXPECT_EQ(tevra_biginteger_newprime(xorshift_random, &rng, 2, 0x01), nullptr);
    EXPECT_EQ(tevra_biginteger_newprime(xorshift_random, &rng, 4, 0x03), nullptr);
    EXPECT_EQ(tevra_biginteger_newprime(xorshift_random, &rng, 5, 0x03), nullptr);
    EXPECT_EQ(rng.calls, 0);

    // Zero bytes give 2^511 + 1, a multiple of 3, so every draw is rejected.
    rng.zeros = true;
    rng.fail_at = 3;
    EXPECT_EQ(tevra_biginteger_newprime(xorshift_random, &rng, 512, 0), nullptr);
    EXPECT_EQ(rng.calls, 4) << "stops at the first failing draw";
}

} // namespace
