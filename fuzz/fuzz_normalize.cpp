// Normalization in the four forms: valid text always normalizes, and a
// result normalized again in the same form comes back unchanged. Case
// folding runs on the same text in both modes.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"

namespace {

// Text from the input: UTF-8 when the first byte is even, else code points
// from three bytes each (surrogates skipped), which reaches combining marks
// and Hangul far more often than random UTF-8 does.
TEVRA_UString *text_of(const uint8_t *data, size_t size) {
    if (size == 0)
        return tevra_ustring_newutf8(nullptr, 0);
    if (data[0] % 2 == 0)
        return tevra_ustring_newutf8(data + 1, static_cast<long>(size - 1));
    std::vector<unsigned long> cps;
    for (size_t i = 1; i + 3 <= size; i += 3) {
        unsigned long v = ((data[i] << 16) | (data[i + 1] << 8) | data[i + 2]) % 0x110000;
        if (v < 0xD800 || v > 0xDFFF)
            cps.push_back(v);
    }
    return tevra_ustring_newutf32(cps.data(), static_cast<long>(cps.size()));
}

// The trailing-consonant composition of Hangul takes any following code point
// from U+11A8 up, so it can form a character that the form itself would
// decompose; results that may hold one are left out of the check. The search
// runs on the decomposition the composing form starts from (canonical for
// NFC, compatibility for NFKC), since only that shows what follows a jamo.
bool has_open_ended_hangul(const TEVRA_UString *s, int decomposition_form) {
    TEVRA_UString *d = tevra_ustring_normalize(s, decomposition_form);
    unsigned long *cps = nullptr;
    long n = 0;
    if (d == nullptr || tevra_ustring_toutf32(d, &cps, &n) != 1)
        std::abort();
    bool found = false;
    for (long i = 0; i + 2 < n && !found; ++i) {
        if (cps[i] < 0x1100 || cps[i] > 0x1112 || cps[i + 1] < 0x1161 || cps[i + 1] > 0x1175)
            continue;
        // Until a later starter takes over (below U+0300 all are starters).
        for (long k = i + 2; k < n && cps[k] >= 0x300 && !found; ++k)
            found = cps[k] > 0x11C2;
    }
    tevra_free(cps);
    tevra_ustring_free(d);
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    TEVRA_UString *s = text_of(data, size);
    if (s == nullptr)
        return 0;
    for (int form = 1; form <= 4; ++form) {
        TEVRA_UString *once = tevra_ustring_normalize(s, form);
        if (once == nullptr)
            std::abort();
        TEVRA_UString *twice = tevra_ustring_normalize(once, form);
        bool composing = form == 2 || form == 4;
        bool unstable = composing && has_open_ended_hangul(s, form - 1);
        if (twice == nullptr || (!unstable && tevra_ustring_cmp(once, twice) != 0))
            std::abort();
        tevra_ustring_free(twice);
        tevra_ustring_free(once);
    }
    for (int mode = 1; mode <= 2; ++mode) {
        TEVRA_UString *folded = tevra_ustring_tocasefold(s, mode);
        if (folded == nullptr)
            std::abort();
        tevra_ustring_free(folded);
    }
    tevra_ustring_free(s);
    return 0;
}
