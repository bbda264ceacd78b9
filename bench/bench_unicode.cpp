// Normalization and case-folding throughput on 64 KB documents of different
// scripts, next to ICU's unorm2_normalize when ICU is available. Bytes are
// UTF-16 input bytes.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

#ifdef TEVRA_HAVE_ICU
#include <unicode/unorm2.h>
#endif

namespace {

constexpr size_t kDocumentChars = 32 * 1024; // 64 KB of UTF-16 when in the BMP

enum Text { kAscii, kLatin, kLatinDecomposed, kHangul, kHangulDecomposed, kCjk };
const char *const kTextNames[] = {
    "ascii", "latin", "latin-decomposed", "hangul", "hangul-decomposed", "cjk"};

// Western European text: ASCII letters, some with an accent, precomposed or
// as a letter and a combining mark.
void put_latin(std::vector<unsigned long> &out, std::mt19937 &rng, bool decomposed) {
    static const unsigned long kPrecomposed[] = {0xE9, 0xE8, 0xE0, 0xFC, 0xF6, 0xE7, 0xF1};
    static const unsigned long kBase[] = {0x65, 0x65, 0x61, 0x75, 0x6F, 0x63, 0x6E};
    static const unsigned long kMark[] = {0x301, 0x300, 0x300, 0x308, 0x308, 0x327, 0x303};
    unsigned r = rng() % 100;
    if (r < 12) {
        unsigned k = rng() % 7;
        out.push_back(decomposed ? kBase[k] : kPrecomposed[k]);
        if (decomposed)
            out.push_back(kMark[k]);
    } else {
        out.push_back(r < 28 ? 0x20 : 0x61 + rng() % 26);
    }
}

// Hangul syllables, precomposed or as two or three jamo.
void put_hangul(std::vector<unsigned long> &out, std::mt19937 &rng, bool decomposed) {
    unsigned long s = rng() % 11172;
    if (rng() % 8 == 0) {
        out.push_back(0x20);
        return;
    }
    if (!decomposed) {
        out.push_back(0xAC00 + s);
        return;
    }
    out.push_back(0x1100 + s / 588);
    out.push_back(0x1161 + s % 588 / 28);
    if (s % 28 != 0)
        out.push_back(0x11A7 + s % 28);
}

TEVRA_UString *make_text(int text) {
    std::mt19937 rng(2019 + text);
    std::vector<unsigned long> cps;
    while (cps.size() < kDocumentChars) {
        switch (text) {
        case kAscii:
            cps.push_back(rng() % 6 == 0 ? 0x20 : 0x61 + rng() % 26);
            break;
        case kLatin:
        case kLatinDecomposed:
            put_latin(cps, rng, text == kLatinDecomposed);
            break;
        case kHangul:
        case kHangulDecomposed:
            put_hangul(cps, rng, text == kHangulDecomposed);
            break;
        default:
            cps.push_back(rng() % 20 == 0 ? 0x3002 : 0x4E00 + rng() % 0x5200);
        }
    }
    return tevra_ustring_newutf32(cps.data(), static_cast<long>(cps.size()));
}

struct Document {
    TEVRA_UString *s;
    std::vector<unsigned short> units;
    explicit Document(int text) : s(make_text(text)) {
        unsigned short *u = nullptr;
        long n = 0;
        tevra_ustring_toutf16(s, &u, &n);
        units.assign(u, u + n);
        tevra_free(u);
    }
    ~Document() { tevra_ustring_free(s); }
};

void finish(benchmark::State &state, const Document &doc, int text) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(2 * doc.units.size()));
    state.SetLabel(kTextNames[text]);
}

// Arguments: form (1 NFD .. 4 NFKC), text.
void BM_tevra_normalize(benchmark::State &state) {
    int form = static_cast<int>(state.range(0)), text = static_cast<int>(state.range(1));
    Document doc(text);
    for (auto _ : state) {
        TEVRA_UString *r = tevra_ustring_normalize(doc.s, form);
        benchmark::DoNotOptimize(r);
        tevra_ustring_free(r);
    }
    finish(state, doc, text);
}

void BM_tevra_casefold(benchmark::State &state) {
    int text = static_cast<int>(state.range(0));
    Document doc(text);
    for (auto _ : state) {
        TEVRA_UString *r = tevra_ustring_tocasefold(doc.s, 1);
        benchmark::DoNotOptimize(r);
        tevra_ustring_free(r);
    }
    finish(state, doc, text);
}

// NFC of text already in NFC (the quick check), then the full paths.
void normalization_cases(benchmark::internal::Benchmark *b) {
    for (int text : {kAscii, kLatin, kHangul, kCjk})
        b->Args({2, text});
    for (int form : {1, 2, 4})
        for (int text : {kLatin, kLatinDecomposed, kHangul, kHangulDecomposed})
            b->Args({form, text});
}

BENCHMARK(BM_tevra_normalize)->Apply(normalization_cases)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_tevra_casefold)->Arg(kAscii)->Arg(kLatin)->Unit(benchmark::kMicrosecond);

#ifdef TEVRA_HAVE_ICU

const UNormalizer2 *icu_form(int form) {
    UErrorCode status = U_ZERO_ERROR;
    switch (form) {
    case 1:
        return unorm2_getNFDInstance(&status);
    case 2:
        return unorm2_getNFCInstance(&status);
    case 3:
        return unorm2_getNFKDInstance(&status);
    default:
        return unorm2_getNFKCInstance(&status);
    }
}

void BM_icu_normalize(benchmark::State &state) {
    int form = static_cast<int>(state.range(0)), text = static_cast<int>(state.range(1));
    Document doc(text);
    const UNormalizer2 *n = icu_form(form);
    std::vector<UChar> out(doc.units.size() * 4 + 16);
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = unorm2_normalize(n, reinterpret_cast<const UChar *>(doc.units.data()),
                                          static_cast<int32_t>(doc.units.size()), out.data(),
                                          static_cast<int32_t>(out.size()), &status);
        benchmark::DoNotOptimize(length);
    }
    finish(state, doc, text);
}

BENCHMARK(BM_icu_normalize)->Apply(normalization_cases)->Unit(benchmark::kMicrosecond);

#endif

} // namespace

BENCHMARK_MAIN();
