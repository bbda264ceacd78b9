// Internals shared by the big-integer sources.
#ifndef TEVRA_BIGINTEGER_INTERNAL_H
#define TEVRA_BIGINTEGER_INTERNAL_H

namespace tevra {

// Thrown by GMP's memory adapters when the system allocator fails; every
// big-integer entry point catches it.
class gmpexception {};

} // namespace tevra

#endif
