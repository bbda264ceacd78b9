// Normalization and case-folding throughput on 64 KB documents of different
// scripts, and on the same kind of text cut into many short lines, next to
// ICU (unorm2_normalize, u_strFoldCase) and utf8proc (utf8proc_map) when they
// are available. Bytes are the UTF-16 size of the input for every library, so
// the figures compare time per document whatever each library takes in.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

#ifdef TEVRA_HAVE_ICU
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#endif

#ifdef TEVRA_HAVE_UTF8PROC
#include <utf8proc.h>
#endif

namespace {

constexpr size_t kDocumentChars = 32 * 1024; // 64 KB of UTF-16 when in the BMP
constexpr size_t kLineChars = 40;            // a short line: a name, a title, a field

enum Text {
    kAscii,
    kLatin,
    kLatinDecomposed,
    kHangul,
    kHangulDecomposed,
    kCjk,
    kCjkDecomposed,
    kMixedCase
};
const char *const kTextNames[] = {
    "ascii", "latin",          "latin-decomposed", "hangul", "hangul-decomposed",
    "cjk",   "cjk-decomposed", "mixed-case"};

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

// Japanese and Chinese text: ideographs, kana with the voiced mark as a
// combining character, compatibility ideographs and fullwidth Latin letters.
void put_cjk_decomposed(std::vector<unsigned long> &out, std::mt19937 &rng) {
    unsigned r = rng() % 100;
    if (r < 40) {
        out.push_back(0x4E00 + rng() % 0x5200);
    } else if (r < 70) {
        out.push_back(0x304B + 2 * (rng() % 15)); // ka .. to, which take the voiced mark
        if (r < 55)
            out.push_back(0x3099);
    } else if (r < 80) {
        out.push_back(0xF900 + rng() % 0x10E); // singleton decompositions
    } else if (r < 90) {
        out.push_back(0xFF21 + rng() % 26); // fullwidth capitals, folded by NFKC
    } else {
        out.push_back(0x3002);
    }
}

// Latin, German, Greek and Cyrillic words with capitals to fold.
void put_mixed_case(std::vector<unsigned long> &out, std::mt19937 &rng) {
    static const unsigned long kSpecial[] = {0xC4, 0xC9, 0xDF, 0x3A3, 0x3C3, 0x414, 0x434, 0x1E9E};
    unsigned r = rng() % 100;
    if (r < 15)
        out.push_back(0x20);
    else if (r < 45)
        out.push_back(0x41 + rng() % 26);
    else if (r < 55)
        out.push_back(kSpecial[rng() % 8]);
    else
        out.push_back(0x61 + rng() % 26);
}

// Appends one character (or one character with its marks) of the text.
void put_text(std::vector<unsigned long> &cps, std::mt19937 &rng, int text) {
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
    case kCjkDecomposed:
        put_cjk_decomposed(cps, rng);
        break;
    case kMixedCase:
        put_mixed_case(cps, rng);
        break;
    default:
        cps.push_back(rng() % 20 == 0 ? 0x3002 : 0x4E00 + rng() % 0x5200);
    }
}

// One piece of input in the three shapes the libraries take.
struct Piece {
    TEVRA_UString *s;
    std::vector<unsigned short> utf16;
    std::string utf8;
};

Piece make_piece(const std::vector<unsigned long> &cps) {
    Piece piece{tevra_ustring_newutf32(cps.data(), static_cast<long>(cps.size())), {}, {}};
    unsigned short *u = nullptr;
    unsigned char *b = nullptr;
    long n = 0;
    tevra_ustring_toutf16(piece.s, &u, &n);
    piece.utf16.assign(u, u + n);
    tevra_free(u);
    tevra_ustring_toutf8(piece.s, &b, &n);
    piece.utf8.assign(reinterpret_cast<const char *>(b), static_cast<size_t>(n));
    tevra_free(b);
    return piece;
}

// About kDocumentChars code points of a text, as one document or as lines of
// about kLineChars; lines end between characters, never before a mark.
struct Corpus {
    std::vector<Piece> pieces;
    int64_t utf16_bytes = 0;
    Corpus(int text, bool lines) {
        std::mt19937 rng(2019 + text);
        std::vector<unsigned long> cps;
        for (size_t total = 0; total < kDocumentChars;) {
            size_t before = cps.size();
            put_text(cps, rng, text);
            total += cps.size() - before;
            if ((lines && cps.size() >= kLineChars) || total >= kDocumentChars) {
                pieces.push_back(make_piece(cps));
                cps.clear();
            }
        }
        for (const Piece &piece : pieces)
            utf16_bytes += static_cast<int64_t>(2 * piece.utf16.size());
    }
    ~Corpus() {
        for (Piece &piece : pieces)
            tevra_ustring_free(piece.s);
    }
    Corpus(const Corpus &) = delete;
    Corpus &operator=(const Corpus &) = delete;
};

void finish(benchmark::State &state, const Corpus &corpus, int text, bool lines) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * corpus.utf16_bytes);
    state.SetLabel(std::string(kTextNames[text]) + (lines ? " lines" : ""));
}

// Arguments: form (1 NFD .. 4 NFKC), text, lines (0 one document, 1 short lines).
void BM_tevra_normalize(benchmark::State &state) {
    int form = static_cast<int>(state.range(0)), text = static_cast<int>(state.range(1));
    Corpus corpus(text, state.range(2) != 0);
    for (auto _ : state) {
        for (const Piece &piece : corpus.pieces) {
            TEVRA_UString *r = tevra_ustring_normalize(piece.s, form);
            benchmark::DoNotOptimize(r);
            tevra_ustring_free(r);
        }
    }
    finish(state, corpus, text, state.range(2) != 0);
}

