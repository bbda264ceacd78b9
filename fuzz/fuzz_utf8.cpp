// UTF-8 constructor: accepts exactly the well-formed inputs, and whatever it
// accepts converts back to the identical bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

namespace {

// Straightforward validator to compare the fast one against.
bool well_formed(const uint8_t *p, size_t n) {
    size_t i = 0;
    while (i < n) {
        unsigned b = p[i];
        size_t len = b < 0x80                   ? 1
                     : (b >= 0xC2 && b <= 0xDF) ? 2
                     : (b >= 0xE0 && b <= 0xEF) ? 3
                     : (b >= 0xF0 && b <= 0xF4) ? 4
                                                : 0;
        if (len == 0 || i + len > n)
            return false;
        unsigned long v = len == 1 ? b : b & (0xFFu >> (len + 1));
        for (size_t k = 1; k < len; ++k) {
            if ((p[i + k] & 0xC0) != 0x80)
                return false;
            v = (v << 6) | (p[i + k] & 0x3F);
        }
        if ((len == 3 && (v < 0x800 || (v >= 0xD800 && v <= 0xDFFF))) ||
            (len == 4 && (v < 0x10000 || v > 0x10FFFF)))
            return false;
        i += len;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    TEVRA_UString *s = tevra_ustring_newutf8(data, static_cast<long>(size));
    if ((s != nullptr) != well_formed(data, size))
        std::abort();
    if (s == nullptr)
        return 0;

    unsigned char *out = nullptr;
    long n = 0;
    if (tevra_ustring_toutf8(s, &out, &n) != 1 || n != static_cast<long>(size) ||
        (size > 0 && std::memcmp(out, data, size) != 0) || out[n] != 0)
        std::abort();
    tevra_free(out);

    // The units rebuild an equal string, and the code points agree in count.
    unsigned short *units = nullptr;
    long count = 0;
    if (tevra_ustring_toutf16(s, &units, &count) != 1)
        std::abort();
    TEVRA_UString *again = tevra_ustring_newlength(count > 0 ? units : nullptr, count);
    if (again == nullptr || tevra_ustring_cmp(s, again) != 0)
        std::abort();
    tevra_ustring_free(again);
    tevra_free(units);

    unsigned long *cps = nullptr;
    if (tevra_ustring_toutf32(s, &cps, &count) != 1 || count != tevra_ustring_getcharcount(s))
        std::abort();
    tevra_free(cps);
    tevra_ustring_free(s);
    return 0;
}
