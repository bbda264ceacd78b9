// Unicode string core: constructors and their validation, exporters,
// comparison, concatenation, substring and search.
#include <cstring>
#include <random>

#include "ustring_test_support.h"

namespace {

using tevra_test::from8;
using tevra_test::put_utf8;
using tevra_test::Str;
using tevra_test::U16;
using tevra_test::units_of;

TEVRA_UString *from16(const U16 &u) {
    return tevra_ustring_newlength(u.data(), (long)u.size());
}

std::string utf8_of(const TEVRA_UString *s) {
    unsigned char *out = nullptr;
    long n = -1;
    if (tevra_ustring_toutf8(s, &out, &n) != 1)
        return "<fail>";
    std::string t(reinterpret_cast<char *>(out), static_cast<size_t>(n));
    EXPECT_EQ(out[n], 0);
    tevra_free(out);
    return t;
}

// Whether each of the other exporters accepts s.
bool exports_bmp(const TEVRA_UString *s) {
    unsigned char *out = nullptr;
    long n = 0;
    int ok = tevra_ustring_tobmp(s, &out, &n);
    tevra_free(out);
    return ok == 1;
}

class UStringTest : public tevra_test::LeakCheck {};

TEST_F(UStringTest, EveryConstructorGivesTheEmptyStringForNullAndZero) {
    for (TEVRA_UString *s :
         {tevra_ustring_new(nullptr), tevra_ustring_newlength(nullptr, 0),
          tevra_ustring_newutf8(nullptr, 0), tevra_ustring_newbmp(nullptr, 0),
          tevra_ustring_newutf32be(nullptr, 0), tevra_ustring_newutf32(nullptr, 0),
          tevra_ustring_newascii(nullptr, 0)}) {
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(tevra_ustring_getcharcount(s), 0);
        EXPECT_TRUE(units_of(s).empty());
        EXPECT_EQ(utf8_of(s), "");
        tevra_ustring_free(s);
    }
    unsigned char b[4] = {0, 0, 0, 0x41};
    EXPECT_EQ(tevra_ustring_newlength(nullptr, 1), nullptr);
    EXPECT_EQ(tevra_ustring_newutf8(nullptr, 1), nullptr);
    EXPECT_EQ(tevra_ustring_newbmp(nullptr, 2), nullptr);
    EXPECT_EQ(tevra_ustring_newutf32be(nullptr, 4), nullptr);
    EXPECT_EQ(tevra_ustring_newutf32(nullptr, 1), nullptr);
    EXPECT_EQ(tevra_ustring_newascii(nullptr, 1), nullptr);
    EXPECT_EQ(tevra_ustring_newlength(reinterpret_cast<unsigned short *>(b), -1), nullptr);
    EXPECT_EQ(tevra_ustring_newutf8(b, -1), nullptr);
    EXPECT_EQ(tevra_ustring_newbmp(b, -2), nullptr);
    EXPECT_EQ(tevra_ustring_newutf32be(b, -4), nullptr);
    EXPECT_EQ(tevra_ustring_newascii("a", -1), nullptr);
}

TEST_F(UStringTest, Utf8KeepsZeroBytesAndCountsSupplementaryOnce) {
    Str z(from8(std::string("a\0b", 3)));
    ASSERT_TRUE(z);
    EXPECT_EQ(tevra_ustring_getcharcount(z.get()), 3);
    EXPECT_EQ(units_of(z.get()), (U16{'a', 0, 'b'}));
    EXPECT_EQ(utf8_of(z.get()), std::string("a\0b", 3));

    Str e(from8("\xF0\x9F\x98\x80"));
    ASSERT_TRUE(e);
    EXPECT_EQ(tevra_ustring_getcharcount(e.get()), 1);
    EXPECT_EQ(units_of(e.get()), (U16{0xD83D, 0xDE00}));
    EXPECT_FALSE(exports_bmp(e.get()));
}

TEST_F(UStringTest, Utf8RoundTripsEveryCodePoint) {
    std::string all;
    std::vector<unsigned long> cps;
    for (unsigned long c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF)
            continue;
        put_utf8(all, c);
        cps.push_back(c);
    }
    Str s(from8(all));
    ASSERT_TRUE(s);
    EXPECT_EQ(tevra_ustring_getcharcount(s.get()), (long)cps.size());
    EXPECT_EQ(utf8_of(s.get()), all);

    unsigned long *out = nullptr;
    long count = 0;
    ASSERT_EQ(tevra_ustring_toutf32(s.get(), &out, &count), 1);
    ASSERT_EQ(count, (long)cps.size());
    EXPECT_TRUE(std::equal(cps.begin(), cps.end(), out));
    EXPECT_EQ(out[count], 0UL);
    tevra_free(out);
    Str from32(tevra_ustring_newutf32(cps.data(), (long)cps.size()));
    EXPECT_EQ(tevra_ustring_cmp(from32.get(), s.get()), 0);
}

