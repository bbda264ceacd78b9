// UTF-8 transcoding: validating decoder and encoder with SIMD block paths,
// and the UTF-8 constructor and exporter built on them.
#include <climits>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__SSE2__) && (defined(__x86_64__) || defined(__i386__))
#include <tmmintrin.h>
#define TEVRA_SSSE3_BLOCKS 1
#endif

#include "TEVRA_UString.h"
#include "TEVRA_UString_Internal.h"
#include "TEVRA_Util.h"

namespace {

using namespace tevra::detail;

// ---- UTF-8 decoding ----

// Extra units reserved behind a decoded string so that the ASCII fast path
// may store a whole 16-unit block before knowing how much of it is valid.
constexpr long kDecodeSlack = 16;

// Measures what a valid UTF-8 input decodes to: one character per byte that
// is not a continuation byte, one extra unit per four-byte lead. For invalid
// input the figures are an upper bound on what any valid prefix produces,
// which is all the decoder needs to stay inside its buffer.
void measure_utf8(const unsigned char *p, long n, long &chars, long &four_byte_leads) {
    long cont = 0, four = 0;
    long i = 0;
#if defined(__SSE2__)
    const __m128i cont_limit = _mm_set1_epi8(static_cast<char>(0xC0));
    const __m128i four_min = _mm_set1_epi8(static_cast<char>(0xF0));
    const __m128i zero = _mm_setzero_si128();
    while (n - i >= 16) {
        // Byte counters, flushed before they can wrap.
        __m128i acc_cont = zero, acc_four = zero;
        long rounds = 0;
        for (; rounds < 255 && n - i >= 16; ++rounds, i += 16) {
            __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i));
            if (_mm_movemask_epi8(v) == 0)
                continue;
            // Continuation bytes are 80..BF: below C0 as signed bytes.
            acc_cont = _mm_sub_epi8(acc_cont, _mm_cmplt_epi8(v, cont_limit));
            acc_four = _mm_sub_epi8(acc_four, _mm_cmpeq_epi8(_mm_max_epu8(v, four_min), v));
        }
        __m128i sc = _mm_sad_epu8(acc_cont, zero);
        __m128i sf = _mm_sad_epu8(acc_four, zero);
        cont += _mm_cvtsi128_si32(sc) + _mm_cvtsi128_si32(_mm_srli_si128(sc, 8));
        four += _mm_cvtsi128_si32(sf) + _mm_cvtsi128_si32(_mm_srli_si128(sf, 8));
    }
#endif
    for (; i < n; ++i) {
        cont += (p[i] & 0xC0) == 0x80;
        four += p[i] >= 0xF0;
    }
    chars = n - cont;
    four_byte_leads = four;
}