// Arguments: text, lines.
void BM_tevra_casefold(benchmark::State &state) {
    int text = static_cast<int>(state.range(0));
    Corpus corpus(text, state.range(1) != 0);
    for (auto _ : state) {
        for (const Piece &piece : corpus.pieces) {
            TEVRA_UString *r = tevra_ustring_tocasefold(piece.s, 1);
            benchmark::DoNotOptimize(r);
            tevra_ustring_free(r);
        }
    }
    finish(state, corpus, text, state.range(1) != 0);
}

// NFC of text already in NFC (the quick check), then the full paths: every
// form of precomposed and decomposed text as a document, the decomposed
// texts also as short lines.
void normalization_cases(benchmark::internal::Benchmark *b) {
    b->ArgNames({"form", "text", "lines"});
    for (int text : {kAscii, kLatin, kHangul, kCjk})
        b->Args({2, text, 0});
    for (int form : {1, 2, 4}) {
        for (int text : {kLatin, kLatinDecomposed, kHangul, kHangulDecomposed, kCjkDecomposed})
            b->Args({form, text, 0});
        for (int text : {kLatinDecomposed, kHangulDecomposed, kCjkDecomposed})
            b->Args({form, text, 1});
    }
    b->Unit(benchmark::kMicrosecond);
}

void casefold_cases(benchmark::internal::Benchmark *b) {
    b->ArgNames({"text", "lines"});
    for (int text : {kAscii, kLatin, kMixedCase})
        b->Args({text, 0});
    b->Args({kMixedCase, 1});
    b->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_tevra_normalize)->Apply(normalization_cases);
BENCHMARK(BM_tevra_casefold)->Apply(casefold_cases);

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

// ICU writes into a caller's buffer, large enough for every piece here.
void BM_icu_normalize(benchmark::State &state) {
    int form = static_cast<int>(state.range(0)), text = static_cast<int>(state.range(1));
    Corpus corpus(text, state.range(2) != 0);
    const UNormalizer2 *n = icu_form(form);
    std::vector<UChar> out(static_cast<size_t>(corpus.utf16_bytes) * 2 + 16);
    for (auto _ : state) {
        for (const Piece &piece : corpus.pieces) {
            UErrorCode status = U_ZERO_ERROR;
            int32_t length =
                unorm2_normalize(n, reinterpret_cast<const UChar *>(piece.utf16.data()),
                                 static_cast<int32_t>(piece.utf16.size()), out.data(),
                                 static_cast<int32_t>(out.size()), &status);
            benchmark::DoNotOptimize(length);
        }
    }
    finish(state, corpus, text, state.range(2) != 0);
}

void BM_icu_casefold(benchmark::State &state) {
    int text = static_cast<int>(state.range(0));
    Corpus corpus(text, state.range(1) != 0);
    std::vector<UChar> out(static_cast<size_t>(corpus.utf16_bytes) * 2 + 16);
    for (auto _ : state) {
        for (const Piece &piece : corpus.pieces) {
            UErrorCode status = U_ZERO_ERROR;
            int32_t length = u_strFoldCase(out.data(), static_cast<int32_t>(out.size()),
                                           reinterpret_cast<const UChar *>(piece.utf16.data()),
                                           static_cast<int32_t>(piece.utf16.size()),
                                           U_FOLD_CASE_DEFAULT, &status);
            benchmark::DoNotOptimize(length);
        }
    }
    finish(state, corpus, text, state.range(1) != 0);
}

BENCHMARK(BM_icu_normalize)->Apply(normalization_cases);
BENCHMARK(BM_icu_casefold)->Apply(casefold_cases);

#endif

#ifdef TEVRA_HAVE_UTF8PROC

// utf8proc takes and returns UTF-8 and allocates each result.
void utf8proc_run(benchmark::State &state, const Corpus &corpus, utf8proc_option_t options) {
    for (auto _ : state) {
        for (const Piece &piece : corpus.pieces) {
            utf8proc_uint8_t *out = nullptr;
            utf8proc_ssize_t length =
                utf8proc_map(reinterpret_cast<const utf8proc_uint8_t *>(piece.utf8.data()),
                             static_cast<utf8proc_ssize_t>(piece.utf8.size()), &out, options);
            if (length < 0)
                state.SkipWithError("utf8proc_map failed");
            std::free(out);
        }
    }
}

utf8proc_option_t utf8proc_form(int form) {
    int options = UTF8PROC_STABLE | (form % 2 ? UTF8PROC_DECOMPOSE : UTF8PROC_COMPOSE);
    return static_cast<utf8proc_option_t>(form > 2 ? options | UTF8PROC_COMPAT : options);
}

void BM_utf8proc_normalize(benchmark::State &state) {
    int form = static_cast<int>(state.range(0)), text = static_cast<int>(state.range(1));
    Corpus corpus(text, state.range(2) != 0);
    utf8proc_run(state, corpus, utf8proc_form(form));
    finish(state, corpus, text, state.range(2) != 0);
}

void BM_utf8proc_casefold(benchmark::State &state) {
    int text = static_cast<int>(state.range(0));
    Corpus corpus(text, state.range(1) != 0);
    utf8proc_run(state, corpus, UTF8PROC_CASEFOLD);
    finish(state, corpus, text, state.range(1) != 0);
}

BENCHMARK(BM_utf8proc_normalize)->Apply(normalization_cases);
BENCHMARK(BM_utf8proc_casefold)->Apply(casefold_cases);

#endif

} // namespace

BENCHMARK_MAIN();
