// Internationalized domain names: nameprep, and the conversion of labels and
// whole names between Unicode and their ASCII ("xn--" + Punycode) form.
#include <algorithm>

#include "TEVRA_UString_Prep.h"

namespace tevra::detail {

namespace {

constexpr long kMaxLabelLength = 63;
constexpr long kNameBufferUnits = 1040;
constexpr unsigned short kAcePrefix[] = {'x', 'n', '-', '-'};
constexpr long kAcePrefixLength = 4;

struct IdnFlags {
    bool allow_unassigned;
    bool use_std3;
    bool allow_asterisk;
};

bool is_label_separator(unsigned short u) {
    return u == 0x002E || u == 0x3002 || u == 0xFF0E || u == 0xFF61;
}

bool has_non_ascii(const unsigned short *units, long count) {
    return std::any_of(units, units + count, [](unsigned short u) { return u >= 0x80; });
}

unsigned short ascii_lower(unsigned short u) {
    return u >= 'A' && u <= 'Z' ? static_cast<unsigned short>(u + ('a' - 'A')) : u;
}

bool has_ace_prefix(const unsigned short *units, long count) {
    if (count < kAcePrefixLength)
        return false;
    for (long i = 0; i < kAcePrefixLength; ++i)
        if (ascii_lower(units[i]) != kAcePrefix[i])
            return false;
    return true;
}

// Code points nameprep refuses outright; the display-changing ones are
// checked in a pass of their own.
bool nameprep_prohibits(unsigned long cp) {
    return (cp >= 0xD800 && cp <= 0xDFFF) || is_non_ascii_space(cp) || is_non_ascii_control(cp) ||
           is_private_use(cp) || is_noncharacter(cp) || (cp >= 0xFFF9 && cp <= 0xFFFD) ||
           (cp >= 0x2FF0 && cp <= 0x2FFB) || cp == 0xE0001 || (cp >= 0xE0020 && cp <= 0xE007F);
}

// Calls test on every code point of s until it returns true.
template <class Test> bool any_code_point(const TEVRA_UString *s, Test test) {
    for (long i = 0; i < s->unit_count;)
        if (test(next_code_point(s->units, s->unit_count, i)))
            return true;
    return false;
}

// A label with right-to-left characters must start and end with one and hold
// no left-to-right character.
bool passes_bidi_rule(const TEVRA_UString *s) {
    if (!any_code_point(s, is_bidi_ral))
        return true;
    long first = 0, last = s->unit_count - 1;
    if (last > 0 && is_low_surrogate(s->units[last]) && is_high_surrogate(s->units[last - 1]))
        --last;
    return is_bidi_ral(next_code_point(s->units, s->unit_count, first)) &&
           is_bidi_ral(next_code_point(s->units, s->unit_count, last)) &&
           !any_code_point(s, [](unsigned long cp) { return !is_not_left_to_right(cp); });
}

// s without the characters that are mapped to nothing: s itself with one
// more holder when it has none of them.
TEVRA_UString *without_mapped_to_nothing(const TEVRA_UString *s) {
    if (!any_code_point(s, is_mapped_to_nothing))
        return tevra_ustring_dup(const_cast<TEVRA_UString *>(s));
    CodePoints cps = code_points_of(s);
    std::erase_if(cps, is_mapped_to_nothing);
    return ustring_of(cps);
}

TEVRA_UString *nameprep(const TEVRA_UString *s, bool allow_unassigned) {
    UStringHolder mapped(without_mapped_to_nothing(s));
    if (!mapped)
        return nullptr;
    UStringHolder folded(tevra_ustring_tocasefold(mapped.get(), 2));
    if (!folded)
        return nullptr;
    UStringHolder prepared(tevra_ustring_normalize(folded.get(), 4));
    if (!prepared || any_code_point(prepared.get(), nameprep_prohibits) ||
        any_code_point(prepared.get(), is_change_display) || !passes_bidi_rule(prepared.get()))
        return nullptr;
    if (!allow_unassigned && hasUnassignedCodePoint(prepared->units, prepared->unit_count))
        return nullptr;
    return prepared.release();
}

// Host-name characters: letters, digits and inner hyphens (and "*" when
// wildcards are allowed). Non-ASCII units are not judged here.
bool passes_std3(const unsigned short *units, long count, bool allow_asterisk) {
    if (count > 0 && (units[0] == '-' || units[count - 1] == '-'))
        return false;
    return std::none_of(units, units + count, [&](unsigned short u) {
        return is_not_ldh(u) && !(allow_asterisk && u == '*');
    });
}

// Appends the ASCII form of the label units[0..count) to out; false when a
// rule refuses it. Plain ASCII labels are judged in place, without copies.
bool label_to_ascii(const unsigned short *units, long count, const IdnFlags &flags, Units &out) {
    UStringHolder prepared;
    long chars = count;
    if (has_non_ascii(units, count)) {
        UStringHolder label(tevra_ustring_newlength(units, count));
        if (label)
            prepared.reset(nameprep(label.get(), flags.allow_unassigned));
        if (!prepared)
            return false;
        units = prepared->units;
        count = prepared->unit_count;
        chars = prepared->char_count;
    }
    if (flags.use_std3 && !passes_std3(units, count, flags.allow_asterisk))
        return false;
    const size_t start = out.size();
    if (!has_non_ascii(units, count)) {
        out.insert(out.end(), units, units + count);
    } else {
        if (has_ace_prefix(units, count) || chars > kMaxLabelLength)
            return false;
        out.insert(out.end(), kAcePrefix, kAcePrefix + kAcePrefixLength);
        CodePoints cps = code_points_of(units, count);
        if (!punycode_encode(cps.data(), static_cast<long>(cps.size()), out))
            return false;
    }
    const size_t length = out.size() - start;
    return length >= 1 && length <= static_cast<size_t>(kMaxLabelLength);
}

// The ASCII form of units[start..end) appended to buffer.
int encodednlabel(Units &buffer, const unsigned short *units, long start, long end,
                  const IdnFlags &flags) {
    return end > start && label_to_ascii(units + start, end - start, flags, buffer) ? 1 : 0;
}

bool name_to_ascii(const TEVRA_UString *name, const IdnFlags &flags, Units &out) {
    const unsigned short *units = name->units;
    const long count = name->unit_count;
    long start = 0;
    for (long i = 0; i <= count; ++i) {
        if (i < count && !is_label_separator(units[i]))
            continue;
        // An empty label: a leading, doubled or trailing separator.
        if (i == start || encodednlabel(out, units, start, i, flags) != 1)
            return false;
        if (i < count)
            out.push_back('.');
        start = i + 1;
    }
    return true;
}

// Hands ASCII units to the caller as a zero-terminated byte string.
int give_ascii(const Units &units, char **out, long *out_length) {
    const long n = static_cast<long>(units.size());
    Owned<char> bytes = alloc_buffer<char>(n + 1, kPrepFile, __LINE__);
    if (!bytes)
        return 0;
    std::copy(units.begin(), units.end(), bytes.get());
    bytes.get()[n] = '\0';
    *out = bytes.release();
    *out_length = n;
    return 1;
}

// The ASCII form that ToASCII gave back must spell the prepared label: an
// upper-case letter there matches only its lower-case form.
bool spells_label(const unsigned short *label, long count, const Units &ascii) {
    if (static_cast<long>(ascii.size()) != count)
        return false;
    for (long i = 0; i < count; ++i) {
        bool upper = label[i] >= 'A' && label[i] <= 'Z';
        if (ascii[i] != (upper ? ascii_lower(label[i]) : label[i]))
            return false;
    }
    return true;
}

// The Unicode form of an ACE label, or NULL when the label is not one or does
// not survive the round trip.
TEVRA_UString *label_to_unicode(const TEVRA_UString *label, const IdnFlags &flags) {
    UStringHolder prepared;
    const TEVRA_UString *work = label;
    if (has_non_ascii(label->units, label->unit_count)) {
        prepared.reset(nameprep(label, flags.allow_unassigned));
        if (!prepared)
            return nullptr;
        work = prepared.get();
    }
    const unsigned short *units = work->units;
    const long count = work->unit_count;
    if (count <= kAcePrefixLength || !has_ace_prefix(units, count) || has_non_ascii(units, count))
        return nullptr;
    CodePoints cps;
    if (!punycode_decode(units + kAcePrefixLength, count - kAcePrefixLength, cps))
        return nullptr;
    UStringHolder decoded(ustring_of(cps));
    Units ascii;
    if (!decoded || !label_to_ascii(decoded->units, decoded->unit_count, flags, ascii) ||
        !spells_label(units, count, ascii))
        return nullptr;
    return decoded.release();
}

TEVRA_UString *label_or_input(const TEVRA_UString *label, const IdnFlags &flags) {
    TEVRA_UString *decoded = nullptr;
    if (label->unit_count > 0)
        decoded = guarded<TEVRA_UString *>(nullptr, [&] { return label_to_unicode(label, flags); });
    return decoded != nullptr ? decoded : tevra_ustring_dup(const_cast<TEVRA_UString *>(label));
}

TEVRA_UString *name_to_unicode(const TEVRA_UString *name, const IdnFlags &flags) {
    const unsigned short *units = name->units;
    const long count = name->unit_count;
    Units out;
    long start = 0;
    for (long i = 0; i <= count; ++i) {
        if (i < count && !is_label_separator(units[i]))
            continue;
        UStringHolder label(tevra_ustring_newlength(units + start, i - start));
        if (!label)
            return nullptr;
        UStringHolder decoded(label_or_input(label.get(), flags));
        out.insert(out.end(), decoded->units, decoded->units + decoded->unit_count);
        if (i < count)
            out.push_back('.');
        start = i + 1;
    }
    return tevra_ustring_newlength(out.empty() ? nullptr : out.data(),
                                   static_cast<long>(out.size()));
}

IdnFlags flags_of(unsigned int allow_unassigned, unsigned int use_std3,
                  unsigned int allow_asterisk) {
    return {allow_unassigned != 0, use_std3 != 0, allow_asterisk != 0};
}

} // namespace

} // namespace tevra::detail