// Four input bytes as a little-endian word (one load on common hosts).
inline std::uint32_t load_le32(const unsigned char *p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

#if defined(TEVRA_SSSE3_BLOCKS)
// Runs of characters are transcoded with byte shuffles when the processor
// has them; the check runs once.
bool have_ssse3() {
#if defined(__SSSE3__)
    return true;
#else
    static const bool yes = (__builtin_cpu_init(), __builtin_cpu_supports("ssse3") != 0);
    return yes;
#endif
}

// Shuffle patterns that gather the bytes a block keeps from the lanes its
// units were spread over, and how many bytes that makes.
struct alignas(16) PackTable {
    unsigned char shuffle[256][16];
    unsigned char length[256];
};

// Eight 16-bit lanes holding the first byte low and the second high; bit k
// of the index is set when unit k keeps its second byte.
constexpr PackTable make_pack_two() {
    PackTable t{};
    for (int m = 0; m < 256; ++m) {
        int len = 0;
        for (int k = 0; k < 8; ++k) {
            t.shuffle[m][len++] = static_cast<unsigned char>(2 * k);
            if ((m >> k) & 1)
                t.shuffle[m][len++] = static_cast<unsigned char>(2 * k + 1);
        }
        t.length[m] = static_cast<unsigned char>(len);
        for (int j = len; j < 16; ++j)
            t.shuffle[m][j] = 0x80;
    }
    return t;
}

// Four 32-bit lanes holding up to three bytes, lowest first; bit k of the
// index is set when unit k keeps its second byte, bit k + 4 its third.
constexpr PackTable make_pack_three() {
    PackTable t{};
    for (int m = 0; m < 256; ++m) {
        int len = 0;
        for (int k = 0; k < 4; ++k) {
            t.shuffle[m][len++] = static_cast<unsigned char>(4 * k);
            if ((m >> k) & 1)
                t.shuffle[m][len++] = static_cast<unsigned char>(4 * k + 1);
            if ((m >> (k + 4)) & 1)
                t.shuffle[m][len++] = static_cast<unsigned char>(4 * k + 2);
        }
        t.length[m] = static_cast<unsigned char>(len);
        for (int j = len; j < 16; ++j)
            t.shuffle[m][j] = 0x80;
    }
    return t;
}

// Eight 16-bit lanes; bit k of the index is set when lane k is kept.
constexpr PackTable make_pack_lanes() {
    PackTable t{};
    for (int m = 0; m < 256; ++m) {
        int len = 0;
        for (int k = 0; k < 8; ++k) {
            if ((m >> k) & 1) {
                t.shuffle[m][len++] = static_cast<unsigned char>(2 * k);
                t.shuffle[m][len++] = static_cast<unsigned char>(2 * k + 1);
            }
        }
        t.length[m] = static_cast<unsigned char>(len / 2);
        for (int j = len; j < 16; ++j)
            t.shuffle[m][j] = 0x80;
    }
    return t;
}

constexpr PackTable kPackTwo = make_pack_two();
constexpr PackTable kPackThree = make_pack_three();
constexpr PackTable kPackLanes = make_pack_lanes();

// Lanes of yes where mask is set, of no elsewhere.
inline __m128i select(__m128i mask, __m128i yes, __m128i no) {
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

// The bytes of lanes that pattern index of t keeps, packed from byte 0.
__attribute__((target("ssse3"))) inline __m128i pack(__m128i lanes, const PackTable &t,
                                                     unsigned int index) {
    return _mm_shuffle_epi8(lanes,
                            _mm_load_si128(reinterpret_cast<const __m128i *>(t.shuffle[index])));
}

// Decodes a run of three-byte sequences five at a time (15 of 16 bytes
// loaded) while at least 16 bytes are left, stopping after the first block
// that holds anything else or a sequence that is overlong or a surrogate.
// Stores eight units per block, within kDecodeSlack. Returns the units
// written, three bytes each.
__attribute__((target("ssse3"))) long decode_three_byte_run(const unsigned char *p, long n,
                                                            unsigned short *o) {
    // Lanes 0-4: lead byte low, middle byte high; and the last bytes.
    const __m128i take_lead_mid =
        _mm_setr_epi8(0, 1, 3, 4, 6, 7, 9, 10, 12, 13, -1, -1, -1, -1, -1, -1);
    const __m128i take_last =
        _mm_setr_epi8(2, -1, 5, -1, 8, -1, 11, -1, 14, -1, -1, -1, -1, -1, -1, -1);
    const __m128i form_mask = _mm_set1_epi16(static_cast<short>(0xC0F0));
    const __m128i form = _mm_set1_epi16(static_cast<short>(0x80E0));
    const __m128i cont_mask = _mm_set1_epi16(0xC0);
    const __m128i cont = _mm_set1_epi16(0x80);
    const __m128i low4 = _mm_set1_epi16(0x0F);
    const __m128i mid6 = _mm_set1_epi16(0x3F00);
    const __m128i low6 = _mm_set1_epi16(0x3F);
    const __m128i top5 = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
    const __m128i zero = _mm_setzero_si128();
    long units = 0;
    while (n - 3 * units >= 16) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 3 * units));
        __m128i lead_mid = _mm_shuffle_epi8(v, take_lead_mid);
        __m128i last = _mm_shuffle_epi8(v, take_last);
        __m128i c = _mm_or_si128(_mm_or_si128(_mm_slli_epi16(_mm_and_si128(lead_mid, low4), 12),
                                              _mm_srli_epi16(_mm_and_si128(lead_mid, mid6), 2)),
                                 _mm_and_si128(last, low6));
        __m128i top = _mm_and_si128(c, top5);
        __m128i good = _mm_andnot_si128(
            _mm_or_si128(_mm_cmpeq_epi16(top, zero), _mm_cmpeq_epi16(top, surrogate)),
            _mm_and_si128(_mm_cmpeq_epi16(_mm_and_si128(lead_mid, form_mask), form),
                          _mm_cmpeq_epi16(_mm_and_si128(last, cont_mask), cont)));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(o + units), c);
        // Lanes 5-7 never qualify. The whole-block case advances by a
        // constant so the next load need not wait for this block's checks.
        unsigned int ok = static_cast<unsigned int>(_mm_movemask_epi8(good)) & 0x3FF;
        if (ok != 0x3FF) {
            units += __builtin_ctz(~ok) / 2;
            break;
        }
        units += 5;
    }
    return units;
}
// C2..DF: the leads of well-formed two-byte sequences.
__attribute__((target("ssse3"))) inline __m128i two_byte_leads(__m128i x) {
    const __m128i lead = _mm_set1_epi8(static_cast<char>(0xC0));
    __m128i form = _mm_cmpeq_epi8(_mm_and_si128(x, _mm_set1_epi8(static_cast<char>(0xE0))), lead);
    __m128i overlong =
        _mm_cmpeq_epi8(_mm_and_si128(x, _mm_set1_epi8(static_cast<char>(0xFE))), lead);
    return _mm_andnot_si128(overlong, form);
}

