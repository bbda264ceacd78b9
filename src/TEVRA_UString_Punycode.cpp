// Punycode: the bootstring encoding of domain labels with base 36, tmin 1,
// tmax 26, skew 38, damp 700, initial bias 72 and initial n 128.
#include <climits>

#include "TEVRA_UString_Prep.h"

namespace tevra::detail {

namespace {

constexpr unsigned long kBase = 36;
constexpr unsigned long kTMin = 1;
constexpr unsigned long kTMax = 26;
constexpr unsigned long kSkew = 38;
constexpr unsigned long kDamp = 700;
constexpr unsigned long kInitialBias = 72;
constexpr unsigned long kInitialN = 0x80;
constexpr unsigned short kDelimiter = '-';
// Deltas and positions stay below this; larger ones can only come from
// hostile input, which is refused rather than wrapped.
constexpr unsigned long kMaxValue = LONG_MAX;

unsigned long adapt(unsigned long delta, unsigned long points, bool first) {
    delta = first ? delta / kDamp : delta / 2;
    delta += delta / points;
    unsigned long k = 0;
    while (delta > ((kBase - kTMin) * kTMax) / 2) {
        delta /= kBase - kTMin;
        k += kBase;
    }
    return k + (kBase - kTMin + 1) * delta / (delta + kSkew);
}

// The threshold of digit position k under the current bias.
unsigned long threshold(unsigned long k, unsigned long bias) {
    if (k <= bias)
        return kTMin;
    if (k >= bias + kTMax)
        return kTMax;
    return k - bias;
}

unsigned short digit_char(unsigned long d) {
    return static_cast<unsigned short>(d < 26 ? 'a' + d : '0' + (d - 26));
}

// The value of a digit in either case, or kBase for anything else.
unsigned long digit_value(unsigned short c) {
    if (c >= 'a' && c <= 'z')
        return c - 'a';
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= '0' && c <= '9')
        return c - '0' + 26;
    return kBase;
}

// Writes q as a variable-length number in the digits of the current bias.
void encode_number(unsigned long q, unsigned long bias, Units &out) {
    for (unsigned long k = kBase;; k += kBase) {
        unsigned long t = threshold(k, bias);
        if (q < t)
            break;
        out.push_back(digit_char(t + (q - t) % (kBase - t)));
        q = (q - t) / (kBase - t);
    }
    out.push_back(digit_char(q));
}

// Reads one variable-length number from in[pos..count) and adds it to i.
bool decode_number(const unsigned short *in, long count, long &pos, unsigned long bias,
                   unsigned long &i) {
    unsigned long w = 1;
    for (unsigned long k = kBase;; k += kBase) {
        if (pos >= count)
            return false;
        unsigned long d = digit_value(in[pos++]);
        if (d >= kBase || d > (kMaxValue - i) / w)
            return false;
        i += d * w;
        unsigned long t = threshold(k, bias);
        if (d < t)
            return true;
        if (w > kMaxValue / (kBase - t))
            return false;
        w *= kBase - t;
    }
}

} // namespace

bool punycode_encode(const unsigned long *cps, long count, Units &out) {
    unsigned long handled = 0;
    for (long j = 0; j < count; ++j)
        if (cps[j] < 0x80) {
            out.push_back(static_cast<unsigned short>(cps[j]));
            ++handled;
        }
    const unsigned long basic = handled;
    if (basic > 0)
        out.push_back(kDelimiter);
    unsigned long n = kInitialN, delta = 0, bias = kInitialBias;
    while (handled < static_cast<unsigned long>(count)) {
        // The smallest code point not yet handled.
        unsigned long m = ULONG_MAX;
        for (long j = 0; j < count; ++j)
            if (cps[j] >= n && cps[j] < m)
                m = cps[j];
        if (m - n > (kMaxValue - delta) / (handled + 1))
            return false;
        delta += (m - n) * (handled + 1);
        n = m;
        for (long j = 0; j < count; ++j) {
            if (cps[j] < n && ++delta > kMaxValue)
                return false;
            if (cps[j] == n) {
                encode_number(delta, bias, out);
                bias = adapt(delta, handled + 1, handled == basic);
                delta = 0;
                ++handled;
            }
        }
        ++delta;
        ++n;
    }
    return true;
}

bool punycode_decode(const unsigned short *in, long count, CodePoints &out) {
    long basic = 0;
    for (long j = 0; j < count; ++j)
        if (in[j] == kDelimiter)
            basic = j;
    for (long j = 0; j < basic; ++j) {
        if (in[j] >= 0x80)
            return false;
        out.push_back(in[j]);
    }
    unsigned long n = kInitialN, i = 0, bias = kInitialBias;
    for (long pos = basic > 0 ? basic + 1 : 0; pos < count;) {
        unsigned long old_i = i;
        if (!decode_number(in, count, pos, bias, i))
            return false;
        unsigned long length = out.size() + 1;
        bias = adapt(i - old_i, length, old_i == 0);
        n += i / length;
        i %= length;
        if (n > 0x10FFFF)
            return false;
        out.insert(out.begin() + static_cast<long>(i), n);
        ++i;
    }
    return true;
}

} // namespace tevra::detail