using namespace tevra::detail;

extern "C" {

TEVRA_API TEVRA_UString *tevra_ustring_idn_stringprep(const TEVRA_UString *s,
                                                      unsigned int allow_unassigned) {
    if (s == nullptr)
        return nullptr;
    return tevra::guarded<TEVRA_UString *>(nullptr,
                                           [&] { return nameprep(s, allow_unassigned != 0); });
}

TEVRA_API int tevra_ustring_idnlabel_toascii(const TEVRA_UString *label,
                                             unsigned int allow_unassigned, unsigned int use_std3,
                                             unsigned int allow_asterisk, char **out,
                                             long *out_length) {
    if (label == nullptr || label->unit_count == 0 || out == nullptr || out_length == nullptr)
        return 0;
    const IdnFlags flags = flags_of(allow_unassigned, use_std3, allow_asterisk);
    return tevra::guarded(0, [&] {
        Units ascii;
        return label_to_ascii(label->units, label->unit_count, flags, ascii)
                   ? give_ascii(ascii, out, out_length)
                   : 0;
    });
}

TEVRA_API int tevra_ustring_idn_toascii(const TEVRA_UString *name, unsigned int allow_unassigned,
                                        unsigned int use_std3, unsigned int allow_asterisk,
                                        char **out, long *out_length) {
    if (name == nullptr || name->unit_count == 0 || out == nullptr || out_length == nullptr)
        return 0;
    const IdnFlags flags = flags_of(allow_unassigned, use_std3, allow_asterisk);
    return tevra::guarded(0, [&] {
        Units ascii;
        ascii.reserve(kNameBufferUnits);
        return name_to_ascii(name, flags, ascii) ? give_ascii(ascii, out, out_length) : 0;
    });
}

TEVRA_API TEVRA_UString *tevra_ustring_idnlabel_tounicode(const TEVRA_UString *label,
                                                          unsigned int allow_unassigned,
                                                          unsigned int use_std3,
                                                          unsigned int allow_asterisk) {
    if (label == nullptr)
        return nullptr;
    return label_or_input(label, flags_of(allow_unassigned, use_std3, allow_asterisk));
}

TEVRA_API TEVRA_UString *tevra_ustring_idn_tounicode(const TEVRA_UString *name,
                                                     unsigned int allow_unassigned,
                                                     unsigned int use_std3,
                                                     unsigned int allow_asterisk) {
    if (name == nullptr)
        return nullptr;
    const IdnFlags flags = flags_of(allow_unassigned, use_std3, allow_asterisk);
    return tevra::guarded<TEVRA_UString *>(nullptr, [&] { return name_to_unicode(name, flags); });
}

} // extern "C"
