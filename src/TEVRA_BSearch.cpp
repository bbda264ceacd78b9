// Binary search reporting the first equal element or the insertion point.
#include "TEVRA_Util.h"

extern "C" {

TEVRA_API int tevra_bsearch(const void *key, const void *base, long count, long size,
                            int (*compare)(const void *key, const void *element), long *index) {
    if (size < 1 || key == nullptr || base == nullptr || compare == nullptr || index == nullptr)
        return 0;
    if (count < 1) {
        *index = -1;
        return 0;
    }
    const auto *bytes = static_cast<const unsigned char *>(base);
    auto element = [&](long i) { return bytes + i * size; };
    // Lower bound: the first element that does not sort before the key. For a
    // sorted array that is both the first equal element and the insertion point.
    long lo = 0;
    long hi = count;
    while (lo < hi) {
        long mid = lo + (hi - lo) / 2;
        if (compare(key, element(mid)) > 0)
            lo = mid + 1;
        else
            hi = mid;
    }
    *index = lo;
    return lo < count && compare(key, element(lo)) == 0 ? 1 : 0;
}

} // extern "C"
