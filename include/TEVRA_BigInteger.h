/*
 * Arbitrary-precision signed integers over GMP: conversions from and to
 * big-endian bytes, decimal text and 64-bit values; arithmetic, modular
 * arithmetic, primality tests and random prime generation.
 *
 * Every function that produces a number returns a new handle, released with
 * tevra_biginteger_free. Operands are never modified, except by
 * tevra_biginteger_setbit and tevra_biginteger_clearbit. Handles are not
 * safe to share between threads; distinct handles are independent.
 * Failures (NULL operands, bad sizes, no memory) give NULL or 0.
 *
 * Only the handle records go through tevra_malloc. The digits are GMP's own
 * storage, taken from the system malloc/realloc/free: it bypasses hooks set
 * with tevra_setallocfunc and is neither counted nor checked by the debug
 * allocator.
 */
#ifndef TEVRA_BIGINTEGER_H
#define TEVRA_BIGINTEGER_H

#include "TEVRA_Export.h"
#include "TEVRA_Util.h"

TEVRA_BEGIN_DECLS

/** Opaque handle on an arbitrary-precision integer. */
typedef struct TEVRA_BigInteger TEVRA_BigInteger;

/**
 * Random source of tevra_biginteger_newprime: fills len bytes at buf and
 * returns 1, or anything else on failure.
 */
typedef int (*TEVRA_BigIntegerRandom)(void *ctx, unsigned char *buf, long len);

/** Prime generation flags. */
#define TEVRA_BIGINTEGER_PRIME_SAFE 0x01     /**< (p - 1) / 2 is prime as well */
#define TEVRA_BIGINTEGER_PRIME_TWO_TOP 0x02  /**< the two highest bits are set */
#define TEVRA_BIGINTEGER_PRIME_FASTTEST 0x80 /**< fewer test rounds, chosen by size */

/**
 * Installs the library's allocation adapters as GMP's memory functions:
 * system malloc/realloc/free, with allocation failure turned into a failure
 * result instead of an abort. The change is process-wide and also applies to
 * any other GMP user in the program. Called once when the library is loaded;
 * calling it again is harmless.
 */
TEVRA_API void tevra_biginteger_init(void);

/**
 * Value of length big-endian two's complement bytes (length 0 gives 0).
 * NULL for NULL data with a non-zero length, a negative length or no memory.
 */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_newdata(const unsigned char *data, long length);
/** Value of length big-endian unsigned bytes (length 0 gives 0); NULL as for newdata. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_newunsigneddata(const unsigned char *data,
                                                             long length);
/** The given 64-bit value, or NULL without memory. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_new(long value);
/**
 * Value of zero-terminated decimal text (optional leading minus, blanks
 * ignored). NULL for NULL or malformed text.
 */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_newdec(const char *text);
/** A copy, or NULL. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_dup(const TEVRA_BigInteger *n);
/** Releases a handle; NULL is ignored. */
TEVRA_API void tevra_biginteger_free(TEVRA_BigInteger *n);

/**
 * New blob with the minimal big-endian two's complement encoding (zero is
 * the single byte 0x00; -128 is 80, -129 is FF 7F). Release it with
 * tevra_data_blob_free. NULL for NULL or no memory.
 */
TEVRA_API TEVRA_DataBlob *tevra_biginteger_getdata(const TEVRA_BigInteger *n);
/**
 * Writes the value big-endian into exactly width bytes at out, zero-padded
 * on the left. 1, or 0 (out untouched) for a negative value, a value that
 * needs more than width bytes, width < 1 or a NULL argument.
 */
TEVRA_API int tevra_biginteger_unsigned_tonbuf(const TEVRA_BigInteger *n, long width,
                                               unsigned char *out);
/**
 * Stores a new zero-terminated decimal text in *text (release it with
 * tevra_free) and its length in *length (length may be NULL). 1, or 0 with
 * the outputs untouched for a negative value, a NULL argument or no memory.
 */
TEVRA_API int tevra_biginteger_unsigned_todec(const TEVRA_BigInteger *n, char **text, long *length);
/**
 * Stores the value in *value. 1, or 0 when the magnitude needs more than 63
 * bits (-2^63 included) or an argument is NULL.
 */
