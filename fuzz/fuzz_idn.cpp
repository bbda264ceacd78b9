// IDN conversions on arbitrary text: no crash or leak, and an ASCII name that
// ToASCII produced survives ToUnicode and a second ToASCII. The first byte
// picks the flags (and an LDAP string type); the rest is the name in UTF-8.
#include <cstdint>
#include <cstdlib>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

namespace {

struct Flags {
    unsigned allow_unassigned, use_std3, allow_asterisk;
};

// The ASCII form of name, or NULL.
char *to_ascii(const TEVRA_UString *name, const Flags &f, long *length) {
    char *out = nullptr;
    if (tevra_ustring_idn_toascii(name, f.allow_unassigned, f.use_std3, f.allow_asterisk, &out,
                                  length) != 1)
        return nullptr;
    return out;
}

bool same_ignoring_ascii_case(const char *a, const char *b, long n) {
    for (long i = 0; i < n; ++i) {
        unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
        if (x != y && (x | 0x20) != (y | 0x20))
            return false;
        if (x != y && ((x | 0x20) < 'a' || (x | 0x20) > 'z'))
            return false;
    }
    return true;
}

// ToUnicode keeps the case of labels it cannot decode and decodes upper-case
// ACE labels, so the second ToASCII may differ from the first in ASCII case only.
void check_round_trip(const char *ascii, long length, const Flags &f) {
    TEVRA_UString *name = tevra_ustring_newascii(ascii, length);
    TEVRA_UString *unicode =
        tevra_ustring_idn_tounicode(name, f.allow_unassigned, f.use_std3, f.allow_asterisk);
    if (name == nullptr || unicode == nullptr)
        std::abort();
    long again_length = 0;
    char *again = to_ascii(unicode, f, &again_length);
    if (again == nullptr || again_length != length ||
        !same_ignoring_ascii_case(again, ascii, length))
        std::abort();
    tevra_free(again);
    tevra_ustring_free(unicode);
    tevra_ustring_free(name);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    const Flags f{data[0] & 1u, (data[0] >> 1) & 1u, (data[0] >> 2) & 1u};
    TEVRA_UString *name = tevra_ustring_newutf8(data + 1, static_cast<long>(size - 1));
    if (name == nullptr)
        return 0;
    long length = 0;
    if (char *ascii = to_ascii(name, f, &length)) {
        check_round_trip(ascii, length, f);
        tevra_free(ascii);
    }
    tevra_ustring_free(
        tevra_ustring_idn_tounicode(name, f.allow_unassigned, f.use_std3, f.allow_asterisk));
    tevra_ustring_free(tevra_ustring_ldapi18nstringprep(data[0] % 7u, name));
    tevra_ustring_free(name);
    return 0;
}
