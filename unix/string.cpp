// Locale character set and conversions between named character sets and
// UTF-16 through iconv, with UTF-16BE as the pivot. Character sets iconv does
// not know go to the converters the application registered.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <strings.h>

#include "TEVRA_UString.h"
#include "TEVRA_Util.h"
#include "platform.h"

namespace {

constexpr char kFile[] = "unix/string";
constexpr long kFixedAnswerSize = 20;

// Process-wide hook slots: set by the application before conversions run.
void *g_mbstowcs_ctx = nullptr;
TEVRA_MbsToWcsCallback g_mbstowcs_hook = nullptr;
void *g_wcstombs_ctx = nullptr;
TEVRA_WcsToMbsCallback g_wcstombs_hook = nullptr;

const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

char *fixed_answer(const char *text) {
    auto *buf = static_cast<char *>(tevra_malloc(kFixedAnswerSize, kFile, __LINE__));
    if (buf != nullptr) {
        std::strncpy(buf, text, kFixedAnswerSize - 1);
        buf[kFixedAnswerSize - 1] = '\0';
    }
    return buf;
}

// Runs one iconv call over the whole input. The converter is closed. No
// call to reset the shift state follows: output in a stateful encoding ends
// in whatever state its last character left it, and needs no room for a
// closing escape.
bool run_iconv(iconv_t cd, const char *in, long in_len, char *out, long out_cap, long &produced) {
    char *inp = const_cast<char *>(in);
    size_t inleft = static_cast<size_t>(in_len);
    char *outp = out;
    size_t outleft = static_cast<size_t>(out_cap);
    bool ok = true;
    if (in_len > 0)
        ok = iconv(cd, &inp, &inleft, &outp, &outleft) != static_cast<size_t>(-1) && inleft == 0;
    iconv_close(cd);
    produced = static_cast<long>(outp - out);
    return ok;
}

} // namespace

namespace tevra::detail {

char *charset_upper_copy(const char *name) {
    if (name == nullptr)
        return nullptr;
    size_t n = std::strlen(name);
    auto *copy = static_cast<char *>(tevra_malloc(static_cast<long>(n + 1), kFile, __LINE__));
    if (copy == nullptr)
        return nullptr;
    for (size_t i = 0; i <= n; ++i) {
        char c = name[i];
        copy[i] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return copy;
}

} // namespace tevra::detail

extern "C" {

TEVRA_API char *tevra_ustring_getdefaultcharset(void) {
    const char *value = nullptr;
    static const char *const kVariables[] = {"LC_ALL", "LC_CTYPE", "LANG"};
    for (const char *name : kVariables) {
        const char *v = std::getenv(name);
        if (v != nullptr && *v != '\0') {
            value = v;
            break;
        }
    }
    if (value == nullptr || strcasecmp(value, "C") == 0)
        return fixed_answer("ISO8859-1");
    if (const char *dot = std::strchr(value, '.')) {
        const char *after = dot + 1;
        size_t total = std::strlen(after);
        const char *at = std::strchr(after, '@');
        size_t len = at != nullptr ? static_cast<size_t>(at - after) : total;
        auto *buf =
            static_cast<char *>(tevra_malloc(static_cast<long>(total + 1), kFile, __LINE__));
        if (buf == nullptr)
            return nullptr;
        std::memcpy(buf, after, len);
        buf[len] = '\0';
        return buf;
    }
    if (strcasecmp(value, "zh_CN") == 0)
        return fixed_answer("GBK");
    if (strcasecmp(value, "zh_TW") == 0 || strcasecmp(value, "zh_HK") == 0)
        return fixed_answer("BIG5");
    if (strcasecmp(value, "en_US") == 0 || strcasecmp(value, "en_GB") == 0)
        return fixed_answer("ISO8859-1");
    return nullptr;
}

TEVRA_API int tevra_imbstowcs(const char *charset, const char *input, long input_length,
                              unsigned short *output, long output_capacity, long *unit_count) {
    if (charset == nullptr || unit_count == nullptr || input_length < 0 || output_capacity < 0 ||
        (input == nullptr && input_length != 0) || (output == nullptr && output_capacity != 0) ||
        output_capacity > LONG_MAX / 2 - 1)
        return 0;
    iconv_t cd = iconv_open("UTF-16BE", charset);
    if (cd == kNoConverter) {
        if (g_mbstowcs_hook == nullptr)
            return 0;
        return g_mbstowcs_hook(g_mbstowcs_ctx, charset, input, input_length, output,
                               output_capacity, unit_count);
    }
    // The big-endian units go to a buffer of our own first, so a failed
    // conversion leaves the caller's output as it was.
    auto *be =
        static_cast<unsigned char *>(tevra_malloc(2 * output_capacity + 2, kFile, __LINE__));
    if (be == nullptr) {
        iconv_close(cd);
        return 0;
    }
    long produced = 0;
    if (!run_iconv(cd, input, input_length, reinterpret_cast<char *>(be), 2 * output_capacity,
                   produced) ||
        produced % 2 != 0) {
        tevra_free(be);
        return 0;
    }
    long units = produced / 2;
    for (long i = 0; i < units; ++i)
        output[i] = static_cast<unsigned short>((be[2 * i] << 8) | be[2 * i + 1]);
    tevra_free(be);
    *unit_count = units;
    return 1;
}

TEVRA_API int tevra_iwcstombs(const char *charset, const unsigned short *units, long unit_count,
                              char *output, long output_capacity, long *byte_count) {
    if (charset == nullptr || byte_count == nullptr || unit_count < 0 || output_capacity < 0 ||
        (units == nullptr && unit_count != 0) || (output == nullptr && output_capacity != 0) ||
        unit_count > LONG_MAX / 2)
        return 0;
    // The big-endian copy comes first: without memory for it the call
    // fails even when the hook would have taken the set.
    auto *be = static_cast<unsigned char *>(tevra_malloc(2 * unit_count + 2, kFile, __LINE__));
    if (be == nullptr)
        return 0;
    for (long i = 0; i < unit_count; ++i) {
        be[2 * i] = static_cast<unsigned char>(units[i] >> 8);
        be[2 * i + 1] = static_cast<unsigned char>(units[i]);
    }
    iconv_t cd = iconv_open(charset, "UTF-16BE");
    if (cd == kNoConverter) {
        tevra_free(be);
        if (g_wcstombs_hook == nullptr)
            return 0;
        return g_wcstombs_hook(g_wcstombs_ctx, charset, units, unit_count, output, output_capacity,
                               byte_count);
    }
    long produced = 0;
    bool ok = run_iconv(cd, reinterpret_cast<const char *>(be), 2 * unit_count, output,
                        output_capacity, produced);
    tevra_free(be);
    if (!ok)
        return 0;
    *byte_count = produced;
    return 1;
}

TEVRA_API int tevra_ustring_setmbstowcscallback(void *ctx, TEVRA_MbsToWcsCallback callback) {
    g_mbstowcs_ctx = ctx;
    g_mbstowcs_hook = callback;
    return 1;
}

TEVRA_API int tevra_ustring_setwcstombscallback(void *ctx, TEVRA_WcsToMbsCallback callback) {
    g_wcstombs_ctx = ctx;
    g_wcstombs_hook = callback;
    return 1;
}

} // extern "C"
