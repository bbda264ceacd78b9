// Fixed-width Unicode forms (UCS-2, UTF-32, UTF-16 export), named character
// sets through the platform converters, and wide-character strings.
#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include "TEVRA_UString.h"
#include "TEVRA_UString_Internal.h"
#include "TEVRA_Util.h"
#include "platform.h"

namespace {

using namespace tevra::detail;

// Decodes s into code points; false on a lone surrogate.
template <class T> bool to_code_points(const TEVRA_UString *s, T *out) {
    const unsigned short *u = s->units;
    long n = s->unit_count, k = 0;
    for (long i = 0; i < n; ++i) {
        unsigned int c = u[i];
        if (is_surrogate(c)) {
            if (!is_high_surrogate(c) || i + 1 >= n || !is_low_surrogate(u[i + 1]))
                return false;
            c = (((c & 0x3FF) << 10) | (u[i + 1] & 0x3FF)) + 0x10000;
            ++i;
        }
        out[k++] = static_cast<T>(c);
    }
    return true;
}

// Code point of an element: wide characters are read as unsigned 32-bit.
unsigned long code_point_of(unsigned long v) {
    return v;
}
unsigned long code_point_of(wchar_t v) {
    return static_cast<std::uint32_t>(v);
}

// A string from count code points, the i-th being value(i); NULL for
// surrogates or values above 10FFFF.
template <class Value> TEVRA_UString *from_values(long count, Value value, int line) {
    long sup = 0;
    for (long i = 0; i < count; ++i) {
        unsigned long v = value(i);
        if (!valid_code_point(v))
            return nullptr;
        sup += v >= 0x10000;
    }
    TEVRA_UString *s = ustring_alloc(count + sup + 1, line);
    if (s == nullptr)
        return nullptr;
    long o = 0;
    for (long i = 0; i < count; ++i)
        o += put_code_point(s->units + o, value(i));
    ustring_finish(s, o, count, sup != 0);
    return s;
}

template <class T> TEVRA_UString *from_code_points(const T *cp, long count, int line) {
    return from_values(
        count, [cp](long i) { return code_point_of(cp[i]); }, line);
}

// An upper-cased character-set name, released at scope exit.
struct CharsetName {
    explicit CharsetName(const char *name) : text(tevra::detail::charset_upper_copy(name)) {}
    ~CharsetName() { tevra_free(text); }
    CharsetName(const CharsetName &) = delete;
    CharsetName &operator=(const CharsetName &) = delete;
    bool is(const char *name) const { return std::strcmp(text, name) == 0; }
    char *text;
};

// The fixed-width Unicode routes read as many bytes as their name is long
// (8: four UTF-16 units or two UTF-32 code points), whatever the length
// given; an input shorter than that is refused rather than over-read.
TEVRA_UString *from_fixed_width(const CharsetName &name, const unsigned char *p, long length) {
    long take = static_cast<long>(std::strlen(name.text));
    if (length < take)
        return nullptr;
    bool big = name.is("UTF-16BE") || name.is("UTF-32BE");
    if (name.is("UTF-16BE") || name.is("UTF-16LE")) {
        if (take % 2 != 0)
            return nullptr;
        unsigned short units[4];
        for (long i = 0; i < take / 2; ++i) {
            unsigned int hi = p[2 * i + (big ? 0 : 1)], lo = p[2 * i + (big ? 1 : 0)];
            units[i] = static_cast<unsigned short>((hi << 8) | lo);
        }
        return tevra_ustring_newlength(units, take / 2);
    }
    if (take % 4 != 0)
        return nullptr;
    unsigned long cps[2];
    for (long i = 0; i < take / 4; ++i) {
        const unsigned char *q = p + 4 * i;
        unsigned long v = 0;
        for (int b = 0; b < 4; ++b)
            v = (v << 8) | q[big ? b : 3 - b];
        cps[i] = v;
    }
    return tevra_ustring_newutf32(cps, take / 4);
}

bool is_fixed_width(const CharsetName &name) {
    return name.is("UTF-16BE") || name.is("UTF-16LE") || name.is("UTF-32BE") || name.is("UTF-32LE");
}

} // namespace