TEST_F(UStringTest, FixedWidthAndUtf16ConstructorsValidateAndRoundTrip) {
    const auto *odd = reinterpret_cast<const unsigned char *>("\0\x41\0");
    EXPECT_EQ(tevra_ustring_newbmp(odd, 3), nullptr);
    EXPECT_EQ(tevra_ustring_newbmp((const unsigned char *)"\xD8\x3D\xDE\x00", 4), nullptr);
    Str b(tevra_ustring_newbmp((const unsigned char *)"\x00\x41\xFF\xFF", 4));
    EXPECT_EQ(units_of(b.get()), (U16{0x41, 0xFFFF}));
    unsigned char *out = nullptr;
    long len = 0;
    ASSERT_EQ(tevra_ustring_tobmp(b.get(), &out, &len), 1);
    EXPECT_EQ(len, 4);
    EXPECT_EQ(std::memcmp(out, "\x00\x41\xFF\xFF\x00\x00", 6), 0);
    tevra_free(out);

    const unsigned char u32[8] = {0, 0x01, 0xF6, 0x00, 0, 0, 0, 0x41};
    EXPECT_EQ(tevra_ustring_newutf32be(u32, 6), nullptr);
    for (const char *bad : {"\0\0\xD8\0", "\0\x11\0\0", "\x01\0\0\x41"})
        EXPECT_EQ(tevra_ustring_newutf32be((const unsigned char *)bad, 4), nullptr);
    Str w(tevra_ustring_newutf32be(u32, 8));
    EXPECT_EQ(tevra_ustring_getcharcount(w.get()), 2);
    EXPECT_EQ(units_of(w.get()), (U16{0xD83D, 0xDE00, 0x41}));
    ASSERT_EQ(tevra_ustring_toutf32be(w.get(), &out, &len), 1);
    EXPECT_EQ(len, 8);
    EXPECT_EQ(std::memcmp(out, u32, 8), 0);
    EXPECT_EQ(std::memcmp(out + 8, "\0\0\0\0", 4), 0);
    tevra_free(out);

    for (unsigned long bad : {0xDFFFUL, 0x110000UL, 0x100000041UL})
        EXPECT_EQ(tevra_ustring_newutf32(&bad, 1), nullptr) << bad;
    EXPECT_EQ(tevra_ustring_newascii("ab\x80", 3), nullptr);
    Str a(tevra_ustring_newascii("a\0b", 3));
    EXPECT_EQ(units_of(a.get()), (U16{'a', 0, 'b'}));

    for (const U16 &broken : {U16{0xDC00}, U16{0xDE00, 0xD83D}, U16{'a', 0xD83D}, U16{0xD83D, 'a'}})
        EXPECT_EQ(from16(broken), nullptr);
    const unsigned short z[] = {'h', 0xD83D, 0xDE00, 'i', 0, 'x'};
    Str s(tevra_ustring_new(z));
    EXPECT_EQ(tevra_ustring_getcharcount(s.get()), 3);
    EXPECT_EQ(units_of(s.get()), (U16{'h', 0xD83D, 0xDE00, 'i'}));
}

TEST_F(UStringTest, ReferenceCountingAndNullArguments) {
    TEVRA_UString *s = from8("shared");
    EXPECT_EQ(tevra_ustring_dup(s), s);
    EXPECT_EQ(tevra_ustring_dup(nullptr), nullptr);
    tevra_ustring_free(s);
    EXPECT_EQ(utf8_of(s), "shared"); // still held once
    unsigned char *b = nullptr;
    unsigned short *u = nullptr;
    unsigned long *l = nullptr;
    long n = 0;
    EXPECT_EQ(tevra_ustring_toutf8(nullptr, &b, &n), 0);
    EXPECT_EQ(tevra_ustring_toutf8(s, nullptr, &n), 0);
    EXPECT_EQ(tevra_ustring_toutf8(s, &b, nullptr), 0);
    EXPECT_EQ(tevra_ustring_toutf16(s, &u, nullptr), 0);
    EXPECT_EQ(tevra_ustring_tobmp(s, nullptr, &n), 0);
    EXPECT_EQ(tevra_ustring_toutf32be(nullptr, &b, &n), 0);
    EXPECT_EQ(tevra_ustring_toutf32(s, &l, nullptr), 0);
    tevra_ustring_free(s);
    tevra_ustring_free(nullptr);
    EXPECT_EQ(tevra_ustring_getcharcount(nullptr), 0);
}