// Decodes a run of ASCII and two-byte sequences sixteen bytes at a time
// while at least 16 bytes are left, starting at p inside the input that
// begins at begin. Every continuation byte yields the unit of the pair it
// ends and every lead byte nothing, so a pair split across two blocks needs
// no carrying over. Stops before the first block that holds anything else
// or a malformed pair, and leaves a pair cut by the stop to the caller.
// Stores eight units per half block, within kDecodeSlack. Returns the bytes
// consumed and advances out past the units written.
__attribute__((target("ssse3"))) long decode_two_byte_run(const unsigned char *begin,
                                                          const unsigned char *p, long n,
                                                          unsigned short *&out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i below80 = _mm_set1_epi8(-1);
    const __m128i top2 = _mm_set1_epi8(static_cast<char>(0xC0));
    const __m128i cont = _mm_set1_epi8(static_cast<char>(0x80));
    const __m128i low5 = _mm_set1_epi16(0x1F);
    const __m128i low6 = _mm_set1_epi16(0x3F);
    unsigned short *o = out;
    long i = 0;
    while (n - i >= 16) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i));
        __m128i before = p + i > begin
                             ? _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i - 1))
                             : _mm_slli_si128(v, 1);
        __m128i is_cont = _mm_cmpeq_epi8(_mm_and_si128(v, top2), cont);
        __m128i is_lead = two_byte_leads(v);
        // Every byte ASCII, a lead or a continuation, and continuations
        // exactly where a lead comes before.
        __m128i ok =
            _mm_and_si128(_mm_or_si128(_mm_or_si128(_mm_cmpgt_epi8(v, below80), is_cont), is_lead),
                          _mm_cmpeq_epi8(is_cont, two_byte_leads(before)));
        if (_mm_movemask_epi8(ok) != 0xFFFF)
            break;
        unsigned int keep = ~static_cast<unsigned int>(_mm_movemask_epi8(is_lead)) & 0xFFFF;
        __m128i byte = _mm_unpacklo_epi8(v, zero);
        __m128i pair =
            _mm_or_si128(_mm_slli_epi16(_mm_and_si128(_mm_unpacklo_epi8(before, zero), low5), 6),
                         _mm_and_si128(byte, low6));
        __m128i lanes = select(_mm_unpacklo_epi8(is_cont, is_cont), pair, byte);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(o), pack(lanes, kPackLanes, keep & 0xFF));
        o += kPackLanes.length[keep & 0xFF];
        byte = _mm_unpackhi_epi8(v, zero);
        pair = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(_mm_unpackhi_epi8(before, zero), low5), 6),
                            _mm_and_si128(byte, low6));
        lanes = select(_mm_unpackhi_epi8(is_cont, is_cont), pair, byte);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(o), pack(lanes, kPackLanes, keep >> 8));
        o += kPackLanes.length[keep >> 8];
        i += 16;
    }
    // A lead ending the last block decoded has given nothing yet.
    if (i > 0 && (p[i - 1] & 0xC0) == 0xC0)
        --i;
    out = o;
    return i;
}
#endif