TEVRA_API int tevra_biginteger_getvalue(const TEVRA_BigInteger *n, long *value);
/** Bit length of the magnitude; 0 for zero or NULL. */
TEVRA_API long tevra_biginteger_getbitcount(const TEVRA_BigInteger *n);
/** -1, 0 or 1 by the sign; 0 for NULL. */
TEVRA_API int tevra_biginteger_getsign(const TEVRA_BigInteger *n);
/**
 * Negative, zero or positive as a is below, equal to or above b. A NULL
 * operand counts as below any number: (a, NULL) gives 1, (NULL, b) gives -1,
 * (NULL, NULL) gives 0.
 */
TEVRA_API int tevra_biginteger_cmp(const TEVRA_BigInteger *a, const TEVRA_BigInteger *b);

/* Arithmetic: each returns a new handle, or NULL for a NULL operand or no memory. */

/** a + b. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_add(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b);
/** a - b. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_sub(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b);
/** a * b. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_mul(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b);
/**
 * Quotient of a / b truncated toward zero; the remainder (sign of a) goes to
 * a new handle in *remainder unless remainder is NULL. NULL for a zero
 * divisor, with *remainder untouched.
 */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_div(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b,
                                                 TEVRA_BigInteger **remainder);

/*
 * Modular arithmetic: results lie in 0 to |m| - 1 (a negative modulus acts
 * as its magnitude). A zero modulus gives NULL.
 */

/** a mod m. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_mod(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *m);
/** a^e mod m; a negative e needs a invertible mod m, else NULL. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_expmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *e,
                                                    const TEVRA_BigInteger *m);
/** (a + b) mod m. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_addmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *b,
                                                    const TEVRA_BigInteger *m);
/** (a - b) mod m. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_submod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *b,
                                                    const TEVRA_BigInteger *m);
/** (a * b) mod m. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_mulmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *b,
                                                    const TEVRA_BigInteger *m);
/** a^2 mod m. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_sqrmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *m);
/** Non-negative greatest common divisor (0 for two zeros). */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_gcd(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b);
/** Non-negative least common multiple (0 when either is zero). */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_lcm(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b);
/** Inverse of a modulo m; NULL when a and m are not coprime. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_invmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *m);
/** a / 2 truncated toward zero. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_div_2(const TEVRA_BigInteger *a);
/** -a. */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_neg(const TEVRA_BigInteger *a);

/* Predicates and bits. */

/**
 * 1 if n is probably prime (64 Miller-Rabin rounds), else 0 (also for NULL).
 * The sign is ignored: -7 is reported prime, like 7; 0, 1 and -1 are not.
 */
TEVRA_API int tevra_biginteger_isprime(const TEVRA_BigInteger *n);
/**
 * As tevra_biginteger_isprime (negative values included) with fewer rounds
 * chosen by n's bit length:
 * 28 below 256 bits, 16 below 384, 10 below 512, 7 below 640, 6 below 768,
 * 5 from 768 on.
 */
TEVRA_API int tevra_biginteger_isprime_fasttest(const TEVRA_BigInteger *n);
/** 1 for an even value (zero included), 0 for odd or NULL. */
TEVRA_API int tevra_biginteger_iseven(const TEVRA_BigInteger *n);
/** 1 for an odd value, 0 for even or NULL. */
TEVRA_API int tevra_biginteger_isodd(const TEVRA_BigInteger *n);
/** Bit i of the two's complement value; 0 for NULL or i < 0. */
TEVRA_API int tevra_biginteger_testbit(const TEVRA_BigInteger *n, long i);
/** Sets bit i of n in place. 1, or 0 (n unchanged) for NULL, i < 0 or no memory. */
TEVRA_API int tevra_biginteger_setbit(TEVRA_BigInteger *n, long i);
/** Clears bit i of n in place. 1, or 0 (n unchanged) for NULL, i < 0 or no memory. */
TEVRA_API int tevra_biginteger_clearbit(TEVRA_BigInteger *n, long i);

/**
 * New random prime of exactly bits bits, drawn from random(ctx, ...) until a
 * candidate passes. flags combine TEVRA_BIGINTEGER_PRIME_SAFE (p = 3 mod 4
 * and (p - 1) / 2 prime), TEVRA_BIGINTEGER_PRIME_TWO_TOP and
 * TEVRA_BIGINTEGER_PRIME_FASTTEST. NULL for bits < 2, a NULL callback, a
 * callback failure, no memory, or a small size for which no prime of the
 * requested form exists. The loop has no draw limit: a callback that keeps
 * returning the same bytes never ends it.
 */
TEVRA_API TEVRA_BigInteger *tevra_biginteger_newprime(TEVRA_BigIntegerRandom random, void *ctx,
                                                      long bits, unsigned int flags);

TEVRA_END_DECLS

#endif
