// Big integers over GMP: handles, byte and text conversions, arithmetic,
// primality tests and prime generation.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include <gmp.h>

#include "TEVRA_Alloc.h"
#include "TEVRA_BigInteger.h"
#include "TEVRA_BigInteger_Internal.h"

namespace {

constexpr char kFile[] = "TEVRA_BigInteger_gmp";

// GMP does not release its temporaries when an allocation throws out of the
// middle of a function. While an entry point runs, the blocks GMP allocates
// on its thread are listed here; if the entry point fails with an exception,
// the blocks still listed once its own holders are gone can only be such
// orphaned temporaries and are released. Blocks that existed before the call
// (an operand grown in place) are never listed.
class GmpScope {
  public:
    GmpScope() noexcept : outer_(current_) { current_ = this; }
    ~GmpScope() {
        if (!committed_)
            for (size_t i = 0; i < count_; ++i)
                std::free(blocks_[i]);
        current_ = outer_;
    }
    GmpScope(const GmpScope &) = delete;
    GmpScope &operator=(const GmpScope &) = delete;

    // The call succeeded: whatever GMP still holds belongs to its results.
    void commit() noexcept { committed_ = true; }

    static void allocated(void *p) noexcept {
        GmpScope *s = current_;
        // Past the capacity a block goes unlisted: a leak at worst, never a
        // double release.
        if (s != nullptr && s->count_ < kSlots)
            s->blocks_[s->count_++] = p;
    }
    // Replaces from by to in the list; false when from was not listed.
    static bool moved(void *from, void *to) noexcept {
        GmpScope *s = current_;
        if (s == nullptr)
            return false;
        for (size_t i = s->count_; i-- > 0;) {
            if (s->blocks_[i] == from) {
                if (to != nullptr)
                    s->blocks_[i] = to;
                else
                    s->blocks_[i] = s->blocks_[--s->count_];
                return true;
            }
        }
        return false;
    }

