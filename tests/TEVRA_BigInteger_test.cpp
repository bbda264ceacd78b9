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

using BinaryOp = TEVRA_BigInteger *(*)(const TEVRA_BigInteger *, const TEVRA_BigInteger *);
using ModOp = TEVRA_BigInteger *(*)(const TEVRA_BigInteger *, const TEVRA_BigInteger *,
                                    const TEVRA_BigInteger *);
using GmpOp = void (*)(mpz_ptr, mpz_srcptr, mpz_srcptr);
const struct {
    const char *name;
    BinaryOp ours;
    GmpOp gmp;
} kBinary[] = {{"add", tevra_biginteger_add, mpz_add},
               {"sub", tevra_biginteger_sub, mpz_sub},
               {"mul", tevra_biginteger_mul, mpz_mul},
               {"gcd", tevra_biginteger_gcd, mpz_gcd},
               {"lcm", tevra_biginteger_lcm, mpz_lcm}};
// (a op b) mod m for the modular forms.
const struct {
    const char *name;
    ModOp ours;
    GmpOp gmp;
} kModular[] = {{"addmod", tevra_biginteger_addmod, mpz_add},
                {"submod", tevra_biginteger_submod, mpz_sub},
                {"mulmod", tevra_biginteger_mulmod, mpz_mul}};

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
        {{0x7F}, "127", "127"},
        {{0xFF, 0x00}, "-256", "65280"},
        {{0x00, 0x00}, "0", "0"},
        {{0xFF, 0xFF, 0xFF}, "-1", "16777215"},
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
        {"0", "00"},          {"1", "01"},
        {"127", "7F"},        {"128", "0080"},
        {"255", "00FF"},      {"256", "0100"},
        {"-1", "FF"},         {"-128", "80"},
        {"-129", "FF7F"},     {"-256", "FF00"},
        {"-255", "FF01"},     {"-32768", "8000"},
        {"-32769", "FF7FFF"}, {"65535", "00FFFF"},
        {"-65536", "FF0000"}, {"-18446744073709551616", "FF0000000000000000"},
    };
    for (const auto &c : cases) {
        Blob blob(tevra_biginteger_getdata(dec(c.value).get()));
        ASSERT_TRUE(blob) << c.value;
        EXPECT_EQ(hex(blob->data, blob->length), c.expected) << c.value;
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
    for (const auto &op : kBinary) {
        EXPECT_EQ(op.ours(a.get(), nullptr), nullptr) << op.name;
        EXPECT_EQ(op.ours(nullptr, a.get()), nullptr) << op.name;
    }
    for (const auto &op : kModular)
        EXPECT_EQ(op.ours(a.get(), a.get(), nullptr), nullptr) << op.name;
    EXPECT_EQ(tevra_biginteger_div(nullptr, a.get(), nullptr), nullptr);
    EXPECT_EQ(tevra_biginteger_mod(nullptr, a.get()), nullptr);
    EXPECT_EQ(tevra_biginteger_expmod(a.get(), nullptr, b.get()), nullptr);
    EXPECT_EQ(tevra_biginteger_invmod(nullptr, a.get()), nullptr);
    EXPECT_EQ(tevra_biginteger_div_2(nullptr), nullptr);
    EXPECT_EQ(tevra_biginteger_neg(nullptr), nullptr);
    EXPECT_EQ(tevra_biginteger_dup(nullptr), nullptr);
    tevra_biginteger_free(nullptr);
}

