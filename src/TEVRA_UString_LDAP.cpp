// String preparation for LDAP matching: map, optional case folding, NFKC,
// prohibition, removal of right-to-left characters and the handling of
// insignificant spaces and hyphens chosen by the string type.
#include <algorithm>

#include "TEVRA_UString_Prep.h"

namespace tevra::detail {

namespace {

enum LdapType : unsigned long {
    kCaseExact = 0,
    kCaseIgnore = 1,
    kNumeric = 3,
    kTelephoneExact = 4,
    kTelephoneIgnore = 5,
};

bool is_accepted_type(unsigned long type) {
    return type <= kTelephoneIgnore && type != 2;
}

bool folds_case(unsigned long type) {
    return type == kCaseIgnore || type == kNumeric || type == kTelephoneIgnore;
}

bool is_space(unsigned long cp) {
    return cp == 0x20;
}

bool is_space_or_hyphen(unsigned long cp) {
    switch (cp) {
    case 0x0020:
    case 0x002D:
    case 0x058A:
    case 0x2010:
    case 0x2011:
    case 0x2212:
    case 0xFE63:
    case 0xFF0D:
        return true;
    default:
        return false;
    }
}

bool ldap_prohibits(unsigned long cp) {
    return is_change_display(cp) || is_private_use(cp) || is_noncharacter(cp) || cp == 0xFFFD;
}

// Listed characters become their replacement or nothing. Surrogates that do
// not form a pair cannot be written back and are dropped.
CodePoints mapped(const TEVRA_UString *s) {
    CodePoints out;
    out.reserve(static_cast<size_t>(s->unit_count));
    for (unsigned long cp : code_points_of(s)) {
        unsigned long replacement = 0;
        if (!ldap_mapping(cp, &replacement))
            replacement = cp;
        if (replacement != 0 && !(replacement >= 0xD800 && replacement <= 0xDFFF))
            out.push_back(replacement);
    }
    return out;
}

// One space before and after the text, every inner run of spaces made two,
// leading and trailing ones dropped; blank text becomes two spaces.
CodePoints with_spaces_collapsed(const CodePoints &in) {
    CodePoints out{' '};
    auto it = std::find_if_not(in.begin(), in.end(), is_space);
    while (it != in.end()) {
        auto run_end = std::find_if_not(it, in.end(), is_space);
        if (run_end == it) {
            out.push_back(*it++);
            continue;
        }
        if (run_end != in.end())
            out.insert(out.end(), 2, ' ');
        it = run_end;
    }
    out.push_back(' ');
    return out;
}

// Drops every insignificant character that is not followed by a combining
// mark, and one at the very end.
CodePoints without_insignificant(const CodePoints &in, bool (*insignificant)(unsigned long)) {
    CodePoints out;
    const size_t n = in.size();
    for (size_t i = 0; i < n; ++i)
        if (!insignificant(in[i]) || i + 1 == n || is_combining_mark(in[i + 1]))
            out.push_back(in[i]);
    if (!out.empty() && insignificant(out.back()))
        out.pop_back();
    return out;
}

CodePoints insignificant_handled(unsigned long type, const CodePoints &cps) {
    if (type == kCaseExact || type == kCaseIgnore)
        return with_spaces_collapsed(cps);
    return without_insignificant(cps, type == kNumeric ? is_space : is_space_or_hyphen);
}

TEVRA_UString *ldap_prepare(unsigned long type, const TEVRA_UString *s) {
    UStringHolder work(ustring_of(mapped(s)));
    if (work && folds_case(type))
        work.reset(tevra_ustring_tocasefold(work.get(), 2));
    if (work)
        work.reset(tevra_ustring_normalize(work.get(), 4));
    if (!work || hasUnassignedCodePoint(work->units, work->unit_count))
        return nullptr;
    CodePoints cps = code_points_of(work.get());
    if (std::any_of(cps.begin(), cps.end(), ldap_prohibits))
        return nullptr;
    std::erase_if(cps, is_bidi_ral);
    return ustring_of(insignificant_handled(type, cps));
}

} // namespace

} // namespace tevra::detail

extern "C" {

TEVRA_API TEVRA_UString *tevra_ustring_ldapi18nstringprep(unsigned long type,
                                                          const TEVRA_UString *s) {
    if (s == nullptr || !tevra::detail::is_accepted_type(type))
        return nullptr;
    return tevra::guarded<TEVRA_UString *>(nullptr,
                                           [&] { return tevra::detail::ldap_prepare(type, s); });
}

} // extern "C"