  private:
    static constexpr size_t kSlots = 128;
    static thread_local GmpScope *current_;
    GmpScope *outer_;
    size_t count_ = 0;
    bool committed_ = false;
    void *blocks_[kSlots];
};

thread_local GmpScope *GmpScope::current_ = nullptr;

// GMP cannot report allocation failure, so its adapters throw instead of
// returning NULL; the entry points of this module catch the exception.
void *mymalloc(size_t size) {
    void *p = std::malloc(size);
    if (p == nullptr)
        throw tevra::gmpexception();
    GmpScope::allocated(p);
    return p;
}

void *myrealloc(void *ptr, size_t, size_t new_size) {
    // Only the old address is needed afterwards, to find its list entry.
    auto old = reinterpret_cast<uintptr_t>(ptr);
    void *p = std::realloc(ptr, new_size);
    if (p == nullptr)
        throw tevra::gmpexception();
    GmpScope::moved(reinterpret_cast<void *>(old), p);
    return p;
}

void myfree(void *ptr, size_t) {
    GmpScope::moved(ptr, nullptr);
    std::free(ptr);
}

// Runs body under a GmpScope; any exception gives failure.
template <class R, class F> R gmp_guarded(R failure, F &&body) noexcept {
    GmpScope scope;
    return tevra::guarded<R>(failure, [&] {
        R result = body();
        scope.commit();
        return result;
    });
}

// Miller-Rabin rounds by bit length for the fast tests.
struct RoundRow {
    int32_t bits;
    int32_t rounds;
};
constexpr RoundRow sizes[] = {{128, 28}, {256, 16}, {384, 10}, {512, 7},
                              {640, 6},  {768, 5},  {896, 4},  {1024, 4}};
constexpr int kFullRounds = 64;
constexpr int kSmallRounds = 28;
constexpr size_t kCapBits = 768; // from here on the rounds stay at 5

int table_rounds(size_t bits) {
    if (bits < static_cast<size_t>(sizes[0].bits))
        return kSmallRounds;
    int rounds = kSmallRounds;
    for (const RoundRow &row : sizes) {
        if (static_cast<size_t>(row.bits) > bits)
            break;
        rounds = row.rounds;
        // Rows past 768 bits are deliberately never used.
        if (static_cast<size_t>(row.bits) >= kCapBits)
            break;
    }
    return rounds;
}

// GMP is not exception-safe: a few of its functions record the new size of
// an output before allocating it, so an output that was still unallocated
// (mpz_init points it at a shared constant limb) can be left claiming a block
// it never got. Such a record is put back to the unallocated state before it
// is cleared. Outputs of GMP calls are therefore always freshly initialised
// integers: one that already owned a block could lose it the same way.
const mp_limb_t *unallocated_limbs() {
    static const mp_limb_t *const limbs = [] {
        mpz_t probe;
        mpz_init(probe);
        const mp_limb_t *p = probe->_mp_d;
        mpz_clear(probe);
        return p;
    }();
    return limbs;
}

void clear_mpz(mpz_ptr z) noexcept {
    if (z->_mp_d == unallocated_limbs())
        z->_mp_alloc = 0;
    mpz_clear(z);
}

// Limbs stored in the handle's own block, right after the record.
mp_limb_t *inline_limbs(TEVRA_BigInteger *n) noexcept {
    static_assert(sizeof(TEVRA_BigInteger) % alignof(mp_limb_t) == 0);
    return reinterpret_cast<mp_limb_t *>(n + 1);
}

// Releases a handle: limbs GMP allocated go back to GMP, the record (with
// any limbs stored inline) to tevra_free.
struct HandleDeleter {
    void operator()(TEVRA_BigInteger *n) const noexcept {
        if (n->value->_mp_d != inline_limbs(n))
            clear_mpz(n->value);
        tevra_free(n);
    }
};
using Handle = std::unique_ptr<TEVRA_BigInteger, HandleDeleter>;

// A new handle holding zero. Throws when memory runs out.
Handle new_handle(int line) {
    tevra::Owned<TEVRA_BigInteger> raw(
        static_cast<TEVRA_BigInteger *>(tevra_malloc(sizeof(TEVRA_BigInteger), kFile, line)));
    if (!raw)
        throw std::bad_alloc();
    mpz_init(raw->value);
    return Handle(raw.release());
}

// A new handle holding zero with room for `limbs` limbs in the same block,
// saving the second allocation. GMP must never grow or free those limbs, so
// this serves only results known to fit: the caller sizes `limbs` by GMP's
// own bound for the operation.
Handle new_handle_with_room(size_t limbs, int line) {
    size_t max_limbs =
        (static_cast<size_t>(std::numeric_limits<long>::max()) - sizeof(TEVRA_BigInteger)) /
        sizeof(mp_limb_t);
    if (limbs == 0 || limbs > max_limbs || limbs > static_cast<size_t>(INT32_MAX))
        return new_handle(line);
    long bytes = static_cast<long>(sizeof(TEVRA_BigInteger) + limbs * sizeof(mp_limb_t));
    auto *n = static_cast<TEVRA_BigInteger *>(tevra_malloc(bytes, kFile, line));
    if (n == nullptr)
        throw std::bad_alloc();
    n->value->_mp_alloc = static_cast<int>(limbs);
    n->value->_mp_size = 0;
    n->value->_mp_d = inline_limbs(n);
    return Handle(n);
}

// Before GMP grows a handle in place, limbs stored inline move to a block of
// GMP's own, which it can reallocate; the inline ones are left unused. On
// an exception the handle is unchanged. Runs in a call of its own, so that
// the new block is kept even if the growth after it fails.
void own_limbs(TEVRA_BigInteger *n) {
    if (n->value->_mp_d != inline_limbs(n))
        return;
    mpz_t owned;
    mpz_init_set(owned, n->value);
    *n->value = *owned;
}

// Sets or clears (op) bit i of n in place; 1, or 0 with n unchanged.
int change_bit(TEVRA_BigInteger *n, long i, void (*op)(mpz_ptr, mp_bitcnt_t)) noexcept {
    if (n == nullptr || i < 0)
        return 0;
    if (!gmp_guarded(false, [&] { return own_limbs(n), true; }))
        return 0;
    // A failed reallocation throws before GMP touches the operand.
    return gmp_guarded(0, [&] {
        op(n->value, static_cast<mp_bitcnt_t>(i));
        return 1;
    });
}

// A GMP temporary cleared on every way out of its scope.
struct Mpz {
    mpz_t v;
    Mpz() { mpz_init(v); }
    ~Mpz() { clear_mpz(v); }
    Mpz(const Mpz &) = delete;
    Mpz &operator=(const Mpz &) = delete;
};

size_t bit_length(mpz_srcptr v) {
    return mpz_sgn(v) == 0 ? 0 : mpz_sizeinbase(v, 2);
}

size_t byte_length(mpz_srcptr v) {
    return (bit_length(v) + 7) / 8;
}

// Runs body, which returns a new handle; any exception gives NULL and
// whatever body had built is released by its holders.
template <class F> TEVRA_BigInteger *produce(F &&body) noexcept {
    return gmp_guarded<TEVRA_BigInteger *>(nullptr, [&] { return body().release(); });
}

TEVRA_BigInteger *unary(const TEVRA_BigInteger *a, void (*op)(mpz_ptr, mpz_srcptr)) noexcept {
    if (a == nullptr)
        return nullptr;
    return produce([&] {
        Handle r = new_handle(__LINE__);
        op(r->value, a->value);
        return r;
    });
}

TEVRA_BigInteger *binary(const TEVRA_BigInteger *a, const TEVRA_BigInteger *b,
                         void (*op)(mpz_ptr, mpz_srcptr, mpz_srcptr)) noexcept {
    if (a == nullptr || b == nullptr)
        return nullptr;
    return produce([&] {
        Handle r = new_handle(__LINE__);
        op(r->value, a->value, b->value);
        return r;
    });
}

// (a op b) mod m. GMP traps on a zero modulus, so that is refused first.
TEVRA_BigInteger *binary_mod(const TEVRA_BigInteger *a, const TEVRA_BigInteger *b,
                             const TEVRA_BigInteger *m,
                             void (*op)(mpz_ptr, mpz_srcptr, mpz_srcptr)) noexcept {
    if (a == nullptr || b == nullptr || m == nullptr || mpz_sgn(m->value) == 0)
        return nullptr;
    return produce([&] {
        Mpz t;
        op(t.v, a->value, b->value);
        Handle r = new_handle(__LINE__);
        mpz_mod(r->value, t.v, m->value);
        return r;
    });
}

// Reads big-endian bytes; with twos the first byte carries the sign.
TEVRA_BigInteger *from_bytes(const unsigned char *data, long length, bool twos) noexcept {
    if (length < 0 || (data == nullptr && length != 0))
        return nullptr;
    if (twos) {
        // Redundant sign bytes do not change the value.
        while (length >= 2 && ((data[0] == 0x00 && (data[1] & 0x80) == 0) ||
                               (data[0] == 0xFF && (data[1] & 0x80) != 0))) {
            ++data;
            --length;
        }
    }
    return produce([&] {
        Handle r = new_handle(__LINE__);
        if (length == 0)
            return r;
        if (!twos || (data[0] & 0x80) == 0) {
            mpz_import(r->value, static_cast<size_t>(length), 1, 1, 1, 0, data);
            return r;
        }
        // A set top bit stands for minus 2^(8 * length).
        Mpz bits, range;
        mpz_import(bits.v, static_cast<size_t>(length), 1, 1, 1, 0, data);
        mpz_setbit(range.v, static_cast<mp_bitcnt_t>(length) * 8);
        mpz_sub(r->value, bits.v, range.v);
        return r;
    });
}

// Writes the magnitude of v big-endian into width bytes; false when it
// does not fit.
bool magnitude_tonbuf(mpz_srcptr v, size_t width, unsigned char *out) {
    size_t bytes = byte_length(v);
    if (bytes > width)
        return false;
    std::memset(out, 0, width - bytes);
    if (bytes > 0)
        mpz_export(out + (width - bytes), nullptr, 1, 1, 1, 0, v);
    return true;
}

// Minimal two's complement encoding of v in a tevra_malloc'ed buffer.
TEVRA_DataBlob *encode_twos(mpz_srcptr v) {
    size_t n = byte_length(v);
    tevra::Owned<unsigned char> buf =
        tevra::alloc_buffer<unsigned char>(static_cast<long>(n + 1), kFile, __LINE__);
    tevra::Owned<TEVRA_DataBlob> blob(
        static_cast<TEVRA_DataBlob *>(tevra_malloc(sizeof(TEVRA_DataBlob), kFile, __LINE__)));
    if (!buf || !blob)
        return nullptr;
    unsigned char *p = buf.get();
    p[0] = 0x00;
    size_t length = n + 1;
    bool drop_lead = false;
    if (n == 0) {
        length = 1;
    } else {
        // The magnitude sits in p[1..n] behind one spare sign byte.
        mpz_export(p + 1, nullptr, 1, 1, 1, 0, v);
        if (mpz_sgn(v) < 0) {
            for (size_t i = 1; i <= n; ++i)
                p[i] = static_cast<unsigned char>(~p[i]);
            // Adds one; the carry cannot run past p[1] for a non-zero magnitude.
            for (size_t i = n; i >= 1; --i)
                if (++p[i] != 0)
                    break;
            if ((p[1] & 0x80) != 0)
                drop_lead = true;
            else
                p[0] = 0xFF;
        } else if ((p[1] & 0x80) == 0) {
            drop_lead = true;
        }
    }
    if (drop_lead) {
        std::memmove(p, p + 1, n);
        length = n;
    }
    blob->data = buf.release();
    blob->length = static_cast<long>(length);
    return blob.release();
}

// Sets bit k (0 = least significant) of a big-endian buffer of size bytes.
void set_buffer_bit(unsigned char *buf, size_t size, size_t k) {
    buf[size - 1 - k / 8] |= static_cast<unsigned char>(1u << (k % 8));
}

// GMP declares its primality test pure, which lets some compilers assume it
// cannot throw and drop the handlers around it; yet it allocates, and the
// allocation adapters throw. Calling through a pointer the compiler cannot
// see into keeps the exception path intact.
bool probably_prime(mpz_srcptr v, int rounds) {
    int (*test)(mpz_srcptr, int) = mpz_probab_prime_p;
    asm("" : "+r"(test));
    return test(v, rounds) != 0;
}

// Whether a prime of bits bits exists with the fixed bits flags imposes;
// only asked for small sizes, where some combinations have none and the
// generator would otherwise draw forever.
bool small_prime_form_exists(size_t bits, unsigned int flags) {
    const bool safe = (flags & TEVRA_BIGINTEGER_PRIME_SAFE) != 0;
    const bool two_top = (flags & TEVRA_BIGINTEGER_PRIME_TWO_TOP) != 0;
    for (unsigned long v = 1ul << (bits - 1); v < (1ul << bits); ++v) {
        if ((v & 1) == 0 || (safe && (v & 2) == 0))
            continue;
        if (two_top && bits >= 2 && (v & (1ul << (bits - 2))) == 0)
            continue;
        Mpz p, q;
        mpz_set_ui(p.v, v);
        mpz_set_ui(q.v, v >> 1);
        if (probably_prime(p.v, kFullRounds) && (!safe || probably_prime(q.v, kFullRounds)))
            return true;
    }
    return false;
}

TEVRA_BigInteger *generate_prime(TEVRA_BigIntegerRandom random, void *ctx, size_t bits,
                                 unsigned int flags) {
    const bool safe = (flags & TEVRA_BIGINTEGER_PRIME_SAFE) != 0;
    const bool two_top = (flags & TEVRA_BIGINTEGER_PRIME_TWO_TOP) != 0;
    const int rounds = (flags & TEVRA_BIGINTEGER_PRIME_FASTTEST) ? table_rounds(bits) : kFullRounds;
    const size_t size = (bits + 7) / 8;
    tevra::Owned<unsigned char> buf =
        tevra::alloc_buffer<unsigned char>(static_cast<long>(size), kFile, __LINE__);
    if (!buf)
        return nullptr;
    unsigned char *b = buf.get();
    for (;;) {
        if (random(ctx, b, static_cast<long>(size)) != 1)
            return nullptr;
        if (bits % 8 != 0)
            b[0] &= static_cast<unsigned char>((1u << (bits % 8)) - 1);
        set_buffer_bit(b, size, bits - 1);
        if (two_top)
            set_buffer_bit(b, size, bits - 2);
        set_buffer_bit(b, size, 0);
        if (safe)
            set_buffer_bit(b, size, 1);
        Handle p = new_handle(__LINE__);
        mpz_import(p->value, size, 1, 1, 1, 0, b);
        if (!probably_prime(p->value, rounds))
            continue;
        if (!safe)
            return p.release();
        // p is odd, so (p - 1) / 2 is p shifted right by one.
        Mpz q;
        mpz_tdiv_q_2exp(q.v, p->value, 1);
        if (probably_prime(q.v, rounds))
            return p.release();
    }
}

} // namespace

