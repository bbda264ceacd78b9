// What IDN name preparation and LDAP string preparation share: code-point
// arrays, the Unicode 5.0 and stringprep table lookups, the unassigned test
// and Punycode.
#ifndef TEVRA_USTRING_PREP_H
#define TEVRA_USTRING_PREP_H

#include <memory>

#include "TEVRA_Alloc.h"
#include "TEVRA_UString.h"
#include "TEVRA_UString_Internal.h"

namespace tevra::detail {

inline constexpr char kPrepFile[] = "TEVRA_UString";

// Work arrays; they throw std::bad_alloc, so every entry point runs guarded.
using CodePoints = Vector<unsigned long, kPrepFile>;
using Units = Vector<unsigned short, kPrepFile>;

struct UStringRelease {
    void operator()(TEVRA_UString *s) const noexcept { tevra_ustring_free(s); }
};
// One holder of a string, dropped when it goes out of scope.
using UStringHolder = std::unique_ptr<TEVRA_UString, UStringRelease>;

// The code points of units[0..count); a lone surrogate is kept as its unit
// value, so callers can refuse it as D800..DFFF.
CodePoints code_points_of(const unsigned short *units, long count);
CodePoints code_points_of(const TEVRA_UString *s);

// The code point at units[i] (i < count), moving i past it; a lone surrogate
// comes back as its own unit value.
unsigned long next_code_point(const unsigned short *units, long count, long &i);

// A new string of the code points; NULL when one of them is a surrogate or
// above 10FFFF, or when memory runs out.
TEVRA_UString *ustring_of(const CodePoints &cps);

// Table lookups, by what the tables hold.
bool is_mapped_to_nothing(unsigned long cp); // dropped before nameprep folds
bool is_non_ascii_space(unsigned long cp);   // prohibited by nameprep
bool is_non_ascii_control(unsigned long cp); // prohibited by nameprep
bool is_change_display(unsigned long cp);    // prohibited by both preparations
bool is_bidi_ral(unsigned long cp);          // right-to-left (R or AL)
bool is_not_left_to_right(unsigned long cp); // assigned with a class other than L
bool is_combining_mark(unsigned long cp);    // Mn, Mc or Me
bool is_not_ldh(unsigned long cp);           // ASCII, not a letter, digit or hyphen
// The LDAP mapping of cp: false when cp is not listed; else *replacement is
// the code point it maps to, or 0 when it maps to nothing.
bool ldap_mapping(unsigned long cp, unsigned long *replacement);

// Private use: E000..F8FF and planes 15 and 16 less their last two.
bool is_private_use(unsigned long cp);
// FDD0..FDEF, and from FFFE on every code point ending in FFFE or FFFF.
bool is_noncharacter(unsigned long cp);

// Unassigned in Unicode 5.0 (the table, or one of the large unassigned
// ranges); a lone surrogate counts as unassigned.
bool is_unassigned(unsigned long cp);

// Appends the Punycode form of cps to out: the basic code points, a '-' when
// there were any, then the encoded rest. False when the deltas overflow.
bool punycode_encode(const unsigned long *cps, long count, Units &out);
// Decodes Punycode (prefix already removed) into out; false on a non-basic
// code point before the last '-', a character that is no digit, a truncated
// number, an overflow or a result beyond U+10FFFF.
bool punycode_decode(const unsigned short *in, long count, CodePoints &out);

// 1 when any code point of units[0..count) is unassigned in Unicode 5.0.
int hasUnassignedCodePoint(const unsigned short *units, long count);

} // namespace tevra::detail

#endif
