// JSON decoding of arbitrary bytes. Whatever decodes must encode, compactly
// and pretty-printed, and both texts must decode again to the same values.
// Numbers are written with at most six decimals (a tiny negative one as -0,
// which reads back as a zero written 0), so the check starts from the second
// tree: its compact text decodes to a tree that compares equal to it and
// encodes to the same text.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "TEVRA_JSON.h"
#include "TEVRA_JSON_Internal.h"
#include "TEVRA_Util.h"

namespace {

// Compact text of value; aborts when encoding fails.
char *encode(TEVRA_JSON *value, unsigned int flags, int *length) {
    char *text = nullptr;
    if (tevra_json_encode(value, static_cast<int>(flags), &text, length) != 1 ||
        text[*length] != '\0')
        abort();
    return text;
}

bool same_text(const char *a, int na, const char *b, int nb) {
    return na == nb && std::memcmp(a, b, static_cast<size_t>(na)) == 0;
}

bool equal(const TEVRA_JSON *a, const TEVRA_JSON *b) {
    return tevra::detail::comparejson(a, b) == 0 && tevra::detail::comparejson(b, a) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > 1 << 20)
        return 0;
    TEVRA_JSON *first =
        tevra_json_decode(reinterpret_cast<const char *>(data), static_cast<int>(size));
    if (first == nullptr)
        return 0;
    int n1 = 0, np = 0;
    char *compact = encode(first, 0, &n1);
    char *pretty = encode(first, 0xF0000003u, &np);
    TEVRA_JSON *second = tevra_json_decode(compact, n1);
    TEVRA_JSON *from_pretty = tevra_json_decode(pretty, np);
    // Only a number beyond the double range (written "inf") cannot come back.
    bool overflow = std::strstr(compact, "inf") != nullptr;
    if ((second == nullptr || from_pretty == nullptr) && !overflow)
        abort();
    if (second != nullptr) {
        int n2 = 0, n3 = 0, n4 = 0;
        char *again = encode(second, 0, &n2);
        char *via_pretty = encode(from_pretty, 0, &n3);
        TEVRA_JSON *third = tevra_json_decode(again, n2);
        if (third == nullptr)
            abort();
        char *stable = encode(third, 0, &n4);
        if (!same_text(again, n2, via_pretty, n3) || !same_text(again, n2, stable, n4) ||
            !equal(second, third))
            abort();
        tevra_free(stable);
        tevra_json_free(third);
        tevra_free(again);
        tevra_free(via_pretty);
    }
    tevra_json_free(from_pretty);
    tevra_json_free(second);
    tevra_free(pretty);
    tevra_free(compact);
    tevra_json_free(first);
    return 0;
}