// Decodes and validates n bytes into out, which has room for every unit
// measure_utf8 counted plus kDecodeSlack. Returns the units written, or -1
// when the input is not well-formed UTF-8.
long decode_utf8(const unsigned char *p, long n, unsigned short *out) {
    [[maybe_unused]] const unsigned char *begin = p;
    const unsigned char *end = p + n;
    unsigned short *o = out;
    // While four bytes are left, a whole sequence (lead and continuation
    // bytes) is recognised with one mask test on a word.
    while (end - p >= 4) {
        std::uint32_t w = load_le32(p);
        if ((w & 0x80) == 0) {
#if defined(__SSE2__)
            if (end - p >= 16 && (w & 0x8000) == 0) {
                const __m128i zero = _mm_setzero_si128();
                do {
                    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
                    _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_unpacklo_epi8(v, zero));
                    _mm_storeu_si128(reinterpret_cast<__m128i *>(o + 8),
                                     _mm_unpackhi_epi8(v, zero));
                    int mask = _mm_movemask_epi8(v);
                    if (mask != 0) {
                        // Only the bytes before the first non-ASCII one count.
                        int k = __builtin_ctz(static_cast<unsigned int>(mask));
                        p += k;
                        o += k;
                        break;
                    }
                    p += 16;
                    o += 16;
                } while (end - p >= 16);
                continue;
            }
#endif
            *o++ = static_cast<unsigned short>(w & 0x7F);
            ++p;
        } else if ((w & 0xC0C0F0) == 0x8080E0) {
#if defined(TEVRA_SSSE3_BLOCKS)
            if (end - p >= 16 && have_ssse3()) {
                long k = decode_three_byte_run(p, end - p, o);
                p += 3 * k;
                o += k;
                if (k > 0)
                    continue;
            }
#endif
            std::uint32_t v = ((w & 0x0F) << 12) | ((w >> 2) & 0xFC0) | ((w >> 16) & 0x3F);
            if (v < 0x800 || is_surrogate(v))
                return -1;
            *o++ = static_cast<unsigned short>(v);
            p += 3;
        } else if ((w & 0xC0E0) == 0x80C0) {
#if defined(TEVRA_SSSE3_BLOCKS)
            if (end - p >= 16 && have_ssse3()) {
                long k = decode_two_byte_run(begin, p, end - p, o);
                p += k;
                if (k > 0)
                    continue;
            }
#endif
            std::uint32_t v = ((w & 0x1F) << 6) | ((w >> 8) & 0x3F);
            if (v < 0x80)
                return -1; // overlong: C0 and C1 leads
            *o++ = static_cast<unsigned short>(v);
            p += 2;
        } else if ((w & 0xC0C0C0F8) == 0x808080F0) {
            std::uint32_t v = ((w & 0x07) << 18) | ((w << 4) & 0x3F000) | ((w >> 10) & 0xFC0) |
                              ((w >> 24) & 0x3F);
            if (v < 0x10000 || v > 0x10FFFF)
                return -1;
            v -= 0x10000;
            o[0] = static_cast<unsigned short>(0xD800 | (v >> 10));
            o[1] = static_cast<unsigned short>(0xDC00 | (v & 0x3FF));
            o += 2;
            p += 4;
        } else {
            return -1; // stray continuation, F8..FF, or a missing continuation
        }
    }
    // The last few bytes, one test at a time; sequences cut short reject.
    while (p < end) {
        unsigned int b = *p;
        if (b < 0x80) {
            *o++ = static_cast<unsigned short>(b);
            ++p;
        } else if ((b & 0xE0) == 0xC0) {
            if (end - p < 2 || (p[1] & 0xC0) != 0x80)
                return -1;
            unsigned int v = ((b & 0x1F) << 6) | (p[1] & 0x3F);
            if (v < 0x80)
                return -1;
            *o++ = static_cast<unsigned short>(v);
            p += 2;
        } else if ((b & 0xF0) == 0xE0) {
            if (end - p < 3 || (((p[1] ^ 0x80) | (p[2] ^ 0x80)) & 0xC0) != 0)
                return -1;
            unsigned int v = ((b & 0x0F) << 12) | ((p[1] & 0x3F) << 6) | (p[2] & 0x3F);
            if (v < 0x800 || is_surrogate(v))
                return -1;
            *o++ = static_cast<unsigned short>(v);
            p += 3;
        } else {
            return -1; // a four-byte sequence needs four bytes; anything else is invalid
        }
    }
    return o - out;
}

