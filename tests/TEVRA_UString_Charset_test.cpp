// Named character sets, the locale's default set, the application hooks and
// wide characters.
#include <cstdlib>
#include <cwchar>

#include "ustring_test_support.h"

namespace {

using tevra_test::Str;
using tevra_test::U16;
using tevra_test::units_of;

TEVRA_UString *mbs(const char *charset, const std::string &bytes) {
    return tevra_ustring_newmbs(charset, bytes.data(), (long)bytes.size());
}

// The bytes of s in charset, or "<fail>".
std::string encoded(const TEVRA_UString *s, const char *charset) {
    char *out = nullptr;
    long n = -1;
    if (tevra_ustring_tombs(s, charset, &out, &n) != 1)
        return "<fail>";
    std::string t(out, static_cast<size_t>(n));
    EXPECT_EQ(out[n], '\0');
    tevra_free(out);
    return t;
}

std::string default_charset() {
    char *c = tevra_ustring_getdefaultcharset();
    std::string r = c != nullptr ? c : "<null>";
    tevra_free(c);
    return r;
}

class CharsetTest : public tevra_test::LeakCheck {
  protected:
    void TearDown() override {
        tevra_ustring_setmbstowcscallback(nullptr, nullptr);
        tevra_ustring_setwcstombscallback(nullptr, nullptr);
        LeakCheck::TearDown();
    }
};

TEST_F(CharsetTest, DefaultCharsetFollowsTheLocaleVariables) {
    const struct {
        const char *lc_all, *lc_ctype, *lang, *expected;
    } cases[] = {
        {nullptr, "", "de_DE.UTF-8@euro", "UTF-8"},
        {"ja_JP.eucJP", "fr_FR", "zh_CN", "eucJP"},
        {nullptr, "zh_TW", "en_US.UTF-8", "BIG5"},
        {nullptr, nullptr, "c", "ISO8859-1"},
        {nullptr, nullptr, "C", "ISO8859-1"},
        {nullptr, nullptr, "zh_hk", "BIG5"},
        {nullptr, nullptr, "ZH_CN", "GBK"},
        {nullptr, nullptr, "en_gb", "ISO8859-1"},
        {nullptr, nullptr, "fr_FR", "<null>"},
        {nullptr, nullptr, "POSIX", "<null>"},
        {nullptr, nullptr, "x.", ""},
        {nullptr, nullptr, nullptr, "ISO8859-1"},
    };
    for (const auto &c : cases) {
        tevra_test::LocaleEnv env(c.lc_all, c.lc_ctype, c.lang);
        EXPECT_EQ(default_charset(), c.expected) << (c.lang ? c.lang : "(unset)");
    }
}

TEST_F(CharsetTest, DecodingRoutesByUpperCasedName) {
    using std::string;
    // No units expected: the conversion must fail. The fixed-width routes read
    // eight bytes at a time and need at least that many.
    const struct {
        const char *charset;
        string bytes;
        U16 units;
    } cases[] = {
        {"utf-8", "caf\xC3\xA9", {'c', 'a', 'f', 0xE9}},
        {"Ascii", "caf\xC3\xA9", {}},
        {"ascii", "plain", {'p', 'l', 'a', 'i', 'n'}},
        {"iso-8859-1", "caf\xE9", {'c', 'a', 'f', 0xE9}},
        {"UTF-8", "\xC0\x80", {}},
        {"", "x", {}},
        {"NO-SUCH-CHARSET-X", "x", {}},
        {"UTF-16BE",
         string("\0\x41\xD8\x3D\xDE\0\0\x42\0\x43\0\x44", 12),
         {'A', 0xD83D, 0xDE00, 'B'}},
        {"utf-16le", string("\x41\0\x42\0\x43\0\x44\0\x45\0", 10), {'A', 'B', 'C', 'D'}},
        {"UTF-32BE", string("\0\x01\xF6\0\0\0\0\x41\0\0\0\x42", 12), {0xD83D, 0xDE00, 'A'}},
        {"UTF-32LE", string("\x41\0\0\0\0\xF6\x01\0", 8), {'A', 0xD83D, 0xDE00}},
        {"UTF-16BE", string("\0\x41", 2), {}},
        {"UTF-16LE", string("\0\xDC\x41\0\x42\0\x43\0", 8), {}},
        {"UTF-32BE", string("\0\x11\0\0\0\0\0\x41", 8), {}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(units_of(Str(mbs(c.charset, c.bytes)).get()), c.units) << c.charset;

    // Length 0 wins over everything; then the name must be present.
    Str e(tevra_ustring_newmbs("", nullptr, 0));
    ASSERT_TRUE(e);
    EXPECT_EQ(tevra_ustring_getcharcount(e.get()), 0);
    EXPECT_EQ(mbs(nullptr, "x"), nullptr);
    EXPECT_EQ(tevra_ustring_newmbs("UTF-8", nullptr, 1), nullptr);
    EXPECT_EQ(tevra_ustring_newmbs("UTF-8", "x", -1), nullptr);
}

TEST_F(CharsetTest, EncodingRoutes) {
    Str s(mbs("UTF-8", "A\xC3\xA9\xF0\x9F\x98\x80"));
    ASSERT_TRUE(s);
    EXPECT_EQ(encoded(s.get(), "utf-8"), "A\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(encoded(s.get(), "ASCII"), "<fail>");
    EXPECT_EQ(encoded(s.get(), "UTF-16BE"), std::string("\x00\x41\x00\xE9\xD8\x3D\xDE\x00", 8));
    EXPECT_EQ(encoded(s.get(), "UTF-16LE"), std::string("\x41\x00\xE9\x00\x3D\xD8\x00\xDE", 8));
    EXPECT_EQ(encoded(s.get(), "UTF-32BE"),
              std::string("\x00\x00\x00\x41\x00\x00\x00\xE9\x00\x01\xF6\x00", 12));
    EXPECT_EQ(encoded(s.get(), "ISO-8859-1"), "<fail>");
    EXPECT_EQ(encoded(s.get(), "GB18030"), "A\xA8\xA6\x94\x39\xFC\x36");
    Str ascii(mbs("UTF-8", "plain"));
    EXPECT_EQ(encoded(ascii.get(), "ascii"), "plain");
    Str latin(mbs("UTF-8", "caf\xC3\xA9"));
    EXPECT_EQ(encoded(latin.get(), "iso-8859-1"), "caf\xE9");
    Str empty(mbs("UTF-8", ""));
    EXPECT_EQ(encoded(empty.get(), "ISO-8859-1"), "");
    EXPECT_EQ(encoded(latin.get(), "NO-SUCH-CHARSET-X"), "<fail>");
    // One conversion call, no shift reset: the text stays in its two-byte
    // state and fits the four bytes a character reserved.
    Str jp(mbs("UTF-8", "\xE6\x97\xA5\xE6\x9C\xAC"));
    EXPECT_EQ(encoded(jp.get(), "ISO-2022-JP"), "\x1B$BF|K\\");
    char *out = nullptr;
    long n = 0;
    EXPECT_EQ(tevra_ustring_tombs(nullptr, "UTF-8", &out, &n), 0);
    EXPECT_EQ(tevra_ustring_tombs(latin.get(), nullptr, &out, &n), 0);
    EXPECT_EQ(tevra_ustring_tombs(latin.get(), "UTF-8", nullptr, &n), 0);
}

TEST_F(CharsetTest, Utf32LittleEndianTurnsEveryFourthGroup) {
    Str s(mbs("UTF-8", "ABCDEF"));
    std::string got = encoded(s.get(), "UTF-32LE");
    std::string expect;
    for (int g = 0; g < 6; ++g) {
        std::string be("\x00\x00\x00", 3);
        be += static_cast<char>('A' + g);
        expect += g % 4 == 0 ? std::string(be.rbegin(), be.rend()) : be;
    }
    EXPECT_EQ(got, expect);
}

struct HookLog {
    int calls = 0;
    std::string charset;
};

int mbs_hook(void *ctx, const char *charset, const char *in, long inlen, unsigned short *out,
             long cap, long *count) {
    auto *log = static_cast<HookLog *>(ctx);
    ++log->calls;
    log->charset = charset;
    if (inlen > cap)
        return 0;
    for (long i = 0; i < inlen; ++i)
        out[i] = static_cast<unsigned short>(0x3040 + static_cast<unsigned char>(in[i]) % 0x40);
    *count = inlen;
    return 1;
}

int wcs_hook(void *ctx, const char *charset, const unsigned short *in, long n, char *out, long cap,
             long *count) {
    auto *log = static_cast<HookLog *>(ctx);
    ++log->calls;
    log->charset = charset;
    if (n > cap)
        return 0;
    for (long i = 0; i < n; ++i)
        out[i] = static_cast<char>('a' + in[i] % 26);
    *count = n;
    return 1;
}

TEST_F(CharsetTest, UnknownCharsetsGoToTheHooks) {
    HookLog in_log, out_log;
    EXPECT_EQ(tevra_ustring_setmbstowcscallback(&in_log, mbs_hook), 1);
    EXPECT_EQ(tevra_ustring_setwcstombscallback(&out_log, wcs_hook), 1);
    Str s(mbs("x-tevra-Private", "\x01\x02"));
    ASSERT_TRUE(s);
    EXPECT_EQ(in_log.calls, 1);
    EXPECT_EQ(in_log.charset, "X-TEVRA-PRIVATE");
    EXPECT_EQ(units_of(s.get()), (U16{0x3041, 0x3042}));
    EXPECT_EQ(encoded(s.get(), "x-tevra-private"), "de");
    EXPECT_EQ(out_log.calls, 1);
    EXPECT_EQ(out_log.charset, "X-TEVRA-PRIVATE");
    // The big-endian copy is made before the set is looked up, so without
    // memory the hook is never reached.
    const unsigned short two[] = {'a', 'b'};
    char buf[4];
    long n = 0;
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(tevra_iwcstombs("X-TEVRA-PRIVATE", two, 2, buf, 4, &n), 0);
    tevra_test::fail_allocations_after(-1);
    EXPECT_EQ(out_log.calls, 1);
    // Sets iconv knows never reach the hooks.
    Str known(mbs("ISO-8859-1", "a"));
    EXPECT_EQ(encoded(known.get(), "ISO-8859-1"), "a");
    EXPECT_EQ(in_log.calls, 1);
    EXPECT_EQ(out_log.calls, 1);
}

TEST_F(CharsetTest, IconvWorkersFailCleanly) {
    unsigned short units[8] = {0x1234};
    long count = -1;
    EXPECT_EQ(tevra_imbstowcs("UTF-8", "ab\xE2\x82", 4, units, 8, &count), 0); // truncated
    EXPECT_EQ(units[0], 0x1234); // the output is only written on success
    EXPECT_EQ(tevra_imbstowcs("UTF-8", "abcdef", 6, units, 3, &count), 0);     // no room
    EXPECT_EQ(tevra_imbstowcs(nullptr, "ab", 2, units, 8, &count), 0);
    EXPECT_EQ(tevra_imbstowcs("NO-SUCH-CHARSET-X", "ab", 2, units, 8, &count), 0);
    ASSERT_EQ(tevra_imbstowcs("UTF-8", "a\xC3\xA9", 3, units, 8, &count), 1);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(units[1], 0xE9);

    char out[8];
    const unsigned short cjk[] = {0x4E2D};
    const unsigned short latin[] = {'a', 0xE9};
    EXPECT_EQ(tevra_iwcstombs("ISO-8859-1", cjk, 1, out, 8, &count), 0);
    EXPECT_EQ(tevra_iwcstombs("UTF-8", latin, 2, out, 2, &count), 0);
    EXPECT_EQ(tevra_iwcstombs(nullptr, latin, 2, out, 8, &count), 0);
    ASSERT_EQ(tevra_iwcstombs("ISO-8859-1", latin, 2, out, 8, &count), 1);
    EXPECT_EQ(std::string(out, static_cast<size_t>(count)), "a\xE9");
}

TEST_F(CharsetTest, WideCharactersRoundTrip) {
    const wchar_t text[] = {L'w', 0xE9, 0x1F600, 0x10FFFF, 0};
    Str s(tevra_ustring_newwcs(text));
    ASSERT_TRUE(s);
    EXPECT_EQ(tevra_ustring_getcharcount(s.get()), 4);
    wchar_t *back = tevra_ustring_towcs(s.get());
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(std::wcscmp(back, text), 0);
    tevra_free(back);
    const wchar_t sur[] = {L'a', 0xD800, 0};
    const wchar_t big[] = {0x110000, 0};
    const wchar_t neg[] = {-1, 0};
    EXPECT_EQ(tevra_ustring_newwcs(sur), nullptr);
    EXPECT_EQ(tevra_ustring_newwcs(big), nullptr);
    EXPECT_EQ(tevra_ustring_newwcs(neg), nullptr);
    EXPECT_EQ(tevra_ustring_newwcs(nullptr), nullptr);
    EXPECT_EQ(tevra_ustring_towcs(nullptr), nullptr);
    Str empty(tevra_ustring_newwcs(L""));
    wchar_t *none = tevra_ustring_towcs(empty.get());
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none[0], 0);
    tevra_free(none);
}

TEST_F(CharsetTest, FailedAllocationsLeaveNothingBehind) {
    using tevra_test::until_allocations_suffice;
    until_allocations_suffice([] { return Str(mbs("iso-8859-1", "caf\xE9 au lait")) != nullptr; });
    Str s(mbs("UTF-8", "caf\xC3\xA9")), plain(mbs("UTF-8", "cafe"));
    for (const char *charset : {"ISO-8859-1", "UTF-32LE", "UTF-16BE", "ascii"})
        until_allocations_suffice([&] { return encoded(plain.get(), charset) != "<fail>"; });
    until_allocations_suffice([&] {
        wchar_t *w = tevra_ustring_towcs(s.get());
        tevra_free(w);
        return w != nullptr;
    });
    for (const char *lang : {"en_US.UTF-8", "zh_CN"}) {
        tevra_test::LocaleEnv env(nullptr, nullptr, lang);
        until_allocations_suffice([] { return default_charset() != "<null>"; });
    }
}

} // namespace
