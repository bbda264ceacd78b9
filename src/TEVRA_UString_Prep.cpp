// Lookups in the compiled-in Unicode 5.0 and stringprep tables, the
// unassigned test, and conversion between strings and code-point arrays.
#include <iterator>

#include "TEVRA_UString_Prep.h"
#include "TEVRA_Util.h"

namespace tevra::detail {

namespace {

struct StringprepMapping {
    unsigned long code_point;
    unsigned long replacement; // 0: mapped to nothing
};

#include "stringprep_tables.inc"

// Every table record starts with its 64-bit code point, so one comparison
// serves them all.
int compare_code_point(const void *key, const void *element) {
    unsigned long a = *static_cast<const unsigned long *>(key);
    unsigned long b = *static_cast<const unsigned long *>(element);
    return a < b ? -1 : (a > b ? 1 : 0);
}

int compare_unit(const void *key, const void *element) {
    unsigned long a = *static_cast<const unsigned long *>(key);
    unsigned long b = *static_cast<const unsigned short *>(element);
    return a < b ? -1 : (a > b ? 1 : 0);
}

template <class Record, long N>
bool find(const Record (&table)[N], unsigned long cp, int (*compare)(const void *, const void *),
          long *index) {
    return tevra_bsearch(&cp, table, N, static_cast<long>(sizeof(Record)), compare, index) == 1;
}

// One bit for every BMP code point that some table lists, so that the many
// characters no table mentions (most letters and ideographs) skip the searches.
struct BmpFilter {
    unsigned long long bits[0x10000 / 64] = {};

    template <long N> constexpr void add(const unsigned long (&table)[N]) {
        for (unsigned long cp : table)
            if (cp <= 0xFFFF)
                bits[cp / 64] |= 1ull << (cp % 64);
    }
    constexpr bool may_list(unsigned long cp) const {
        return cp > 0xFFFF || ((bits[cp / 64] >> (cp % 64)) & 1) != 0;
    }
};

constexpr BmpFilter make_filter() {
    BmpFilter f;
    f.add(g_CommonMaptoNothing_Table);
    f.add(g_NonASCIISpace_Table);
    f.add(g_NonASCIIControl_Table);
    f.add(g_ChangeDisplay_Table);
    f.add(g_BidiChar_Table);
    f.add(g_NonL_Table);
    f.add(g_unassignedCodePoint_Table);
    f.add(g_CombiningMarks_Table);
    return f;
}

constexpr BmpFilter kListedInBmp = make_filter();

template <long N> bool listed(const unsigned long (&table)[N], unsigned long cp) {
    if (!kListedInBmp.may_list(cp) || cp < table[0] || cp > table[N - 1])
        return false;
    long index = 0;
    return find(table, cp, compare_code_point, &index);
}

struct Range {
    unsigned long first, last;
};

// Unassigned stretches too large for the table; from plane 3 on the last two
// code points of each plane are left to the noncharacter test.
constexpr Range kUnassignedRanges[] = {
    {0x10A59, 0x11FFF}, {0x12474, 0x1CFFF}, {0x1D800, 0x1FFFD},
    {0x2A6D7, 0x2F7FF}, {0x30000, 0xDFFFD}, {0xE01F0, 0xEFFFD},
};

bool in_unassigned_range(unsigned long cp) {
    for (const Range &r : kUnassignedRanges)
        if (cp >= r.first && cp <= r.last)
            return r.first != 0x30000 || (cp & 0xFFFE) != 0xFFFE;
    return false;
}

} // namespace

unsigned long next_code_point(const unsigned short *units, long count, long &i) {
    long length = 1;
    unsigned long cp = code_point_at(units, count, i, length);
    i += length;
    return cp;
}

bool is_mapped_to_nothing(unsigned long cp) {
    return listed(g_CommonMaptoNothing_Table, cp);
}
bool is_non_ascii_space(unsigned long cp) {
    return listed(g_NonASCIISpace_Table, cp);
}
bool is_non_ascii_control(unsigned long cp) {
    return listed(g_NonASCIIControl_Table, cp);
}
bool is_change_display(unsigned long cp) {
    return listed(g_ChangeDisplay_Table, cp);
}
bool is_bidi_ral(unsigned long cp) {
    return listed(g_BidiChar_Table, cp);
}
bool is_not_left_to_right(unsigned long cp) {
    return listed(g_NonL_Table, cp);
}
bool is_combining_mark(unsigned long cp) {
    return listed(g_CombiningMarks_Table, cp);
}

bool is_not_ldh(unsigned long cp) {
    long index = 0;
    return cp < 0x80 && find(g_LDHASCII_Table, cp, compare_unit, &index);
}

bool ldap_mapping(unsigned long cp, unsigned long *replacement) {
    long index = 0;
    if (!find(g_ldapstringprepmap_Table, cp, compare_code_point, &index))
        return false;
    *replacement = g_ldapstringprepmap_Table[index].replacement;
    return true;
}

bool is_private_use(unsigned long cp) {
    return (cp >= 0xE000 && cp <= 0xF8FF) || (cp >= 0xF0000 && cp <= 0xFFFFD) ||
           (cp >= 0x100000 && cp <= 0x10FFFD);
}

bool is_noncharacter(unsigned long cp) {
    return (cp >= 0xFDD0 && cp <= 0xFDEF) || (cp >= 0xFFFE && (cp & 0xFFFE) == 0xFFFE);
}

bool is_unassigned(unsigned long cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF)
        return true;
    return in_unassigned_range(cp) || listed(g_unassignedCodePoint_Table, cp);
}

int hasUnassignedCodePoint(const unsigned short *units, long count) {
    for (long i = 0; i < count;)
        if (is_unassigned(next_code_point(units, count, i)))
            return 1;
    return 0;
}

CodePoints code_points_of(const unsigned short *units, long count) {
    CodePoints cps;
    cps.reserve(static_cast<size_t>(count));
    for (long i = 0; i < count;)
        cps.push_back(next_code_point(units, count, i));
    return cps;
}

CodePoints code_points_of(const TEVRA_UString *s) {
    return code_points_of(s->units, s->unit_count);
}

TEVRA_UString *ustring_of(const CodePoints &cps) {
    if (cps.empty())
        return tevra_ustring_newutf32(nullptr, 0);
    return tevra_ustring_newutf32(cps.data(), static_cast<long>(cps.size()));
}

} // namespace tevra::detail