TEST_F(UStringTest, CompareUsesCodePointOrderAndPrefixTakesOneCharacterMore) {
    Str ffff(from16({0xFFFF})), sup(from16({0xD800, 0xDC00})), e000(from16({0xE000}));
    Str abc(from8("abc")), abd(from8("abd")), ab(from8("ab")), abc2(from8("abc"));
    Str abcd(from8("abcd")), xyz(from8("xyz"));
    EXPECT_EQ(tevra_ustring_cmp(ffff.get(), sup.get()), -1);
    EXPECT_EQ(tevra_ustring_cmp(sup.get(), e000.get()), 1);
    EXPECT_EQ(tevra_ustring_cmp(abd.get(), abc.get()), 1);
    EXPECT_EQ(tevra_ustring_cmp(ab.get(), abc.get()), -1);
    EXPECT_EQ(tevra_ustring_cmp(abc.get(), abc2.get()), 0);
    EXPECT_EQ(tevra_ustring_cmp(nullptr, nullptr), 0);
    EXPECT_EQ(tevra_ustring_cmp(nullptr, abc.get()), -1);
    EXPECT_EQ(tevra_ustring_cmp(abc.get(), nullptr), 1);

    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), abd.get(), 2), -1);
    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), abcd.get(), 3), -1);
    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), abd.get(), 1), 0);
    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), xyz.get(), 0), 0);
    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), abd.get(), -1), -1);
    EXPECT_EQ(tevra_ustring_ncmp(abcd.get(), abc.get(), -5), 1);
    EXPECT_EQ(tevra_ustring_ncmp(nullptr, abc.get(), 0), -1);
    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), abc.get(), 7), 0);
    // Both shorter than n: whole strings by their last units.
    EXPECT_EQ(tevra_ustring_ncmp(abc.get(), abcd.get(), 10), -1);
    EXPECT_EQ(tevra_ustring_ncmp(abcd.get(), abc.get(), 10), 1);
    // Character-based end index over pairs: "a😀b" vs "a😀c" differ in
    // character 2; "😀ab" vs "😀ac" in character 2, which n = 1 does not reach.
    Str s1(from8("a\xF0\x9F\x98\x80"
                 "b")),
        s2(from8("a\xF0\x9F\x98\x80"
                 "c"));
    EXPECT_EQ(tevra_ustring_ncmp(s1.get(), s2.get(), 2), -1);
    Str t1(from8("\xF0\x9F\x98\x80"
                 "ab")),
        t2(from8("\xF0\x9F\x98\x80"
                 "ac"));
    EXPECT_EQ(tevra_ustring_ncmp(t1.get(), t2.get(), 1), 0);
    EXPECT_EQ(tevra_ustring_ncmp(t1.get(), t2.get(), 2), -1);
}

TEST_F(UStringTest, ConcatenationJoinsAndSharesWithNull) {
    Str a(from8("ab")), b(from8("\xF0\x9F\x98\x80"));
    EXPECT_EQ(tevra_ustring_cat(nullptr, nullptr), nullptr);
    Str same_a(tevra_ustring_cat(a.get(), nullptr)), same_b(tevra_ustring_cat(nullptr, b.get()));
    EXPECT_EQ(same_a.get(), a.get());
    EXPECT_EQ(same_b.get(), b.get());
    Str ab(tevra_ustring_cat(a.get(), b.get()));
    EXPECT_EQ(tevra_ustring_getcharcount(ab.get()), 3);
    EXPECT_EQ(utf8_of(ab.get()), "ab\xF0\x9F\x98\x80");
    EXPECT_FALSE(exports_bmp(ab.get())); // flag carried over
}

TEST_F(UStringTest, SubstringCountsCharacters) {
    Str s(from8("hello"));
    const struct {
        long start, count;
        const char *expected;
    } cases[] = {{0, -1, "hello"}, {1, 3, "ell"}, {3, 100, "lo"}};
    for (const auto &c : cases)
        EXPECT_EQ(utf8_of(Str(tevra_ustring_substring(s.get(), c.start, c.count)).get()),
                  c.expected);
    EXPECT_EQ(tevra_ustring_substring(s.get(), 5, 1), nullptr);
    EXPECT_EQ(tevra_ustring_substring(s.get(), 0, 0), nullptr);
    EXPECT_EQ(tevra_ustring_substring(s.get(), -1, 1), nullptr);
    EXPECT_EQ(tevra_ustring_substring(nullptr, 0, 1), nullptr);

    // x 😀 y 😀: characters 0..3.
    Str p(from8("x\xF0\x9F\x98\x80y\xF0\x9F\x98\x80"));
    Str tail(tevra_ustring_substring(p.get(), 1, -1));
    EXPECT_EQ(utf8_of(tail.get()), "\xF0\x9F\x98\x80y\xF0\x9F\x98\x80");
    EXPECT_EQ(tevra_ustring_getcharcount(tail.get()), 3);
    Str q(from8("x\xF0\x9F\x98\x80yz"));
    Str plain(tevra_ustring_substring(q.get(), 2, 1));
    EXPECT_EQ(units_of(plain.get()), U16{'y'});
    EXPECT_TRUE(exports_bmp(plain.get())); // no pair left inside
    EXPECT_EQ(utf8_of(Str(tevra_ustring_substring(q.get(), 1, 2)).get()), "\xF0\x9F\x98\x80y");

    // When the character after the range is supplementary the result keeps
    // its high surrogate and counts one character more.
    Str edge(tevra_ustring_substring(p.get(), 0, 1));
    ASSERT_TRUE(edge);
    EXPECT_EQ(units_of(edge.get()), (U16{'x', 0xD83D}));
    EXPECT_EQ(tevra_ustring_getcharcount(edge.get()), 2);
    Str edge2(tevra_ustring_substring(p.get(), 1, 2));
    EXPECT_EQ(units_of(edge2.get()), (U16{0xD83D, 0xDE00, 'y', 0xD83D}));
    EXPECT_EQ(tevra_ustring_getcharcount(edge2.get()), 3);
    unsigned char *out = nullptr;
    long len = 0;
    EXPECT_EQ(tevra_ustring_toutf8(edge.get(), &out, &len), 0);
    EXPECT_EQ(tevra_ustring_toutf32be(edge.get(), &out, &len), 0);
    unsigned long *cps = nullptr;
    EXPECT_EQ(tevra_ustring_toutf32(edge.get(), &cps, &len), 0);
}

