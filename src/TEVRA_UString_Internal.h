// The string record and the helpers the Unicode sources share.
#ifndef TEVRA_USTRING_INTERNAL_H
#define TEVRA_USTRING_INTERNAL_H

#include "TEVRA_UString.h"

// Field order is fixed: units, unit count, char count, flag, holders.
struct TEVRA_UString {
    unsigned short *units;          // UTF-16, host order, followed by one zero unit
    long unit_count;                // terminator excluded
    long char_count;                // a surrogate pair counts one
    unsigned int has_supplementary; // 1 when a surrogate pair is present
    unsigned int refcount;          // plain counter; dup/free must not race
};

namespace tevra::detail {

// File name the module's allocations are recorded under.
inline constexpr char kUStringFile[] = "TEVRA_UString";

inline bool is_surrogate(unsigned int u) {
    return (u & 0xF800) == 0xD800;
}
inline bool is_high_surrogate(unsigned int u) {
    return (u & 0xFC00) == 0xD800;
}
inline bool is_low_surrogate(unsigned int u) {
    return (u & 0xFC00) == 0xDC00;
}

// A code point that UTF-16 can carry: not a surrogate, at most 10FFFF.
inline bool valid_code_point(unsigned long v) {
    return (v & ~0x7FFUL) != 0xD800 && v <= 0x10FFFF;
}

// Writes one valid code point; returns the units written (1 or 2).
inline long put_code_point(unsigned short *o, unsigned long v) {
    if (v < 0x10000) {
        o[0] = static_cast<unsigned short>(v);
        return 1;
    }
    v -= 0x10000;
    o[0] = static_cast<unsigned short>(0xD800 | (v >> 10));
    o[1] = static_cast<unsigned short>(0xDC00 | (v & 0x3FF));
    return 2;
}

// The code point starting at unit i of n (i < n) and its length in units;
// a lone surrogate is its own unit value, one unit long.
inline unsigned long code_point_at(const unsigned short *u, long n, long i, long &length) {
    unsigned int c = u[i];
    if (is_high_surrogate(c) && i + 1 < n && is_low_surrogate(u[i + 1])) {
        length = 2;
        return (((c & 0x3FFUL) << 10) | (u[i + 1] & 0x3FFUL)) + 0x10000;
    }
    length = 1;
    return c;
}

// A string with room for capacity units, stored in the same block as the
// record, with one holder and zero counts. The caller writes the units and
// calls ustring_finish. NULL when memory runs out or capacity is negative.
TEVRA_UString *ustring_alloc(long capacity, int line);

// Sets the counts and the flag and writes the terminator at unit_count
// (which must lie inside the capacity).
void ustring_finish(TEVRA_UString *s, long unit_count, long char_count, bool supplementary);

// A string taking over units, a tevra_malloc'ed block of capacity units of
// which unit_count are in use; the flag is set when the counts differ. When
// the block leaves no room for the terminator the units are copied into one
// that does. On failure the units are released and NULL returned.
TEVRA_UString *ustring_adopt(unsigned short *units, long unit_count, long capacity, long char_count,
                             int line);

// A new empty string; NULL when memory runs out.
TEVRA_UString *ustring_empty(int line);

} // namespace tevra::detail

#endif
