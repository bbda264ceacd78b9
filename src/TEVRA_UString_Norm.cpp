// Unicode normalization (NFD, NFC, NFKD, NFKC) with its quick check, and full
// case folding with the optional FC_NFKC closure, over the compiled-in
// Unicode 8.0.0 tables.
#include <cstdint>
#include <cstring>

#include "TEVRA_Alloc.h"
#include "TEVRA_UString.h"
#include "TEVRA_UString_Buffer.h"
#include "TEVRA_UString_Internal.h"
#include "TEVRA_Util.h"

namespace {

using namespace tevra::detail;

// Record layouts of the generated tables: little-endian fixed-size records,
// code points as unsigned 64-bit values, keyed by their first field.
struct CombiningClassRecord {
    unsigned long code_point;
    int combining_class;
};
struct CanonicalDecompositionRecord {
    unsigned long code_point;
    unsigned long mapping[2];
    int count;
};
struct CompatibilityDecompositionRecord {
    unsigned long code_point;
    unsigned long mapping[18];
    unsigned int count;
};
struct CompositionRecord {
    unsigned long first;
    unsigned long second;
    unsigned long composite;
};
struct CaseFoldingRecord {
    unsigned long code_point;
    unsigned long mapping[4];
    unsigned int count;
};
static_assert(sizeof(CombiningClassRecord) == 16);
static_assert(sizeof(CanonicalDecompositionRecord) == 32);
static_assert(sizeof(CompatibilityDecompositionRecord) == 160);
static_assert(sizeof(CompositionRecord) == 24);
static_assert(sizeof(CaseFoldingRecord) == 48);

#include "unicode_tables.inc"

enum Form { kNFD = 1, kNFC = 2, kNFKD = 3, kNFKC = 4 };

// ---- table lookups ----

// Orders a code-point key against a record's first 64-bit field.
int compare_code_point(const void *key, const void *element) {
    unsigned long a = *static_cast<const unsigned long *>(key);
    unsigned long b = *static_cast<const unsigned long *>(element);
    return a < b ? -1 : (a > b ? 1 : 0);
}

int compare_pair(const void *key, const void *element) {
    const auto *a = static_cast<const CompositionRecord *>(key);
    const auto *b = static_cast<const CompositionRecord *>(element);
    if (a->first != b->first)
        return a->first < b->first ? -1 : 1;
    if (a->second != b->second)
        return a->second < b->second ? -1 : 1;
    return 0;
}

// The record of table keyed by cp, or NULL. Code points outside the
// table's key range (ASCII, mostly) are answered without a search.
template <class Record, long N> const Record *find(const Record (&table)[N], unsigned long cp) {
    if (cp < *reinterpret_cast<const unsigned long *>(&table[0]) ||
        cp > *reinterpret_cast<const unsigned long *>(&table[N - 1]))
        return nullptr;
    long index = 0;
    if (tevra_bsearch(&cp, table, N, static_cast<long>(sizeof(Record)), compare_code_point,
                      &index) != 1)
        return nullptr;
    return &table[index];
}

// True for a BMP code point whose bit is set in a generated bitmap.
bool marked(const unsigned char (&bits)[8192], unsigned long cp) {
    return cp < 0x10000 && ((bits[cp >> 3] >> (cp & 7)) & 1) != 0;
}

// Class 0 and a yes in every quick check: most text, looked up in one step.
bool inert(unsigned long cp) {
    return marked(g_NormalizationInert_Bitmap, cp);
}

int combining_class(unsigned long cp) {
    if (marked(g_ClassZero_Bitmap, cp))
        return 0;
    const CombiningClassRecord *r = find(g_CombiningClass_Table, cp);
    return r == nullptr ? 0 : r->combining_class;
}

// ---- Hangul ----

constexpr unsigned long kSBase = 0xAC00, kLBase = 0x1100, kVBase = 0x1161, kTBase = 0x11A7;
constexpr unsigned long kLCount = 19, kVCount = 21, kTCount = 28;
constexpr unsigned long kNCount = kVCount * kTCount, kSLast = kLCount * kNCount - 1;

bool is_syllable(unsigned long cp) {
    return cp - kSBase <= kSLast; // wraps far above kSLast below U+AC00
}

// ---- quick check ----

// code_point_at yields a surrogate value only for a unit without its partner.
bool is_lone_surrogate(unsigned long cp) {
    return cp >= 0xD800 && cp <= 0xDFFF;
}

enum class Check { kYes, kMaybe, kNo };

// The no and maybe tables of a form (maybe is NULL for the decomposed forms).
struct QuickCheckTables {
    const unsigned long *no;
    long no_count;
    const unsigned long *maybe;
    long maybe_count;
};

template <long N> bool listed(const unsigned long (&table)[N], unsigned long cp) {
    return find(table, cp) != nullptr;
}

Check quick_check_one(int form, unsigned long cp) {
    switch (form) {
    case kNFD:
        return listed(g_NFD_Quick_Check_No_Table, cp) ? Check::kNo : Check::kYes;
    case kNFKD:
        return listed(g_NFKD_Quick_Check_No_Table, cp) ? Check::kNo : Check::kYes;
    case kNFC:
        if (listed(g_NFC_Quick_Check_No_Table, cp))
            return Check::kNo;
        return listed(g_NFC_Quick_Check_Maybe_Table, cp) ? Check::kMaybe : Check::kYes;
    default:
        if (listed(g_NFKC_Quick_Check_No_Table, cp))
            return Check::kNo;
        return listed(g_NFKC_Quick_Check_Maybe_Table, cp) ? Check::kMaybe : Check::kYes;
    }
}

// True when every character of s is a plain yes for the form and the
// combining classes never fall; a maybe, a no or a lone surrogate sends the
// string down the full path.
bool quick_check(const TEVRA_UString *s, int form) {
    const unsigned short *u = s->units;
    long n = s->unit_count, length = 0;
    int previous = 0;
    for (long i = 0; i < n; i += length) {
        // ASCII has class 0 and is a yes in every form.
        if (u[i] < 0x80) {
            previous = 0;
            length = 1;
            continue;
        }
        unsigned long cp = code_point_at(u, n, i, length);
        if (inert(cp)) {
            previous = 0;
            continue;
        }
        if (is_lone_surrogate(cp))
            return false;
        if (is_syllable(cp)) {
            // Precomposed Hangul: class 0, decomposed by NFD and NFKD only.
            if (form == kNFD || form == kNFKD)
                return false;
            previous = 0;
            continue;
        }
        int cls = combining_class(cp);
        if (cls != 0 && cls < previous)
            return false;
        if (quick_check_one(form, cp) != Check::kYes)
            return false;
        previous = cls;
    }
    return true;
}

// ---- decomposition and ordering ----

// A character of the work sequence and its combining class.
struct Char {
    std::uint32_t cp;
    std::int32_t cls;
};
using Chars = tevra::Vector<Char, kUStringFile>;

void push(Chars &out, unsigned long cp) {
    out.push_back(Char{static_cast<std::uint32_t>(cp), combining_class(cp)});
}

// Appends the full decomposition of cp: a mapping found in the one-level
// tables is decomposed again until nothing more decomposes.
void decompose(Chars &out, unsigned long cp, bool compatibility) {
    // Neither inert characters nor Hangul syllables are in the tables.
    if (inert(cp)) {
        out.push_back(Char{static_cast<std::uint32_t>(cp), 0});
        return;
    }
    if (is_syllable(cp)) {
        unsigned long s = cp - kSBase;
        push(out, kLBase + s / kNCount);
        push(out, kVBase + s % kNCount / kTCount);
        if (s % kTCount != 0)
            push(out, kTBase + s % kTCount);
        return;
    }
    if (marked(g_Undecomposable_Bitmap, cp)) {
        push(out, cp);
        return;
    }
    if (const auto *r = find(g_CanonicalDecomposition_Table, cp)) {
        for (int k = 0; k < r->count; ++k)
            decompose(out, r->mapping[k], compatibility);
        return;
    }
    if (compatibility) {
        if (const auto *r = find(g_CompatibilityDecomposition_Table, cp)) {
            for (unsigned int k = 0; k < r->count; ++k)
                decompose(out, r->mapping[k], compatibility);
            return;
        }
    }
    push(out, cp);
}

// Stable insertion sort of every run of nonzero classes: a character moves
// before its predecessor only when its class is strictly smaller.
void order(Chars &c) {
    for (size_t i = 1; i < c.size(); ++i) {
        Char x = c[i];
        if (x.cls == 0)
            continue;
        size_t j = i;
        for (; j > 0 && c[j - 1].cls > x.cls; --j)
            c[j] = c[j - 1];
        c[j] = x;
    }
}

// ---- composition ----

// The composite of starter and x, or 0 when they do not combine. The
// trailing-consonant rule of Hangul has no upper bound on x; a composite
// that UTF-16 cannot carry is not formed.
unsigned long composite_of(unsigned long starter, unsigned long x) {
    // Hangul pairs are not in the table, so testing them first changes nothing.
    if (starter - kLBase < kLCount && x - kVBase < kVCount)
        return kSBase + ((starter - kLBase) * kVCount + (x - kVBase)) * kTCount;
    unsigned long s = starter - kSBase;
    if (s <= kSLast && s % kTCount == 0 && x > kTBase) {
        unsigned long composite = starter + (x - kTBase);
        return valid_code_point(composite) ? composite : 0;
    }
    // A second character of a pair is never inert: it has a maybe.
    if (inert(x))
        return 0;
    CompositionRecord key{starter, x, 0};
    long index = 0;
    if (tevra_bsearch(&key, g_CanonicalComposition_Table,
                      static_cast<long>(std::size(g_CanonicalComposition_Table)),
                      static_cast<long>(sizeof(CompositionRecord)), compare_pair, &index) != 1)
        return 0;
    unsigned long composite = g_CanonicalComposition_Table[index].composite;
    return listed(g_Full_Composition_Exclusion_Table, composite) ? 0 : composite;
}

// Composes c in place. After each composition the walk restarts just after
// the composite, so characters passed over before are offered to it again.
// Layout while walking: [0, starter] done, (starter, w) passed over, [r, n)
// still to walk; a restart moves the passed-over characters back in front
// of r, into the slot the combined character left.
void compose(Chars &c) {
    size_t n = c.size(), starter = 0;
    while (starter < n && c[starter].cls != 0)
        ++starter;
    if (starter >= n)
        return;
    size_t w = starter + 1, r = starter + 1;
    int last = 0;
    while (r < n) {
        Char x = c[r];
        bool blocked = last != 0 && x.cls <= last;
        unsigned long composite = blocked ? 0 : composite_of(c[starter].cp, x.cp);
        if (composite != 0) {
            c[starter].cp = static_cast<std::uint32_t>(composite);
            size_t passed = w - starter - 1;
            r = r + 1 - passed;
            std::memmove(&c[r], &c[starter + 1], passed * sizeof(Char));
            w = starter + 1;
            last = 0;
            continue;
        }
        c[w++] = x;
        if (x.cls == 0)
            starter = w - 1;
        last = x.cls;
        ++r;
    }
    c.resize(w);
}

// ---- results ----

TEVRA_UString *string_of(const Chars &c) {
    long sup = 0;
    for (const Char &x : c)
        sup += x.cp >= 0x10000;
    long count = static_cast<long>(c.size());
    TEVRA_UString *s = ustring_alloc(count + sup + 1, __LINE__);
    if (s == nullptr)
        return nullptr;
    long o = 0;
    for (const Char &x : c)
        o += put_code_point(s->units + o, x.cp);
    ustring_finish(s, o, count, sup != 0);
    return s;
}

// A fresh copy of s with its counts as they are.
TEVRA_UString *copy_of(const TEVRA_UString *s) {
    TEVRA_UString *r = ustring_alloc(s->unit_count + 1, __LINE__);
    if (r == nullptr)
        return nullptr;
    std::memcpy(r->units, s->units, 2 * static_cast<size_t>(s->unit_count));
    ustring_finish(r, s->unit_count, s->char_count, s->has_supplementary != 0);
    return r;
}

TEVRA_UString *normalize_fully(const TEVRA_UString *s, int form) {
    const unsigned short *u = s->units;
    long n = s->unit_count, length = 0;
    Chars c;
    c.reserve(static_cast<size_t>(n) + n / 2 + 8);
    bool compatibility = form == kNFKD || form == kNFKC;
    for (long i = 0; i < n; i += length) {
        unsigned long cp = code_point_at(u, n, i, length);
        if (is_lone_surrogate(cp)) {
            // Ordering refuses a lone surrogate, but a one-unit string is
            // never ordered and comes back as it is.
            return n == 1 ? copy_of(s) : nullptr;
        }
        decompose(c, cp, compatibility);
    }
    order(c);
    if ((form == kNFC || form == kNFKC) && c.size() > 1)
        compose(c);
    return string_of(c);
}

// ---- case folding ----

const CaseFoldingRecord *folding_of(unsigned long cp, int mode) {
    if (marked(g_CaseFoldingInert_Bitmap, cp))
        return nullptr;
    const CaseFoldingRecord *r = find(g_FullCaseFolding_Table, cp);
    if (r == nullptr && mode == 2)
        r = find(g_FC_NFKC_ClosureCaseFolding_Table, cp);
    return r;
}

TEVRA_UString *casefold(const TEVRA_UString *s, int mode) {
    // Output goes to a second buffer so that each replacement is an append,
    // not a move of everything after it.
    TEVRA_UString_Buffer *b = ustring_buffer_new((s->unit_count + 32) / 8 * 8 + 16);
    if (b == nullptr)
        return nullptr;
    const unsigned short *u = s->units;
    long n = s->unit_count, length = 0;
    for (long i = 0; i < n; i += length) {
        unsigned long cp = code_point_at(u, n, i, length);
        const CaseFoldingRecord *r = folding_of(cp, mode);
        bool ok = true;
        if (r == nullptr)
            ok = TEVRA_UString_Buffer_appendwchars(b, u + i, static_cast<int>(length)) == 1;
        for (unsigned int k = 0; r != nullptr && k < r->count && ok; ++k)
            ok = TEVRA_UString_Buffer_append(b, &r->mapping[k]) == 1;
        if (!ok) {
            ustring_buffer_free(b);
            return nullptr;
        }
    }
    b->char_count = ustring_buffer_count_chars(b);
    return ustring_buffer_to_string(b);
}

} // namespace

extern "C" {

TEVRA_API TEVRA_UString *tevra_ustring_normalize(const TEVRA_UString *s, int form) {
    if (s == nullptr || form < kNFD || form > kNFKC)
        return nullptr;
    // The string is immutable, so handing it back means another holder.
    auto *same = const_cast<TEVRA_UString *>(s);
    if (s->char_count == 0 || quick_check(s, form))
        return tevra_ustring_dup(same);
    return tevra::guarded<TEVRA_UString *>(nullptr, [&] { return normalize_fully(s, form); });
}

TEVRA_API TEVRA_UString *tevra_ustring_tocasefold(const TEVRA_UString *s, int mode) {
    if (s == nullptr || (mode != 1 && mode != 2))
        return nullptr;
    return casefold(s, mode);
}

} // extern "C"
