// UTF-8 to string and string to UTF-8 throughput on 8 MB texts of different
// scripts, next to ICU's converters when ICU is available.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

#ifdef TEVRA_HAVE_ICU
#include <unicode/ustring.h>
#endif

namespace {

constexpr size_t kTextBytes = 8u << 20;

void put_utf8(std::string &out, unsigned long c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

enum Kind { kAscii, kLatin1, kCjk, kEmoji };

// About 8 MB of UTF-8, ending on a character boundary.
std::string make_text(Kind kind) {
    std::mt19937 rng(2019 + kind);
    std::string t;
    t.reserve(kTextBytes + 8);
    const char *words = "the quick brown fox jumps over a lazy dog ";
    size_t w = 0;
    while (t.size() < kTextBytes - 4) {
        unsigned long c = 0;
        unsigned r = rng() % 100;
        switch (kind) {
        case kAscii: // English-like prose
            c = static_cast<unsigned char>(words[w++ % 42]);
            break;
        case kLatin1: // accented letters mixed with ASCII, as in Western European text
            c = r < 60 ? 0x20 + rng() % 0x5F : 0xA0 + rng() % 0x60;
            break;
        case kCjk: // ideographs with occasional ASCII punctuation
            c = r < 95 ? 0x4E00 + rng() % 0x5200 : static_cast<unsigned long>(r < 98 ? ' ' : '\n');
            break;
        case kEmoji: // emoji with spaces and some ASCII words
            c = r < 70 ? 0x1F300 + rng() % 0x400 : static_cast<unsigned char>(words[w++ % 42]);
            break;
        }
        put_utf8(t, c);
    }
    return t;
}

const std::string &text(Kind kind) {
    static const std::string texts[4] = {make_text(kAscii), make_text(kLatin1), make_text(kCjk),
                                         make_text(kEmoji)};
    return texts[kind];
}

void label(benchmark::State &state, Kind kind) {
    static const char *names[] = {"ascii", "latin1", "cjk", "emoji"};
    state.SetLabel(names[kind]);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(text(kind).size()));
}

void BM_tevra_newutf8(benchmark::State &state) {
    Kind kind = static_cast<Kind>(state.range(0));
    const std::string &t = text(kind);
    for (auto _ : state) {
        TEVRA_UString *s = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(t.data()),
                                                 static_cast<long>(t.size()));
        if (s == nullptr)
            state.SkipWithError("construction failed");
        benchmark::DoNotOptimize(s);
        tevra_ustring_free(s);
    }
    label(state, kind);
}

void BM_tevra_toutf8(benchmark::State &state) {
    Kind kind = static_cast<Kind>(state.range(0));
    const std::string &t = text(kind);
    TEVRA_UString *s = tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(t.data()),
                                             static_cast<long>(t.size()));
    for (auto _ : state) {
        unsigned char *out = nullptr;
        long n = 0;
        if (tevra_ustring_toutf8(s, &out, &n) != 1 || n != static_cast<long>(t.size()))
            state.SkipWithError("conversion failed");
        benchmark::DoNotOptimize(out);
        tevra_free(out);
    }
    tevra_ustring_free(s);
    label(state, kind);
}

BENCHMARK(BM_tevra_newutf8)->DenseRange(kAscii, kEmoji)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_tevra_toutf8)->DenseRange(kAscii, kEmoji)->Unit(benchmark::kMillisecond);

#ifdef TEVRA_HAVE_ICU
// ICU converts into a caller buffer; allocating it once per call, as the
// library's constructors and exporters do, keeps the comparison fair.
void BM_icu_strFromUTF8(benchmark::State &state) {
    Kind kind = static_cast<Kind>(state.range(0));
    const std::string &t = text(kind);
    for (auto _ : state) {
        int32_t cap = static_cast<int32_t>(t.size()) + 1;
        auto *dest = static_cast<UChar *>(std::malloc(sizeof(UChar) * static_cast<size_t>(cap)));
        int32_t len = 0;
        UErrorCode err = U_ZERO_ERROR;
        u_strFromUTF8(dest, cap, &len, t.data(), static_cast<int32_t>(t.size()), &err);
        if (U_FAILURE(err))
            state.SkipWithError("ICU conversion failed");
        benchmark::DoNotOptimize(dest);
        std::free(dest);
    }
    label(state, kind);
}

void BM_icu_strToUTF8(benchmark::State &state) {
    Kind kind = static_cast<Kind>(state.range(0));
    const std::string &t = text(kind);
    std::vector<UChar> units(t.size() + 1);
    int32_t count = 0;
    UErrorCode err = U_ZERO_ERROR;
    u_strFromUTF8(units.data(), static_cast<int32_t>(units.size()), &count, t.data(),
                  static_cast<int32_t>(t.size()), &err);
    for (auto _ : state) {
        int32_t cap = 3 * count + 1;
        auto *dest = static_cast<char *>(std::malloc(static_cast<size_t>(cap)));
        int32_t len = 0;
        err = U_ZERO_ERROR;
        u_strToUTF8(dest, cap, &len, units.data(), count, &err);
        if (U_FAILURE(err) || len != static_cast<int32_t>(t.size()))
            state.SkipWithError("ICU conversion failed");
        benchmark::DoNotOptimize(dest);
        std::free(dest);
    }
    label(state, kind);
}

BENCHMARK(BM_icu_strFromUTF8)->DenseRange(kAscii, kEmoji)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_icu_strToUTF8)->DenseRange(kAscii, kEmoji)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
