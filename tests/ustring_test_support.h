// An owning handle and conversions shared by the Unicode string suites.
#ifndef TEVRA_USTRING_TEST_SUPPORT_H
#define TEVRA_USTRING_TEST_SUPPORT_H

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "test_support.h"

namespace tevra_test {

using U16 = std::vector<unsigned short>;

struct StrDeleter {
    void operator()(TEVRA_UString *s) const { tevra_ustring_free(s); }
};
using Str = std::unique_ptr<TEVRA_UString, StrDeleter>;

inline TEVRA_UString *from8(const std::string &t) {
    return tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(t.data()),
                                 static_cast<long>(t.size()));
}

// The UTF-16 units of s, terminator checked; empty when the export fails.
inline U16 units_of(const TEVRA_UString *s) {
    unsigned short *out = nullptr;
    long n = -1;
    if (tevra_ustring_toutf16(s, &out, &n) != 1)
        return {};
    U16 u(out, out + n);
    EXPECT_EQ(out[n], 0);
    tevra_free(out);
    return u;
}

// Reference UTF-8 encoder of one code point.
inline void put_utf8(std::string &out, unsigned long c) {
    static const unsigned char lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    int n = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    out += static_cast<char>(n == 1 ? c : lead[n] | (c >> (6 * (n - 1))));
    for (int k = n - 2; k >= 0; --k)
        out += static_cast<char>(0x80 | ((c >> (6 * k)) & 0x3F));
}

// Reference UTF-8 encoder of well-formed UTF-16 units.
inline std::string reference_utf8(const U16 &u) {
    std::string t;
    for (size_t i = 0; i < u.size(); ++i) {
        unsigned long c = u[i];
        if (c >= 0xD800 && c < 0xDC00)
            c = 0x10000 + ((c - 0xD800) << 10) + (u[++i] - 0xDC00);
        put_utf8(t, c);
    }
    return t;
}

// Reference UTF-8 decoder: whether t is well-formed, and if so its UTF-16
// units in *units (when given).
inline bool reference_decode(const std::string &t, U16 *units) {
    U16 u;
    for (size_t i = 0; i < t.size();) {
        unsigned b = static_cast<unsigned char>(t[i]);
        size_t len = b < 0x80                 ? 1
                     : b >= 0xC2 && b <= 0xDF ? 2
                     : b >= 0xE0 && b <= 0xEF ? 3
                     : b >= 0xF0 && b <= 0xF4 ? 4
                                              : 0;
        if (len == 0 || i + len > t.size())
            return false;
        unsigned long c = len == 1 ? b : b & (0xFFu >> (len + 1));
        for (size_t k = 1; k < len; ++k) {
            unsigned next = static_cast<unsigned char>(t[i + k]);
            if ((next & 0xC0) != 0x80)
                return false;
            c = (c << 6) | (next & 0x3F);
        }
        if ((len == 3 && (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF))) ||
            (len == 4 && (c < 0x10000 || c > 0x10FFFF)))
            return false;
        if (c >= 0x10000) {
            u.push_back(static_cast<unsigned short>(0xD800 + ((c - 0x10000) >> 10)));
            u.push_back(static_cast<unsigned short>(0xDC00 + (c & 0x3FF)));
        } else {
            u.push_back(static_cast<unsigned short>(c));
        }
        i += len;
    }
    if (units != nullptr)
        *units = u;
    return true;
}

// Sets LC_ALL, LC_CTYPE and LANG (NULL unsets) for a scope, then restores them.
class LocaleEnv {
  public:
    LocaleEnv(const char *lc_all, const char *lc_ctype, const char *lang) {
        const char *values[3] = {lc_all, lc_ctype, lang};
        for (int i = 0; i < 3; ++i) {
            const char *old = std::getenv(kNames[i]);
            saved_[i] = old != nullptr ? std::optional<std::string>(old) : std::nullopt;
            set(kNames[i], values[i]);
        }
    }
    ~LocaleEnv() {
        for (int i = 0; i < 3; ++i)
            set(kNames[i], saved_[i] ? saved_[i]->c_str() : nullptr);
    }
    LocaleEnv(const LocaleEnv &) = delete;
    LocaleEnv &operator=(const LocaleEnv &) = delete;

  private:
    static void set(const char *name, const char *value) {
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    static constexpr const char *kNames[3] = {"LC_ALL", "LC_CTYPE", "LANG"};
    std::optional<std::string> saved_[3];
};

} // namespace tevra_test

#endif