extern "C" {

// ---- fixed-width constructors ----

TEVRA_API TEVRA_UString *tevra_ustring_newbmp(const unsigned char *bytes, long length) {
    if (bytes == nullptr && length == 0)
        return ustring_empty(__LINE__);
    if (bytes == nullptr || length < 0 || length % 2 != 0)
        return nullptr;
    long n = length / 2;
    for (long i = 0; i < n; ++i)
        if ((bytes[2 * i] & 0xF8) == 0xD8)
            return nullptr;
    TEVRA_UString *s = ustring_alloc(n + 1, __LINE__);
    if (s == nullptr)
        return nullptr;
    for (long i = 0; i < n; ++i)
        s->units[i] = static_cast<unsigned short>((bytes[2 * i] << 8) | bytes[2 * i + 1]);
    ustring_finish(s, n, n, false);
    return s;
}

TEVRA_API TEVRA_UString *tevra_ustring_newutf32be(const unsigned char *bytes, long length) {
    if (bytes == nullptr && length == 0)
        return ustring_empty(__LINE__);
    if (bytes == nullptr || length < 0 || length % 4 != 0)
        return nullptr;
    auto value = [bytes](long i) {
        const unsigned char *p = bytes + 4 * i;
        return (static_cast<unsigned long>(p[0]) << 24) | (static_cast<unsigned long>(p[1]) << 16) |
               (static_cast<unsigned long>(p[2]) << 8) | p[3];
    };
    return from_values(length / 4, value, __LINE__);
}

TEVRA_API TEVRA_UString *tevra_ustring_newutf32(const unsigned long *code_points, long count) {
    if (code_points == nullptr && count == 0)
        return ustring_empty(__LINE__);
    if (code_points == nullptr || count < 0)
        return nullptr;
    return from_code_points(code_points, count, __LINE__);
}

// ---- fixed-width exporters ----

TEVRA_API int tevra_ustring_toutf16(const TEVRA_UString *s, unsigned short **out, long *out_count) {
    if (s == nullptr || out == nullptr || out_count == nullptr)
        return 0;
    long n = s->unit_count;
    auto *buf = static_cast<unsigned short *>(tevra_malloc(2 * (n + 1), kUStringFile, __LINE__));
    if (buf == nullptr)
        return 0;
    std::memcpy(buf, s->units, 2 * static_cast<size_t>(n));
    buf[n] = 0;
    *out = buf;
    *out_count = n;
    return 1;
}

TEVRA_API int tevra_ustring_tobmp(const TEVRA_UString *s, unsigned char **out, long *out_length) {
    if (s == nullptr || out == nullptr || out_length == nullptr || s->has_supplementary != 0)
        return 0;
    long n = s->unit_count;
    auto *buf = static_cast<unsigned char *>(tevra_malloc(2 * n + 2, kUStringFile, __LINE__));
    if (buf == nullptr)
        return 0;
    for (long i = 0; i < n; ++i) {
        buf[2 * i] = static_cast<unsigned char>(s->units[i] >> 8);
        buf[2 * i + 1] = static_cast<unsigned char>(s->units[i]);
    }
    buf[2 * n] = 0;
    buf[2 * n + 1] = 0;
    *out = buf;
    *out_length = 2 * n;
    return 1;
}

TEVRA_API int tevra_ustring_toutf32be(const TEVRA_UString *s, unsigned char **out,
                                      long *out_length) {
    if (s == nullptr || out == nullptr || out_length == nullptr)
        return 0;
    long chars = s->char_count;
    auto *buf = static_cast<unsigned char *>(tevra_malloc(4 * chars + 4, kUStringFile, __LINE__));
    if (buf == nullptr)
        return 0;
    const unsigned short *u = s->units;
    long n = s->unit_count, o = 0;
    for (long i = 0; i < n; ++i) {
        unsigned long c = u[i];
        if (is_surrogate(c)) {
            if (!is_high_surrogate(c) || i + 1 >= n || !is_low_surrogate(u[i + 1])) {
                tevra_free(buf);
                return 0;
            }
            c = (((c & 0x3FF) << 10) | (u[i + 1] & 0x3FFUL)) + 0x10000;
            ++i;
        }
        buf[o] = static_cast<unsigned char>(c >> 24);
        buf[o + 1] = static_cast<unsigned char>(c >> 16);
        buf[o + 2] = static_cast<unsigned char>(c >> 8);
        buf[o + 3] = static_cast<unsigned char>(c);
        o += 4;
    }
    std::memset(buf + o, 0, 4);
    *out = buf;
    *out_length = o;
    return 1;
}

TEVRA_API int tevra_ustring_toutf32(const TEVRA_UString *s, unsigned long **out, long *out_count) {
    if (s == nullptr || out == nullptr || out_count == nullptr)
        return 0;
    *out_count = s->char_count;
    auto *buf = static_cast<unsigned long *>(tevra_malloc(
        static_cast<long>(sizeof(unsigned long)) * (s->char_count + 1), kUStringFile, __LINE__));
    if (buf == nullptr)
        return 0;
    // A string cut inside a pair has no code-point form; refuse it.
    if (!to_code_points(s, buf)) {
        tevra_free(buf);
        return 0;
    }
    buf[s->char_count] = 0;
    *out = buf;
    return 1;
}

// ---- named character sets and wide characters ----

TEVRA_API TEVRA_UString *tevra_ustring_newmbs(const char *charset, const char *bytes, long length) {
    if (length == 0)
        return ustring_empty(__LINE__);
    if (bytes == nullptr || length < 0 || charset == nullptr || *charset == '\0')
        return nullptr;
    CharsetName name(charset);
    if (name.text == nullptr)
        return nullptr;
    const auto *p = reinterpret_cast<const unsigned char *>(bytes);
    if (name.is("UTF-8"))
        return tevra_ustring_newutf8(p, length);
    if (name.is("ASCII"))
        return tevra_ustring_newascii(bytes, length);
    if (is_fixed_width(name))
        return from_fixed_width(name, p, length);
    if (length > LONG_MAX / 2 - 1)
        return nullptr;
    auto *units =
        static_cast<unsigned short *>(tevra_malloc(2 * length + 2, kUStringFile, __LINE__));
    if (units == nullptr)
        return nullptr;
    long count = 0;
    TEVRA_UString *s = nullptr;
    if (tevra_imbstowcs(name.text, bytes, length, units, length, &count) == 1 && count >= 0 &&
        count <= length)
        s = tevra_ustring_newlength(units, count);
    tevra_free(units);
    return s;
}

TEVRA_API int tevra_ustring_tombs(const TEVRA_UString *s, const char *charset, char **out,
                                  long *out_length) {
    if (s == nullptr || charset == nullptr || *charset == '\0' || out == nullptr ||
        out_length == nullptr)
        return 0;
    CharsetName name(charset);
    if (name.text == nullptr)
        return 0;
    auto **bytes_out = reinterpret_cast<unsigned char **>(out);
    if (name.is("UTF-8"))
        return tevra_ustring_toutf8(s, bytes_out, out_length);
    if (name.is("ASCII")) {
        for (long i = 0; i < s->unit_count; ++i)
            if (s->units[i] >= 0x80)
                return 0;
        return tevra_ustring_toutf8(s, bytes_out, out_length);
    }
    if (name.is("UTF-16BE") || name.is("UTF-16LE")) {
        bool big = name.is("UTF-16BE");
        long n = s->unit_count;
        auto *buf = static_cast<unsigned char *>(tevra_malloc(2 * n + 1, kUStringFile, __LINE__));
        if (buf == nullptr)
            return 0;
        for (long i = 0; i < n; ++i) {
            auto hi = static_cast<unsigned char>(s->units[i] >> 8);
            auto lo = static_cast<unsigned char>(s->units[i]);
            buf[2 * i] = big ? hi : lo;
            buf[2 * i + 1] = big ? lo : hi;
        }
        buf[2 * n] = 0;
        *out = reinterpret_cast<char *>(buf);
        *out_length = 2 * n;
        return 1;
    }
    if (name.is("UTF-32BE"))
        return tevra_ustring_toutf32be(s, bytes_out, out_length);
    if (name.is("UTF-32LE")) {
        unsigned char *buf = nullptr;
        long len = 0;
        if (tevra_ustring_toutf32be(s, &buf, &len) != 1)
            return 0;
        // Only groups 0, 4, 8, ... are turned around; the rest stay
        // big-endian. Callers depend on this exact output.
        for (long g = 0; g < len / 4; g += 4) {
            unsigned char *q = buf + 4 * g;
            unsigned char t0 = q[0], t1 = q[1];
            q[0] = q[3];
            q[1] = q[2];
            q[2] = t1;
            q[3] = t0;
        }
        *out = reinterpret_cast<char *>(buf);
        *out_length = len;
        return 1;
    }
    long cap = 4 * s->char_count;
    auto *buf = static_cast<char *>(tevra_malloc(cap + 1, kUStringFile, __LINE__));
    if (buf == nullptr)
        return 0;
    long len = 0;
    if (s->char_count > 0 &&
        (tevra_iwcstombs(name.text, s->units, s->unit_count, buf, cap, &len) != 1 || len < 0 ||
         len > cap)) {
        tevra_free(buf);
        return 0;
    }
    buf[len] = '\0';
    *out = buf;
    *out_length = len;
    return 1;
}

TEVRA_API wchar_t *tevra_ustring_towcs(const TEVRA_UString *s) {
    if (s == nullptr)
        return nullptr;
    auto *buf = static_cast<wchar_t *>(tevra_malloc(
        static_cast<long>(sizeof(wchar_t)) * (s->char_count + 1), kUStringFile, __LINE__));
    if (buf == nullptr)
        return nullptr;
    if (!to_code_points(s, buf)) {
        tevra_free(buf);
        return nullptr;
    }
    buf[s->char_count] = 0;
    return buf;
}

TEVRA_API TEVRA_UString *tevra_ustring_newwcs(const wchar_t *wide) {
    if (wide == nullptr)
        return nullptr;
    return from_code_points(wide, static_cast<long>(std::wcslen(wide)), __LINE__);
}

} // extern "C"
