// The Unicode string record and its core: allocation, constructors from
// UTF-16 and ASCII, reference counting, comparison, concatenation,
// substring and search.
#include <climits>
#include <cstring>

#include "TEVRA_UString.h"
#include "TEVRA_UString_Internal.h"
#include "TEVRA_Util.h"

namespace tevra::detail {

namespace {

// The record is followed by its units in the same block when the string is
// built here; strings made from a work buffer keep their own unit block.
constexpr long kHeader = static_cast<long>(sizeof(TEVRA_UString));
static_assert(sizeof(TEVRA_UString) % alignof(unsigned short) == 0);

unsigned short *inline_units(TEVRA_UString *s) {
    return reinterpret_cast<unsigned short *>(s + 1);
}

} // namespace

TEVRA_UString *ustring_alloc(long capacity, int line) {
    if (capacity < 0 || capacity > (LONG_MAX - kHeader) / 2)
        return nullptr;
    void *block = tevra_malloc(kHeader + 2 * capacity, kUStringFile, line);
    if (block == nullptr)
        return nullptr;
    auto *s = static_cast<TEVRA_UString *>(block);
    s->units = inline_units(s);
    s->unit_count = 0;
    s->char_count = 0;
    s->has_supplementary = 0;
    s->refcount = 1;
    return s;
}

void ustring_finish(TEVRA_UString *s, long unit_count, long char_count, bool supplementary) {
    s->units[unit_count] = 0;
    s->unit_count = unit_count;
    s->char_count = char_count;
    s->has_supplementary = supplementary ? 1 : 0;
}

TEVRA_UString *ustring_adopt(unsigned short *units, long unit_count, long capacity, long char_count,
                             int line) {
    if (units == nullptr || unit_count < 0 || capacity < unit_count) {
        tevra_free(units);
        return nullptr;
    }
    if (capacity == unit_count) {
        // No room for the terminator: copy into a string of our own.
        TEVRA_UString *s = ustring_alloc(unit_count + 1, line);
        if (s != nullptr) {
            std::memcpy(s->units, units, 2 * static_cast<size_t>(unit_count));
            ustring_finish(s, unit_count, char_count, char_count != unit_count);
        }
        tevra_free(units);
        return s;
    }
    auto *s = static_cast<TEVRA_UString *>(tevra_malloc(kHeader, kUStringFile, line));
    if (s == nullptr) {
        tevra_free(units);
        return nullptr;
    }
    s->units = units;
    s->refcount = 1;
    ustring_finish(s, unit_count, char_count, char_count != unit_count);
    return s;
}

TEVRA_UString *ustring_empty(int line) {
    TEVRA_UString *s = ustring_alloc(1, line);
    if (s != nullptr)
        ustring_finish(s, 0, 0, false);
    return s;
}

} // namespace tevra::detail

namespace {

using tevra::detail::is_high_surrogate;
using tevra::detail::is_low_surrogate;
using tevra::detail::is_surrogate;
using tevra::detail::kUStringFile;
using tevra::detail::ustring_alloc;
using tevra::detail::ustring_empty;
using tevra::detail::ustring_finish;

// Checks that n units are well-formed UTF-16; counts characters and pairs.
bool scan_utf16(const unsigned short *u, long n, long &chars, long &pairs) {
    long p = 0;
    for (long i = 0; i < n; ++i) {
        unsigned int c = u[i];
        if (!is_surrogate(c))
            continue;
        if (!is_high_surrogate(c) || i + 1 >= n || !is_low_surrogate(u[i + 1]))
            return false;
        ++p;
        ++i;
    }
    chars = n - p;
    pairs = p;
    return true;
}

// Unit index of character `chars`, walking from unit 0 (two units over any
// surrogate). Never goes past the terminator.
long unit_index_of(const TEVRA_UString *s, long chars) {
    if (s->has_supplementary == 0)
        return chars < s->unit_count ? chars : s->unit_count;
    long idx = 0;
    for (long k = 0; k < chars && idx < s->unit_count; ++k)
        idx += is_surrogate(s->units[idx]) ? 2 : 1;
    return idx < s->unit_count ? idx : s->unit_count;
}

// Characters between two unit indexes (two units per surrogate step).
long chars_between(const unsigned short *u, long from, long to) {
    long n = 0;
    for (long i = from; i < to; i += is_surrogate(u[i]) ? 2 : 1)
        ++n;
    return n;
}

// Code-point order of the first n units: a surrogate beats any other unit.
int compare_units(const unsigned short *a, const unsigned short *b, long n) {
    for (long i = 0; i < n; ++i) {
        unsigned int x = a[i], y = b[i];
        if (x == y)
            continue;
        bool sx = is_surrogate(x), sy = is_surrogate(y);
        if (sx != sy)
            return sx ? 1 : -1;
        return x > y ? 1 : -1;
    }
    return 0;
}

} // namespace

