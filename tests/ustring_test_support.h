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