// ---- UTF-8 encoding ----

// Exact UTF-8 length of n units: 1 byte below 80, 2 below 800, 3 above, and
// 2 for each surrogate (a pair makes 4).
long measure_utf16_as_utf8(const unsigned short *u, long n) {
    long total = 3 * n;
    long i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i lim1 = _mm_set1_epi16(0x7F);
    const __m128i lim2 = _mm_set1_epi16(0x7FF);
    const __m128i smask = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i sval = _mm_set1_epi16(static_cast<short>(0xD800));
    const __m128i ones = _mm_set1_epi16(1);
    while (n - i >= 8) {
        // Each lane falls by at most 3 a round; flush long before it wraps.
        __m128i acc = zero;
        for (long rounds = 0; rounds < 8192 && n - i >= 8; ++rounds, i += 8) {
            __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i));
            __m128i below80 = _mm_cmpeq_epi16(_mm_subs_epu16(v, lim1), zero);
            __m128i below800 = _mm_cmpeq_epi16(_mm_subs_epu16(v, lim2), zero);
            __m128i sur = _mm_cmpeq_epi16(_mm_and_si128(v, smask), sval);
            acc = _mm_add_epi16(acc, _mm_add_epi16(_mm_add_epi16(below80, below800), sur));
        }
        __m128i wide = _mm_madd_epi16(acc, ones);
        wide = _mm_add_epi32(wide, _mm_srli_si128(wide, 8));
        wide = _mm_add_epi32(wide, _mm_srli_si128(wide, 4));
        total += _mm_cvtsi128_si32(wide);
    }
#endif
    for (; i < n; ++i) {
        unsigned int c = u[i];
        total -= (c < 0x80) + (c < 0x800) + is_surrogate(c);
    }
    return total;
}

// Stores the low bytes of w, lowest first; writes four bytes whatever
// count the caller advances by.
inline void store_le32(unsigned char *o, std::uint32_t w) {
    o[0] = static_cast<unsigned char>(w);
    o[1] = static_cast<unsigned char>(w >> 8);
    o[2] = static_cast<unsigned char>(w >> 16);
    o[3] = static_cast<unsigned char>(w >> 24);
}

