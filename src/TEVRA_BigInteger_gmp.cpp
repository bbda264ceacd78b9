// Big integers over GMP.
#include <cstdlib>

#include <gmp.h>

#include "TEVRA_BigInteger.h"
#include "TEVRA_BigInteger_Internal.h"

namespace {

// GMP cannot report allocation failure, so its adapters throw instead of
// returning NULL; the entry points of this module catch the exception.
void *mymalloc(size_t size) {
    void *p = std::malloc(size);
    if (p == nullptr)
        throw tevra::gmpexception();
    return p;
}

void *myrealloc(void *ptr, size_t, size_t new_size) {
    void *p = std::realloc(ptr, new_size);
    if (p == nullptr)
        throw tevra::gmpexception();
    return p;
}

void myfree(void *ptr, size_t) { std::free(ptr); }

} // namespace

extern "C" {

TEVRA_API void tevra_biginteger_init(void) { mp_set_memory_functions(mymalloc, myrealloc, myfree); }

} // extern "C"