// Position found, -1 when not found, -7 when the call refused to search.
long find_at(const TEVRA_UString *s, long start, const TEVRA_UString *pat) {
    long pos = -7;
    int r = tevra_ustring_find(s, start, pat, &pos);
    EXPECT_EQ(r == 1, pos >= 0);
    return r == 1 ? pos : (pos == -7 ? -7 : -1);
}

TEST_F(UStringTest, FindReportsCharacterPositions) {
    // Plain texts are compared with a naive search below.
    Str s(from8("aaaaabaaab")), p2(from8("ab")), empty(tevra_ustring_newutf8(nullptr, 0));
    EXPECT_EQ(find_at(s.get(), 4, empty.get()), 4);
    EXPECT_EQ(find_at(s.get(), 10, empty.get()), -7); // untouched
    EXPECT_EQ(find_at(s.get(), -1, p2.get()), -7);

    Str sup(from8("\xF0\x9F\x98\x80"
                  "a\xF0\x9F\x98\x80"
                  "ba\xF0\x9F\x98\x80"
                  "b"));
    Str pat(from8("a\xF0\x9F\x98\x80"
                  "b"));
    EXPECT_EQ(find_at(sup.get(), 0, pat.get()), 1);
    EXPECT_EQ(find_at(sup.get(), 2, pat.get()), 4);
    long pos = 0;
    EXPECT_EQ(tevra_ustring_find(sup.get(), 0, pat.get(), nullptr), 0);
    EXPECT_EQ(tevra_ustring_find(nullptr, 0, pat.get(), &pos), 0);

    // Against a naive search over two-letter texts.
    std::mt19937 rng(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text, pattern;
        for (int k = static_cast<int>(rng() % 20); k > 0; --k)
            text += "ab"[rng() % 2];
        for (int k = 1 + static_cast<int>(rng() % 5); k > 0; --k)
            pattern += "ab"[rng() % 2];
        long start = text.empty() ? 0 : static_cast<long>(rng() % text.size());
        size_t expect = text.empty() ? std::string::npos : text.find(pattern, (size_t)start);
        long got = find_at(Str(from8(text)).get(), start, Str(from8(pattern)).get());
        ASSERT_EQ(got, text.empty()                  ? -7
                       : expect == std::string::npos ? -1
                                                     : (long)expect)
            << text << " / " << pattern;
    }
}

TEST_F(UStringTest, FailedAllocationsLeaveNothingBehind) {
    using tevra_test::until_allocations_suffice;
    std::string text = "mixed \xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80 text";
    until_allocations_suffice([&] { return Str(from8(text)) != nullptr; });
    Str a(from8(text)), b(from8("\xE4\xB8\xAD"));
    until_allocations_suffice([&] { return Str(tevra_ustring_cat(a.get(), b.get())) != nullptr; });
    until_allocations_suffice(
        [&] { return Str(tevra_ustring_substring(a.get(), 2, 5)) != nullptr; });
    until_allocations_suffice([&] {
        long pos = 0;
        return tevra_ustring_find(a.get(), 0, b.get(), &pos) == 1;
    });
    until_allocations_suffice([&] { return utf8_of(a.get()) == text; });
    until_allocations_suffice([&] {
        unsigned long *out = nullptr;
        long n = 0;
        int ok = tevra_ustring_toutf32(a.get(), &out, &n);
        tevra_free(out);
        return ok == 1;
    });
}

} // namespace