// Encodes units i..stop-1 one character at a time (a pair starting before
// stop is finished even if its low half lies at stop) into o, which has room
// for their UTF-8 form plus one byte: three-byte forms are stored as a
// four-byte word whose spare byte is overwritten by what follows. Returns
// the index reached, or -1 on a lone or reversed surrogate.
long encode_units(const unsigned short *u, long n, long i, long stop, unsigned char *&out) {
    unsigned char *o = out;
    while (i < stop) {
        std::uint32_t c = u[i];
        if (c < 0x80) {
#if defined(__SSE2__)
            // Every unit takes at least one byte, so with 16 units left there
            // are at least 16 bytes of room even if only some are ASCII. A
            // lone ASCII unit (a space between ideographs) skips the block.
            if (stop - i >= 16 && u[i + 1] < 0x80) {
                const __m128i lim = _mm_set1_epi16(0x7F);
                const __m128i zero = _mm_setzero_si128();
                do {
                    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i));
                    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i + 8));
                    _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_packus_epi16(a, b));
                    __m128i ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_subs_epu16(a, lim), zero),
                                                    _mm_cmpeq_epi16(_mm_subs_epu16(b, lim), zero));
                    unsigned int mask = static_cast<unsigned int>(_mm_movemask_epi8(ascii));
                    if (mask != 0xFFFF) {
                        int k = __builtin_ctz(~mask);
                        i += k;
                        o += k;
                        break;
                    }
                    i += 16;
                    o += 16;
                } while (stop - i >= 16);
                continue;
            }
#endif
            *o++ = static_cast<unsigned char>(c);
            ++i;
        } else if (c < 0x800) {
            o[0] = static_cast<unsigned char>(0xC0 | (c >> 6));
            o[1] = static_cast<unsigned char>(0x80 | (c & 0x3F));
            o += 2;
            ++i;
        } else if (!is_surrogate(c)) {
            store_le32(o, 0x8080E0 | (c >> 12) | ((c << 2) & 0x3F00) | ((c & 0x3F) << 16));
            o += 3;
            ++i;
        } else {
            if (!is_high_surrogate(c) || i + 1 >= n || !is_low_surrogate(u[i + 1]))
                return -1;
            std::uint32_t v = (((c & 0x3FF) << 10) | (u[i + 1] & 0x3FFu)) + 0x10000;
            store_le32(o, 0x808080F0 | (v >> 18) | ((v >> 4) & 0x3F00) | ((v << 10) & 0x3F0000) |
                              ((v & 0x3F) << 24));
            o += 4;
            i += 2;
        }
    }
    out = o;
    return i;
}

#if defined(TEVRA_SSSE3_BLOCKS)
// A block stores up to 28 bytes before knowing how many it keeps. Every unit
// left owns at least one byte of the output, so blocks run while 32 units
// remain and every store stays inside it.
constexpr long kBlockUnits = 32;

