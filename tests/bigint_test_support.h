// Owning handles and GMP helpers shared by the big-integer test suites.
#ifndef TEVRA_BIGINT_TEST_SUPPORT_H
#define TEVRA_BIGINT_TEST_SUPPORT_H

#include <cstring>
#include <memory>
#include <string>

#include <gmp.h>

#include "TEVRA_BigInteger.h"

namespace tevra_test {

struct BigDeleter {
    void operator()(TEVRA_BigInteger *n) const { tevra_biginteger_free(n); }
};
using Big = std::unique_ptr<TEVRA_BigInteger, BigDeleter>;

struct Mpz {
    mpz_t v;
    Mpz() { mpz_init(v); }
    ~Mpz() { mpz_clear(v); }
    Mpz(const Mpz &) = delete;
    Mpz &operator=(const Mpz &) = delete;
};

inline std::string text(mpz_srcptr v) {
    std::string s(mpz_sizeinbase(v, 10) + 2, '\0');
    mpz_get_str(s.data(), 10, v);
    s.resize(std::strlen(s.c_str()));
    return s;
}

// The same value as a library handle, through its decimal text.
inline Big from(mpz_srcptr v) {
    return Big(tevra_biginteger_newdec(text(v).c_str()));
}

} // namespace tevra_test

#endif