extern "C" {

TEVRA_API void tevra_biginteger_init(void) {
    mp_set_memory_functions(mymalloc, myrealloc, myfree);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_newdata(const unsigned char *data, long length) {
    return from_bytes(data, length, true);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_newunsigneddata(const unsigned char *data,
                                                             long length) {
    return from_bytes(data, length, false);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_new(long value) {
    return produce([&] {
        Handle r = new_handle(__LINE__);
        mpz_set_si(r->value, value);
        return r;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_newdec(const char *text) {
    if (text == nullptr)
        return nullptr;
    return produce([&] {
        Handle r = new_handle(__LINE__);
        if (mpz_set_str(r->value, text, 10) != 0)
            r.reset();
        return r;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_dup(const TEVRA_BigInteger *n) {
    return unary(n, mpz_set);
}

TEVRA_API void tevra_biginteger_free(TEVRA_BigInteger *n) {
    if (n != nullptr)
        HandleDeleter()(n);
}

TEVRA_API TEVRA_DataBlob *tevra_biginteger_getdata(const TEVRA_BigInteger *n) {
    if (n == nullptr)
        return nullptr;
    return gmp_guarded<TEVRA_DataBlob *>(nullptr, [&] { return encode_twos(n->value); });
}

TEVRA_API int tevra_biginteger_unsigned_tonbuf(const TEVRA_BigInteger *n, long width,
                                               unsigned char *out) {
    if (n == nullptr || width < 1 || out == nullptr || mpz_sgn(n->value) < 0)
        return 0;
    return gmp_guarded(
        0, [&] { return magnitude_tonbuf(n->value, static_cast<size_t>(width), out) ? 1 : 0; });
}

TEVRA_API int tevra_biginteger_unsigned_todec(const TEVRA_BigInteger *n, char **text,
                                              long *length) {
    if (n == nullptr || text == nullptr || mpz_sgn(n->value) < 0)
        return 0;
    return gmp_guarded(0, [&] {
        // sizeinbase may overstate by one digit; the terminator needs one more.
        long size = static_cast<long>(mpz_sizeinbase(n->value, 10)) + 2;
        tevra::Owned<char> buf = tevra::alloc_buffer<char>(size, kFile, __LINE__);
        if (!buf)
            return 0;
        mpz_get_str(buf.get(), 10, n->value);
        long len = static_cast<long>(std::strlen(buf.get()));
        *text = buf.release();
        if (length != nullptr)
            *length = len;
        return 1;
    });
}

TEVRA_API int tevra_biginteger_getvalue(const TEVRA_BigInteger *n, long *value) {
    if (n == nullptr || value == nullptr || bit_length(n->value) > 63)
        return 0;
    unsigned char bytes[8];
    if (!magnitude_tonbuf(n->value, sizeof bytes, bytes))
        return 0;
    uint64_t magnitude = 0;
    for (unsigned char byte : bytes)
        magnitude = (magnitude << 8) | byte;
    long v = static_cast<long>(magnitude);
    *value = mpz_sgn(n->value) < 0 ? -v : v;
    return 1;
}

TEVRA_API long tevra_biginteger_getbitcount(const TEVRA_BigInteger *n) {
    return n == nullptr ? 0 : static_cast<long>(bit_length(n->value));
}

TEVRA_API int tevra_biginteger_getsign(const TEVRA_BigInteger *n) {
    return n == nullptr ? 0 : mpz_sgn(n->value);
}

TEVRA_API int tevra_biginteger_cmp(const TEVRA_BigInteger *a, const TEVRA_BigInteger *b) {
    if (a == nullptr || b == nullptr)
        return (a != nullptr) - (b != nullptr);
    return mpz_cmp(a->value, b->value);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_add(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b) {
    return binary(a, b, mpz_add);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_sub(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b) {
    return binary(a, b, mpz_sub);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_mul(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b) {
    if (a == nullptr || b == nullptr)
        return nullptr;
    // A product never needs more limbs than its operands together, and with
    // that much room GMP multiplies straight into the output.
    return produce([&] {
        Handle r = new_handle_with_room(mpz_size(a->value) + mpz_size(b->value), __LINE__);
        mpz_mul(r->value, a->value, b->value);
        return r;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_div(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b,
                                                 TEVRA_BigInteger **remainder) {
    if (a == nullptr || b == nullptr || mpz_sgn(b->value) == 0)
        return nullptr;
    return produce([&] {
        Handle q = new_handle(__LINE__);
        Handle r = new_handle(__LINE__);
        mpz_tdiv_qr(q->value, r->value, a->value, b->value);
        if (remainder != nullptr)
            *remainder = r.release();
        return q;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_mod(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *m) {
    if (m == nullptr || mpz_sgn(m->value) == 0)
        return nullptr;
    return binary(a, m, mpz_mod);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_expmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *e,
                                                    const TEVRA_BigInteger *m) {
    if (a == nullptr || e == nullptr || m == nullptr || mpz_sgn(m->value) == 0)
        return nullptr;
    return produce([&] {
        // GMP traps when a negative exponent meets a non-invertible base.
        if (mpz_sgn(e->value) < 0) {
            Mpz inverse;
            if (mpz_invert(inverse.v, a->value, m->value) == 0)
                return Handle();
        }
        Handle r = new_handle(__LINE__);
        mpz_powm(r->value, a->value, e->value, m->value);
        return r;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_addmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *b,
                                                    const TEVRA_BigInteger *m) {
    return binary_mod(a, b, m, mpz_add);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_submod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *b,
                                                    const TEVRA_BigInteger *m) {
    return binary_mod(a, b, m, mpz_sub);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_mulmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *b,
                                                    const TEVRA_BigInteger *m) {
    return binary_mod(a, b, m, mpz_mul);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_sqrmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *m) {
    if (a == nullptr || m == nullptr || mpz_sgn(m->value) == 0)
        return nullptr;
    return produce([&] {
        Handle r = new_handle(__LINE__);
        mpz_powm_ui(r->value, a->value, 2, m->value);
        return r;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_gcd(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b) {
    return binary(a, b, mpz_gcd);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_lcm(const TEVRA_BigInteger *a,
                                                 const TEVRA_BigInteger *b) {
    return binary(a, b, mpz_lcm);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_invmod(const TEVRA_BigInteger *a,
                                                    const TEVRA_BigInteger *m) {
    if (a == nullptr || m == nullptr || mpz_sgn(m->value) == 0)
        return nullptr;
    return produce([&] {
        Handle r = new_handle(__LINE__);
        // Without an inverse GMP leaves an unspecified value; refuse instead.
        if (mpz_invert(r->value, a->value, m->value) == 0)
            return Handle();
        return r;
    });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_div_2(const TEVRA_BigInteger *a) {
    return unary(a, [](mpz_ptr r, mpz_srcptr v) { mpz_tdiv_q_2exp(r, v, 1); });
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_neg(const TEVRA_BigInteger *a) {
    return unary(a, mpz_neg);
}

TEVRA_API int tevra_biginteger_isprime(const TEVRA_BigInteger *n) {
    if (n == nullptr)
        return 0;
    return gmp_guarded(0, [&] { return probably_prime(n->value, kFullRounds) ? 1 : 0; });
}

TEVRA_API int tevra_biginteger_isprime_fasttest(const TEVRA_BigInteger *n) {
    if (n == nullptr)
        return 0;
    return gmp_guarded(
        0, [&] { return probably_prime(n->value, table_rounds(bit_length(n->value))) ? 1 : 0; });
}

TEVRA_API int tevra_biginteger_iseven(const TEVRA_BigInteger *n) {
    return n != nullptr && mpz_even_p(n->value) ? 1 : 0;
}

TEVRA_API int tevra_biginteger_isodd(const TEVRA_BigInteger *n) {
    return n != nullptr && mpz_odd_p(n->value) ? 1 : 0;
}

TEVRA_API int tevra_biginteger_testbit(const TEVRA_BigInteger *n, long i) {
    if (n == nullptr || i < 0)
        return 0;
    return mpz_tstbit(n->value, static_cast<mp_bitcnt_t>(i));
}

TEVRA_API int tevra_biginteger_setbit(TEVRA_BigInteger *n, long i) {
    return change_bit(n, i, mpz_setbit);
}

TEVRA_API int tevra_biginteger_clearbit(TEVRA_BigInteger *n, long i) {
    return change_bit(n, i, mpz_clrbit);
}

TEVRA_API TEVRA_BigInteger *tevra_biginteger_newprime(TEVRA_BigIntegerRandom random, void *ctx,
                                                      long bits, unsigned int flags) {
    if (random == nullptr || bits < 2)
        return nullptr;
    return gmp_guarded<TEVRA_BigInteger *>(nullptr, [&]() -> TEVRA_BigInteger * {
        size_t nbits = static_cast<size_t>(bits);
        if (nbits <= 8 && !small_prime_form_exists(nbits, flags))
            return nullptr;
        return generate_prime(random, ctx, nbits, flags);
    });
}

} // extern "C"