// Encodes blocks of eight units from the start of u while kBlockUnits are
// left, advancing out. Returns the units consumed (a high surrogate ending a
// block waits for the next one), or -1 on a lone or reversed surrogate.
__attribute__((target("ssse3"))) long encode_blocks(const unsigned short *u, long n,
                                                    unsigned char *&out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i max1 = _mm_set1_epi16(0x7F);
    const __m128i max2 = _mm_set1_epi16(0x7FF);
    const __m128i top5 = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i top6 = _mm_set1_epi16(static_cast<short>(0xFC00));
    const __m128i high = _mm_set1_epi16(static_cast<short>(0xD800));
    const __m128i low = _mm_set1_epi16(static_cast<short>(0xDC00));
    const __m128i low2 = _mm_set1_epi16(0x03);
    const __m128i low4 = _mm_set1_epi16(0x0F);
    const __m128i low6 = _mm_set1_epi16(0x3F);
    const __m128i low10 = _mm_set1_epi16(0x3FF);
    const __m128i plane1 = _mm_set1_epi16(0x40);
    const __m128i cont = _mm_set1_epi16(0x80);
    const __m128i lead2 = _mm_set1_epi16(0xC0);
    const __m128i lead3 = _mm_set1_epi16(0xE0);
    const __m128i lead4 = _mm_set1_epi16(0xF0);
    const __m128i not_ascii = _mm_set1_epi16(static_cast<short>(0xFF80));

    unsigned char *o = out;
    long i = 0;
    // Set when the block before ended on a high half: its two bytes are out
    // and this block must begin with the low half.
    bool pending = false;
    while (n - i >= kBlockUnits) {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i));
        __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i + 8));
        if (_mm_movemask_epi8(
                _mm_cmpeq_epi16(_mm_and_si128(_mm_or_si128(v, w), not_ascii), zero)) == 0xFFFF) {
            if (pending)
                return -1;
            _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_packus_epi16(v, w));
            i += 16;
            o += 16;
            continue;
        }
        __m128i one = _mm_cmpeq_epi16(_mm_subs_epu16(v, max1), zero);
        __m128i upto2 = _mm_cmpeq_epi16(_mm_subs_epu16(v, max2), zero);
        // Bits 0-7: unit k takes more than one byte; bits 8-15: three bytes
        // (or is a surrogate).
        unsigned int wide =
            ~static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(one, upto2))) & 0xFFFF;
        __m128i trail = _mm_or_si128(_mm_and_si128(v, low6), cont);
        __m128i sur = _mm_cmpeq_epi16(_mm_and_si128(v, top5), high);
        if (_mm_movemask_epi8(sur) == 0) {
            if (pending)
                return -1;
            if ((wide >> 8) == 0) {
                // One or two bytes each: lead byte low, trail byte high.
                __m128i two = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(v, 6), lead2),
                                           _mm_slli_epi16(trail, 8));
                __m128i lanes = select(one, v, two);
                _mm_storeu_si128(reinterpret_cast<__m128i *>(o), pack(lanes, kPackTwo, wide));
                o += kPackTwo.length[wide];
                i += 8;
                continue;
            }
            // Up to three bytes each, spread over 32-bit lanes four units
            // at a time.
            __m128i first = select(one, v,
                                   select(upto2, _mm_or_si128(_mm_srli_epi16(v, 6), lead2),
                                          _mm_or_si128(_mm_srli_epi16(v, 12), lead3)));
            __m128i second =
                select(upto2, trail, _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 6), low6), cont));
            __m128i pair = _mm_or_si128(first, _mm_slli_epi16(second, 8));
            unsigned int lo = (wide & 0x0F) | ((wide >> 4) & 0xF0);
            unsigned int hi = ((wide >> 4) & 0x0F) | ((wide >> 8) & 0xF0);
            _mm_storeu_si128(reinterpret_cast<__m128i *>(o),
                             pack(_mm_unpacklo_epi16(pair, trail), kPackThree, lo));
            o += kPackThree.length[lo];
            _mm_storeu_si128(reinterpret_cast<__m128i *>(o),
                             pack(_mm_unpackhi_epi16(pair, trail), kPackThree, hi));
            o += kPackThree.length[hi];
            i += 8;
            continue;
        }
        // Surrogates: each half of a pair gives two of its four bytes, so a
        // block of ASCII, two-byte units and whole pairs packs like two-byte
        // text. Bits 0-7 mark high halves, bits 8-15 low halves.
        __m128i is_high = _mm_cmpeq_epi16(_mm_and_si128(v, top6), high);
        __m128i is_low = _mm_cmpeq_epi16(_mm_and_si128(v, top6), low);
        unsigned int halves =
            static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(is_high, is_low)));
        unsigned int highs = halves & 0xFF, lows = halves >> 8;
        if ((((~wide >> 8) & 0xFF) | highs | lows) != 0xFF ||
            lows != (((highs << 1) | (pending ? 1u : 0u)) & 0xFF)) {
            // A three-byte unit among surrogates, or a half out of place:
            // one character at a time from the pending high half, which
            // also finds the faults.
            long stop = i + 8;
            if (pending) {
                --i;
                o -= 2;
                pending = false;
            }
            i = encode_units(u, n, i, stop, o);
            if (i < 0)
                return -1;
            continue;
        }
        // Code point bits 20-10 are the high half's ten bits plus 0x40.
        __m128i top = _mm_add_epi16(_mm_and_si128(v, low10), plane1);
        __m128i high_bytes = _mm_or_si128(
            _mm_or_si128(_mm_srli_epi16(top, 8), lead4),
            _mm_slli_epi16(_mm_or_si128(_mm_and_si128(_mm_srli_epi16(top, 2), low6), cont), 8));
        // The low half's first byte takes two bits from the high half before it.
        __m128i before = i > 0 ? _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i - 1))
                               : _mm_slli_si128(v, 2);
        __m128i low_bytes =
            _mm_or_si128(_mm_or_si128(_mm_slli_epi16(_mm_and_si128(before, low2), 4),
                                      _mm_and_si128(_mm_srli_epi16(v, 6), low4)),
                         _mm_or_si128(cont, _mm_slli_epi16(trail, 8)));
        __m128i two =
            _mm_or_si128(_mm_or_si128(_mm_srli_epi16(v, 6), lead2), _mm_slli_epi16(trail, 8));
        __m128i lanes = select(one, v, select(is_high, high_bytes, select(is_low, low_bytes, two)));
        unsigned int index = wide & 0xFF;
        _mm_storeu_si128(reinterpret_cast<__m128i *>(o), pack(lanes, kPackTwo, index));
        // Advancing by a whole block whatever it held keeps the next load
        // independent of this block's contents.
        o += kPackTwo.length[index];
        i += 8;
        pending = (highs & 0x80) != 0;
    }
    if (pending) {
        // The pair across the end is redone one character at a time.
        --i;
        o -= 2;
    }
    out = o;
    return i;
}
#endif