TEST_F(BigIntegerTest, DivisionSignsAndZeroModuli) {
    Big a = dec("-7"), b = dec("2"), m = dec("-3"), zero = dec("0");
    TEVRA_BigInteger *rem = nullptr;
    EXPECT_EQ(take(tevra_biginteger_div(a.get(), b.get(), &rem)), "-3");
    EXPECT_EQ(take(rem), "-1");
    EXPECT_EQ(take(tevra_biginteger_div(a.get(), b.get(), nullptr)), "-3");
    EXPECT_EQ(take(tevra_biginteger_mod(a.get(), b.get())), "1");
    // A negative modulus acts as its magnitude.
    EXPECT_EQ(take(tevra_biginteger_mod(a.get(), m.get())), "2");
    EXPECT_EQ(take(tevra_biginteger_div_2(a.get())), "-3");

    // Zero divisors and moduli are refused instead of trapping.
    rem = reinterpret_cast<TEVRA_BigInteger *>(1);
    EXPECT_EQ(tevra_biginteger_div(a.get(), zero.get(), &rem), nullptr);
    EXPECT_EQ(rem, reinterpret_cast<TEVRA_BigInteger *>(1));
    EXPECT_EQ(tevra_biginteger_mod(a.get(), zero.get()), nullptr);
    EXPECT_EQ(tevra_biginteger_expmod(a.get(), b.get(), zero.get()), nullptr);
    for (const auto &op : kModular)
        EXPECT_EQ(op.ours(a.get(), b.get(), zero.get()), nullptr) << op.name;
    EXPECT_EQ(tevra_biginteger_sqrmod(a.get(), zero.get()), nullptr);
    EXPECT_EQ(tevra_biginteger_invmod(a.get(), zero.get()), nullptr);

    // Negative exponents need an inverse; 2 has none modulo 4.
    Big minus_one = dec("-1"), four = dec("4"), seven = dec("7");
    EXPECT_EQ(tevra_biginteger_expmod(b.get(), minus_one.get(), four.get()), nullptr);
    EXPECT_EQ(take(tevra_biginteger_expmod(b.get(), minus_one.get(), seven.get())), "4");
    EXPECT_EQ(tevra_biginteger_invmod(b.get(), four.get()), nullptr);
    EXPECT_EQ(take(tevra_biginteger_invmod(b.get(), seven.get())), "4");
}

// Random operands of 1 to 4096 bits, either sign, with zeros mixed in.
class RandomOperands {
  public:
    RandomOperands() {
        gmp_randinit_mt(state_);
        gmp_randseed_ui(state_, 20240611);
    }
    ~RandomOperands() { gmp_randclear(state_); }
    void next(mpz_ptr v) {
        unsigned long pick = gmp_urandomm_ui(state_, 16);
        if (pick == 0) {
            mpz_set_ui(v, 0);
            return;
        }
        unsigned long bits = 1 + gmp_urandomm_ui(state_, 4096);
        // Every other draw is dense, the rest with long runs of ones and zeros.
        if (pick % 2)
            mpz_urandomb(v, state_, bits);
        else
            mpz_rrandomb(v, state_, bits);
        if (pick % 3 == 0)
            mpz_neg(v, v);
    }

  private:
    gmp_randstate_t state_;
};

TEST_F(BigIntegerTest, ArithmeticMatchesGmp) {
    RandomOperands rnd;
    Mpz a, b, m, want, want2;
    for (int i = 0; i < 300; ++i) {
        rnd.next(a.v);
        rnd.next(b.v);
        rnd.next(m.v);
        Big x = from(a.v), y = from(b.v), mod = from(m.v);
        ASSERT_TRUE(x && y && mod);
        SCOPED_TRACE("a=" + text(a.v) + " b=" + text(b.v) + " m=" + text(m.v));

        for (const auto &op : kBinary) {
            op.gmp(want.v, a.v, b.v);
            EXPECT_EQ(take(op.ours(x.get(), y.get())), text(want.v)) << op.name;
        }
        mpz_neg(want.v, a.v);
        EXPECT_EQ(take(tevra_biginteger_neg(x.get())), text(want.v));
        mpz_tdiv_q_2exp(want.v, a.v, 1);
        EXPECT_EQ(take(tevra_biginteger_div_2(x.get())), text(want.v));
        EXPECT_EQ(tevra_biginteger_cmp(x.get(), y.get()), mpz_cmp(a.v, b.v));
        EXPECT_EQ(tevra_biginteger_iseven(x.get()), mpz_even_p(a.v) ? 1 : 0);
        if (mpz_sgn(b.v) != 0) {
            TEVRA_BigInteger *rem = nullptr;
            std::string q = take(tevra_biginteger_div(x.get(), y.get(), &rem));
            mpz_tdiv_qr(want.v, want2.v, a.v, b.v);
            EXPECT_EQ(q, text(want.v));
            EXPECT_EQ(take(rem), text(want2.v));
        }
        if (mpz_sgn(m.v) == 0)
            continue;
        mpz_mod(want.v, a.v, m.v);
        EXPECT_EQ(take(tevra_biginteger_mod(x.get(), mod.get())), text(want.v));
        for (const auto &op : kModular) {
            op.gmp(want.v, a.v, b.v);
            mpz_mod(want.v, want.v, m.v);
            EXPECT_EQ(take(op.ours(x.get(), y.get(), mod.get())), text(want.v)) << op.name;
        }
        mpz_powm_ui(want.v, a.v, 2, m.v);
        EXPECT_EQ(take(tevra_biginteger_sqrmod(x.get(), mod.get())), text(want.v));
        if (mpz_invert(want.v, a.v, m.v)) {
            EXPECT_EQ(take(tevra_biginteger_invmod(x.get(), mod.get())), text(want.v));
        } else {
            EXPECT_EQ(tevra_biginteger_invmod(x.get(), mod.get()), nullptr);
        }
        // Modular powers are costly at 4096 bits; a sample suffices.
        if (i % 8 == 0 && mpz_sgn(b.v) >= 0) {
            mpz_powm(want.v, a.v, b.v, m.v);
            EXPECT_EQ(take(tevra_biginteger_expmod(x.get(), y.get(), mod.get())), text(want.v));
        }
    }
}

