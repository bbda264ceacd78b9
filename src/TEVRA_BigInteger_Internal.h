// Internals shared by the big-integer sources.
#ifndef TEVRA_BIGINTEGER_INTERNAL_H
#define TEVRA_BIGINTEGER_INTERNAL_H

#include <gmp.h>

#include "TEVRA_BigInteger.h"

// The record behind a handle: one GMP integer in tevra_malloc'ed memory.
struct TEVRA_BigInteger {
    mpz_t value;
};

namespace tevra {

// Thrown by GMP's memory adapters when the system allocator fails; every
// big-integer entry point catches it.
class gmpexception {};

} // namespace tevra

#endif