// Encodes n units into out, which has room for their UTF-8 form plus one
// byte; u[n] must be readable (the terminator). Returns the bytes written,
// or -1 on a lone or reversed surrogate.
long encode_utf8(const unsigned short *u, long n, unsigned char *out) {
    unsigned char *o = out;
    long i = 0;
#if defined(TEVRA_SSSE3_BLOCKS)
    if (have_ssse3())
        i = encode_blocks(u, n, o);
    if (i < 0)
        return -1;
#endif
    if (encode_units(u, n, i, n, o) < 0)
        return -1;
    return o - out;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_UString *tevra_ustring_newutf8(const unsigned char *bytes, long length) {
    if (bytes == nullptr && length == 0)
        return ustring_empty(__LINE__);
    if (bytes == nullptr || length < 0)
        return nullptr;
    long chars = 0, four = 0;
    measure_utf8(bytes, length, chars, four);
    TEVRA_UString *s = ustring_alloc(chars + four + 1 + kDecodeSlack, __LINE__);
    if (s == nullptr)
        return nullptr;
    long units = decode_utf8(bytes, length, s->units);
    if (units < 0) {
        tevra_ustring_free(s);
        return nullptr;
    }
    // Once every byte decoded, the measured figures are exact.
    ustring_finish(s, units, chars, four != 0);
    return s;
}

TEVRA_API int tevra_ustring_toutf8(const TEVRA_UString *s, unsigned char **out, long *out_length) {
    if (s == nullptr || out == nullptr || out_length == nullptr)
        return 0;
    long size = measure_utf16_as_utf8(s->units, s->unit_count);
    auto *buf = static_cast<unsigned char *>(tevra_malloc(size + 1, kUStringFile, __LINE__));
    if (buf == nullptr)
        return 0;
    long n = encode_utf8(s->units, s->unit_count, buf);
    if (n < 0) {
        tevra_free(buf);
        return 0;
    }
    buf[n] = 0;
    *out = buf;
    *out_length = n;
    return 1;
}

} // extern "C"