TEST_F(BigIntegerTest, ByteConversionsRoundTrip) {
    RandomOperands rnd;
    Mpz a;
    for (int i = 0; i < 300; ++i) {
        rnd.next(a.v);
        Big x = from(a.v);
        Blob blob(tevra_biginteger_getdata(x.get()));
        ASSERT_TRUE(blob);
        const unsigned char *p = blob->data;
        long n = blob->length;
        // Minimal: one sign bit, no redundant sign byte in front.
        EXPECT_EQ((p[0] & 0x80) != 0, mpz_sgn(a.v) < 0);
        if (n >= 2) {
            EXPECT_FALSE(p[0] == 0x00 && (p[1] & 0x80) == 0) << text(a.v);
            EXPECT_FALSE(p[0] == 0xFF && (p[1] & 0x80) != 0) << text(a.v);
        }
        EXPECT_EQ(take(tevra_biginteger_newdata(p, n)), text(a.v));

        // The magnitude through the unsigned forms.
        mpz_abs(a.v, a.v);
        long width = static_cast<long>((mpz_sizeinbase(a.v, 2) + 7) / 8) + 1;
        Big magnitude = from(a.v);
        std::vector<unsigned char> buf(static_cast<size_t>(width));
        ASSERT_EQ(tevra_biginteger_unsigned_tonbuf(magnitude.get(), width, buf.data()), 1);
        EXPECT_EQ(buf[0], 0);
        EXPECT_EQ(take(tevra_biginteger_newunsigneddata(buf.data(), width)), text(a.v));
        if (mpz_sgn(a.v) != 0) {
            EXPECT_EQ(tevra_biginteger_unsigned_tonbuf(magnitude.get(), width - 2, buf.data()), 0);
        }
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

TEST_F(BigIntegerTest, LibraryAllocationFailures) {
    using tevra_test::until_allocations_suffice;
    Big a = dec("-123456789012345678901234567890"), b = dec("987654321");
    EXPECT_EQ(until_allocations_suffice([] { return Big(tevra_biginteger_new(5)) != nullptr; }), 1);
    until_allocations_suffice([] { return Big(tevra_biginteger_newdec("-12")) != nullptr; });
    until_allocations_suffice([&] { return Blob(tevra_biginteger_getdata(a.get())) != nullptr; });
    until_allocations_suffice([&] {
        TEVRA_BigInteger *rem = nullptr;
        Big q(tevra_biginteger_div(a.get(), b.get(), &rem));
        Big r(rem);
        return q != nullptr && r != nullptr;
    });
    until_allocations_suffice([&] {
        char *out = nullptr;
        if (tevra_biginteger_unsigned_todec(b.get(), &out, nullptr) != 1)
            return false;
        tevra_free(out);
        return true;
    });
    until_allocations_suffice([] {
        Xorshift rng;
        return Big(tevra_biginteger_newprime(xorshift_random, &rng, 64, 0x01)) != nullptr;
    });
}

} // namespace