extern "C" {

// ---- constructors ----

TEVRA_API TEVRA_UString *tevra_ustring_new(const unsigned short *units) {
    if (units == nullptr)
        return ustring_empty(__LINE__);
    long n = 0;
    while (units[n] != 0)
        ++n;
    return tevra_ustring_newlength(units, n);
}

TEVRA_API TEVRA_UString *tevra_ustring_newlength(const unsigned short *units, long count) {
    if (units == nullptr && count == 0)
        return ustring_empty(__LINE__);
    if (units == nullptr || count < 0)
        return nullptr;
    long chars = 0, pairs = 0;
    if (!scan_utf16(units, count, chars, pairs))
        return nullptr;
    TEVRA_UString *s = ustring_alloc(count + 1, __LINE__);
    if (s == nullptr)
        return nullptr;
    std::memcpy(s->units, units, 2 * static_cast<size_t>(count));
    ustring_finish(s, count, chars, pairs != 0);
    return s;
}

TEVRA_API TEVRA_UString *tevra_ustring_newascii(const char *bytes, long length) {
    if (bytes == nullptr && length == 0)
        return ustring_empty(__LINE__);
    if (bytes == nullptr || length < 0)
        return nullptr;
    for (long i = 0; i < length; ++i)
        if (static_cast<unsigned char>(bytes[i]) >= 0x80)
            return nullptr;
    TEVRA_UString *s = ustring_alloc(length + 1, __LINE__);
    if (s == nullptr)
        return nullptr;
    for (long i = 0; i < length; ++i)
        s->units[i] = static_cast<unsigned char>(bytes[i]);
    ustring_finish(s, length, length, false);
    return s;
}

// ---- lifetime and queries ----

TEVRA_API TEVRA_UString *tevra_ustring_dup(TEVRA_UString *s) {
    if (s != nullptr)
        ++s->refcount;
    return s;
}

TEVRA_API void tevra_ustring_free(TEVRA_UString *s) {
    if (s == nullptr)
        return;
    if (s->refcount > 1) {
        --s->refcount;
        return;
    }
    if (s->units != reinterpret_cast<unsigned short *>(s + 1))
        tevra_free(s->units);
    tevra_free(s);
}

TEVRA_API long tevra_ustring_getcharcount(const TEVRA_UString *s) {
    return s == nullptr ? 0 : s->char_count;
}

TEVRA_API int tevra_ustring_cmp(const TEVRA_UString *a, const TEVRA_UString *b) {
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    if (a == b)
        return 0;
    long n = a->unit_count < b->unit_count ? a->unit_count : b->unit_count;
    int r = compare_units(a->units, b->units, n);
    if (r != 0)
        return r;
    if (a->unit_count == b->unit_count)
        return 0;
    return a->unit_count > b->unit_count ? 1 : -1;
}

TEVRA_API int tevra_ustring_ncmp(const TEVRA_UString *a, const TEVRA_UString *b, long n) {
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    if (n == 0)
        return 0;
    if (n < 0)
        return tevra_ustring_cmp(a, b);
    if (a == b)
        return 0;
    // Inclusive end: the last unit of character n (the one after the first
    // n), which is the terminator for a string of exactly n characters.
    auto end_index = [n](const TEVRA_UString *s) -> long {
        if (s->char_count < n)
            return s->unit_count - 1;
        long idx = unit_index_of(s, n);
        if (idx < s->unit_count && is_surrogate(s->units[idx]))
            ++idx;
        return idx;
    };
    long ea = end_index(a), eb = end_index(b);
    long last = ea < eb ? ea : eb;
    int r = compare_units(a->units, b->units, last + 1);
    if (r != 0)
        return r;
    if (ea == eb)
        return 0;
    return ea > eb ? 1 : -1;
}

TEVRA_API TEVRA_UString *tevra_ustring_cat(TEVRA_UString *a, TEVRA_UString *b) {
    if (a == nullptr || b == nullptr)
        return tevra_ustring_dup(a == nullptr ? b : a);
    if (a->unit_count > LONG_MAX / 2 - b->unit_count)
        return nullptr;
    long n = a->unit_count + b->unit_count;
    TEVRA_UString *s = ustring_alloc(n + 1, __LINE__);
    if (s == nullptr)
        return nullptr;
    std::memcpy(s->units, a->units, 2 * static_cast<size_t>(a->unit_count));
    std::memcpy(s->units + a->unit_count, b->units, 2 * static_cast<size_t>(b->unit_count));
    ustring_finish(s, n, a->char_count + b->char_count,
                   a->has_supplementary != 0 || b->has_supplementary != 0);
    return s;
}

TEVRA_API TEVRA_UString *tevra_ustring_substring(const TEVRA_UString *s, long start, long count) {
    if (s == nullptr || start < 0 || count == 0 || start >= s->char_count)
        return nullptr;
    if (count < 0)
        count = s->unit_count;
    if (count > s->char_count - start)
        count = s->char_count - start;
    const unsigned short *u = s->units;
    long from, to;
    if (s->has_supplementary == 0) {
        from = start;
        to = start + count;
    } else {
        from = unit_index_of(s, start);
        // Walks last units: from the last unit of character 0 to the last
        // unit of character start + count. When that character is a pair
        // the range keeps its high surrogate (and one character more).
        to = is_surrogate(u[0]) ? 1 : 0;
        for (long k = 0; k < start + count && to < s->unit_count; ++k) {
            ++to;
            if (to < s->unit_count && is_surrogate(u[to]))
                ++to;
        }
        if (to > s->unit_count)
            to = s->unit_count;
    }
    long n = to - from;
    TEVRA_UString *r = ustring_alloc(n + 1, __LINE__);
    if (r == nullptr)
        return nullptr;
    std::memcpy(r->units, u + from, 2 * static_cast<size_t>(n));
    bool sup = false;
    long chars = n;
    if (s->has_supplementary != 0) {
        for (long i = from; i < to && !sup; ++i)
            sup = is_surrogate(u[i]);
        chars = chars_between(u, from, to);
    }
    ustring_finish(r, n, chars, sup);
    return r;
}

TEVRA_API int tevra_ustring_find(const TEVRA_UString *s, long start, const TEVRA_UString *pattern,
                                 long *position) {
    if (s == nullptr || pattern == nullptr || position == nullptr || start < 0 ||
        start >= s->char_count)
        return 0;
    if (pattern->char_count == 0) {
        *position = start;
        return 1;
    }
    if (pattern == s) {
        *position = start == 0 ? 0 : -1;
        return start == 0 ? 1 : 0;
    }
    if (s->char_count - start < pattern->char_count) {
        *position = -1;
        return 0;
    }
    long from = unit_index_of(s, start);
    const unsigned short *p = pattern->units; // p[m] is the terminator
    long m = pattern->unit_count;

    // Optimised failure table: an entry skips straight past borders whose
    // next unit equals the one that just failed to match.
    long *next = static_cast<long *>(
        tevra_malloc(static_cast<long>(sizeof(long)) * (m + 1), kUStringFile, __LINE__));
    if (next == nullptr) {
        *position = -1;
        return 0;
    }
    next[0] = -1;
    long k = -1;
    for (long i = 0; i < m; ++i) {
        while (k >= 0 && p[i] != p[k])
            k = next[k];
        ++k;
        next[i + 1] = p[i + 1] == p[k] ? next[k] : k;
    }

    const unsigned short *t = s->units;
    long n = s->unit_count, i = from, j = 0;
    while (i < n && j < m) {
        if (j < 0 || t[i] == p[j]) {
            ++i;
            ++j;
        } else {
            j = next[j];
        }
    }
    tevra_free(next);
    if (j < m) {
        *position = -1;
        return 0;
    }
    long match = i - m;
    *position = start + (s->has_supplementary == 0 ? match - from : chars_between(t, from, match));
    return 1;
}

} // extern "C"
