// Big integers: the library's calls against the raw GMP calls they wrap, at
// 2048 bits (multiplication also at 1024), and random prime generation.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <gmp.h>

#include "TEVRA_BigInteger.h"

namespace {

// Operands shared by the benchmarks: two dense values of a given width, an
// odd modulus, their bytes and decimal text.
struct Operands {
    mpz_t a, b, m;
    TEVRA_BigInteger *ta, *tb, *tm;
    std::vector<unsigned char> bytes;
    std::string decimal;

    explicit Operands(unsigned long bits) {
        gmp_randstate_t state;
        gmp_randinit_mt(state);
        gmp_randseed_ui(state, 2048);
        mpz_inits(a, b, m, nullptr);
        for (mpz_ptr v : {a, b, m}) {
            mpz_urandomb(v, state, bits);
            mpz_setbit(v, bits - 1);
        }
        mpz_setbit(m, 0);
        gmp_randclear(state);
        ta = from(a);
        tb = from(b);
        tm = from(m);
        bytes.resize(bits / 8);
        mpz_export(bytes.data(), nullptr, 1, 1, 1, 0, a);
        bytes.insert(bytes.begin(), 0x00); // keeps the two's complement value positive
        decimal.resize(mpz_sizeinbase(a, 10) + 2);
        mpz_get_str(decimal.data(), 10, a);
        decimal.resize(std::char_traits<char>::length(decimal.c_str()));
    }
    static TEVRA_BigInteger *from(mpz_srcptr v) {
        std::string s(mpz_sizeinbase(v, 10) + 2, '\0');
        mpz_get_str(s.data(), 10, v);
        return tevra_biginteger_newdec(s.c_str());
    }
};

Operands &ops(long bits = 2048) {
    static Operands o1024(1024), o2048(2048);
    return bits == 1024 ? o1024 : o2048;
}

void BM_Mul_Library(benchmark::State &state) {
    Operands &o = ops(state.range(0));
    for (auto _ : state) {
        TEVRA_BigInteger *r = tevra_biginteger_mul(o.ta, o.tb);
        benchmark::DoNotOptimize(r);
        tevra_biginteger_free(r);
    }
}

void BM_Mul_Gmp(benchmark::State &state) {
    Operands &o = ops(state.range(0));
    for (auto _ : state) {
        mpz_t r;
        mpz_init(r);
        mpz_mul(r, o.a, o.b);
        benchmark::DoNotOptimize(r->_mp_d);
        mpz_clear(r);
    }
}

void BM_ExpMod_Library(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        TEVRA_BigInteger *r = tevra_biginteger_expmod(o.ta, o.tb, o.tm);
        benchmark::DoNotOptimize(r);
        tevra_biginteger_free(r);
    }
}

void BM_ExpMod_Gmp(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        mpz_t r;
        mpz_init(r);
        mpz_powm(r, o.a, o.b, o.m);
        benchmark::DoNotOptimize(r->_mp_d);
        mpz_clear(r);
    }
}

void BM_BytesIn_Library(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        TEVRA_BigInteger *r =
            tevra_biginteger_newdata(o.bytes.data(), static_cast<long>(o.bytes.size()));
        benchmark::DoNotOptimize(r);
        tevra_biginteger_free(r);
    }
}

void BM_BytesIn_Gmp(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        mpz_t r;
        mpz_init(r);
        mpz_import(r, o.bytes.size(), 1, 1, 1, 0, o.bytes.data());
        benchmark::DoNotOptimize(r->_mp_d);
        mpz_clear(r);
    }
}

void BM_BytesOut_Library(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        TEVRA_DataBlob *blob = tevra_biginteger_getdata(o.ta);
        benchmark::DoNotOptimize(blob);
        tevra_data_blob_free(blob);
    }
}

void BM_BytesOut_Gmp(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        size_t n = (mpz_sizeinbase(o.a, 2) + 7) / 8 + 1;
        auto *buf = static_cast<unsigned char *>(std::malloc(n));
        buf[0] = 0;
        mpz_export(buf + 1, nullptr, 1, 1, 1, 0, o.a);
        benchmark::DoNotOptimize(buf);
        std::free(buf);
    }
}

void BM_DecimalIn_Library(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        TEVRA_BigInteger *r = tevra_biginteger_newdec(o.decimal.c_str());
        benchmark::DoNotOptimize(r);
        tevra_biginteger_free(r);
    }
}

void BM_DecimalIn_Gmp(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        mpz_t r;
        mpz_init(r);
        mpz_set_str(r, o.decimal.c_str(), 10);
        benchmark::DoNotOptimize(r->_mp_d);
        mpz_clear(r);
    }
}

void BM_DecimalOut_Library(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        char *text = nullptr;
        long length = 0;
        tevra_biginteger_unsigned_todec(o.ta, &text, &length);
        benchmark::DoNotOptimize(text);
        tevra_free(text);
    }
}

void BM_DecimalOut_Gmp(benchmark::State &state) {
    Operands &o = ops();
    for (auto _ : state) {
        auto *text = static_cast<char *>(std::malloc(mpz_sizeinbase(o.a, 10) + 2));
        mpz_get_str(text, 10, o.a);
        benchmark::DoNotOptimize(text);
        std::free(text);
    }
}

int xorshift_random(void *ctx, unsigned char *buf, long len) {
    auto *s = static_cast<uint64_t *>(ctx);
    for (long i = 0; i < len; ++i) {
        *s ^= *s << 13;
        *s ^= *s >> 7;
        *s ^= *s << 17;
        buf[i] = static_cast<unsigned char>(*s >> 56);
    }
    return 1;
}

// state.range(0) bits, state.range(1) flags. The generator state carries
// over between runs, so every iteration and repetition draws a new prime.
void BM_NewPrime(benchmark::State &state) {
    static uint64_t seed = 0x2545F4914F6CDD1Dull;
    for (auto _ : state) {
        TEVRA_BigInteger *p = tevra_biginteger_newprime(xorshift_random, &seed, state.range(0),
                                                        static_cast<unsigned int>(state.range(1)));
        if (p == nullptr)
            state.SkipWithError("no prime");
        tevra_biginteger_free(p);
    }
}

BENCHMARK(BM_Mul_Library)->Arg(1024)->Arg(2048);
BENCHMARK(BM_Mul_Gmp)->Arg(1024)->Arg(2048);
BENCHMARK(BM_ExpMod_Library)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ExpMod_Gmp)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BytesIn_Library);
BENCHMARK(BM_BytesIn_Gmp);
BENCHMARK(BM_BytesOut_Library);
BENCHMARK(BM_BytesOut_Gmp);
BENCHMARK(BM_DecimalIn_Library);
BENCHMARK(BM_DecimalIn_Gmp);
BENCHMARK(BM_DecimalOut_Library);
BENCHMARK(BM_DecimalOut_Gmp);
// Prime generation time varies with the draws: report the median of a few runs.
BENCHMARK(BM_NewPrime)
    ->ArgsProduct({{1024, 2048}, {0x00, 0x80}})
    ->ArgNames({"bits", "flags"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
