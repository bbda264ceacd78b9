// Punycode, the Unicode 5.0 and stringprep lookups, nameprep and the IDN
// conversions of labels and names.
#include <string>
#include <vector>

#include "TEVRA_UString_Prep.h"
#include "ustring_test_support.h"

namespace {

using namespace tevra_test;
namespace detail = tevra::detail;
using CPs = std::vector<unsigned long>;

CPs ascii_cps(const std::string &t) {
    return CPs(t.begin(), t.end());
}
CPs join(CPs a, const CPs &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct PunycodeSample {
    CPs code_points;
    std::string encoded;
};

// Published bootstring samples: Arabic, Chinese, Czech, Hebrew, Japanese, mixed
// basic and non-basic text, an all-basic label, and one supplementary code point.
const PunycodeSample kPunycodeSamples[] = {
    {{0x644, 0x64A, 0x647, 0x645, 0x627, 0x628, 0x62A, 0x643, 0x644, 0x645, 0x648, 0x634, 0x639,
      0x631, 0x628, 0x64A, 0x61F},
     "egbpdaj6bu4bxfgehfvwxn"},
    {{0x4ED6, 0x4EEC, 0x4E3A, 0x4EC0, 0x4E48, 0x4E0D, 0x8BF4, 0x4E2D, 0x6587},
     "ihqwcrb4cv8a8dqg056pqjye"},
    {{0x50, 0x72, 0x6F, 0x10D, 0x70, 0x72, 0x6F,  0x73, 0x74, 0x11B, 0x6E,
      0x65, 0x6D, 0x6C, 0x75,  0x76, 0xED, 0x10D, 0x65, 0x73, 0x6B,  0x79},
     "Proprostnemluvesky-uyb24dma41a"},
    {{0x5DC, 0x5DE, 0x5D4, 0x5D4, 0x5DD, 0x5E4, 0x5E9, 0x5D5, 0x5D8, 0x5DC, 0x5D0,
      0x5DE, 0x5D3, 0x5D1, 0x5E8, 0x5D9, 0x5DD, 0x5E2, 0x5D1, 0x5E8, 0x5D9, 0x5EA},
     "4dbcagdahymbxekheh6e0a7fei0b"},
    {{0x306A, 0x305C, 0x307F, 0x3093, 0x306A, 0x65E5, 0x672C, 0x8A9E, 0x3092, 0x8A71, 0x3057,
      0x3066, 0x304F, 0x308C, 0x306A, 0x3044, 0x306E, 0x304B},
     "n8jok5ay5dzabd5bym9f0cm5685rrjetr6pdxa"},
    {{0x33, 0x5E74, 0x42, 0x7D44, 0x91D1, 0x516B, 0x5148, 0x751F}, "3B-ww4c5e180e575a65lsy2b"},
    {join({0x5B89, 0x5BA4, 0x5948, 0x7F8E, 0x6075}, ascii_cps("-with-SUPER-MONKEYS")),
     "-with-SUPER-MONKEYS-pc58ag80a8qai00g7n9n"},
    {join(ascii_cps("Hello-Another-Way-"),
          {0x305D, 0x308C, 0x305E, 0x308C, 0x306E, 0x5834, 0x6240}),
     "Hello-Another-Way--fc4qua05auwb3674vfr0b"},
    {{0x3072, 0x3068, 0x3064, 0x5C4B, 0x6839, 0x306E, 0x4E0B, 0x32}, "2-u9tlzr9756bt3uc0v"},
    {{0x4D, 0x61, 0x6A, 0x69, 0x3067, 0x4B, 0x6F, 0x69, 0x3059, 0x308B, 0x35, 0x79D2, 0x524D},
     "MajiKoi5-783gue6qz075azm5e"},
    {{0x30D1, 0x30D5, 0x30A3, 0x30FC, 0x64, 0x65, 0x30EB, 0x30F3, 0x30D0}, "de-jg4avhby1noc0d"},
    {{0x305D, 0x306E, 0x30B9, 0x30D4, 0x30FC, 0x30C9, 0x3067}, "d9juau41awczczp"},
    {ascii_cps("-> $1.00 <-"), "-> $1.00 <--"},
    {{0x1F600, 0x61}, "a-iv3s"},
};

std::string encode(const CPs &cps) {
    detail::Units out;
    EXPECT_TRUE(detail::punycode_encode(cps.data(), static_cast<long>(cps.size()), out));
    return std::string(out.begin(), out.end());
}

bool decode(const std::string &text, CPs &cps) {
    U16 units(text.begin(), text.end());
    detail::CodePoints out;
    bool ok = detail::punycode_decode(units.data(), static_cast<long>(units.size()), out);
    cps.assign(out.begin(), out.end());
    return ok;
}

TEST(Punycode, PublishedSamplesEncodeAndDecode) {
    for (const auto &sample : kPunycodeSamples) {
        EXPECT_EQ(encode(sample.code_points), sample.encoded);
        CPs back;
        EXPECT_TRUE(decode(sample.encoded, back)) << sample.encoded;
        EXPECT_EQ(back, sample.code_points) << sample.encoded;
    }
}

TEST(Punycode, DecodingReadsDigitsInEitherCase) {
    CPs lower, upper;
    ASSERT_TRUE(decode("ihqwcrb4cv8a8dqg056pqjye", lower));
    ASSERT_TRUE(decode("IHQWCRB4CV8A8DQG056PQJYE", upper));
    EXPECT_EQ(lower, upper);
}

TEST(Punycode, DecodingRefusesMalformedInput) {
    const char *bad[] = {
        "bcher-kv!",             // not a digit
        "bcher-kv",              // the last number is cut short
        "b\u00fccher-kva",       // non-basic code point before the delimiter
        "99999999999999999999a", // deltas beyond any code point
        "zzzzzzzzzzzzzzzzzzzzz", // weights that overflow
    };
    for (const char *text : bad) {
        CPs out;
        EXPECT_FALSE(decode(text, out)) << text;
    }
}

TEST(StringprepTables, BoundaryMembers) {
    EXPECT_TRUE(detail::is_bidi_ral(0x05BE));
    EXPECT_TRUE(detail::is_bidi_ral(0x07C0));
    EXPECT_TRUE(detail::is_bidi_ral(0x10A58));
    EXPECT_FALSE(detail::is_bidi_ral(0x0800));
    EXPECT_FALSE(detail::is_bidi_ral(0x05BD));
    EXPECT_TRUE(detail::is_not_left_to_right(0x0000));
    EXPECT_TRUE(detail::is_not_left_to_right(0xE01EF));
    EXPECT_FALSE(detail::is_not_left_to_right('a'));
    for (unsigned long mark : {0x0300ul, 0x0903ul, 0x20DDul, 0x07EBul, 0xE01EFul})
        EXPECT_TRUE(detail::is_combining_mark(mark)) << std::hex << mark;
    EXPECT_FALSE(detail::is_combining_mark('a'));
    EXPECT_TRUE(detail::is_not_ldh('_'));
    EXPECT_TRUE(detail::is_not_ldh('*'));
    EXPECT_FALSE(detail::is_not_ldh('-'));
    EXPECT_FALSE(detail::is_not_ldh('Z'));
    EXPECT_FALSE(detail::is_not_ldh(0x10000 + '_'));
    unsigned long to = 1;
    EXPECT_TRUE(detail::ldap_mapping(0x00AD, &to));
    EXPECT_EQ(to, 0u);
    EXPECT_TRUE(detail::ldap_mapping(0x3000, &to));
    EXPECT_EQ(to, 0x20u);
    EXPECT_FALSE(detail::ldap_mapping('a', &to));
}

TEST(StringprepTables, UnassignedByTableAndByRange) {
    struct Case {
        unsigned long cp;
        bool unassigned;
    };
    const Case cases[] = {
        {0x0370, true},   {0x0374, false}, {0x10A58, false}, {0x10A59, true},  {0x11FFF, true},
        {0x12000, false}, {0x1D800, true}, {0x1FFFE, false}, {0x2A6D7, true},  {0x30000, true},
        {0x3FFFE, false}, {0x40000, true}, {0xE00FF, true},  {0xE0100, false}, {0xE01F0, true},
        {0xF0000, false}, {0xFFFE, false}, {0xD800, true},   {'a', false},
    };
    for (const Case &c : cases) {
        unsigned short units[2];
        long n = 1;
        units[0] = static_cast<unsigned short>(c.cp);
        if (c.cp >= 0x10000) {
            units[0] = static_cast<unsigned short>(0xD800 | ((c.cp - 0x10000) >> 10));
            units[1] = static_cast<unsigned short>(0xDC00 | (c.cp & 0x3FF));
            n = 2;
        }
        EXPECT_EQ(detail::hasUnassignedCodePoint(units, n), c.unassigned ? 1 : 0)
            << std::hex << c.cp;
    }
}

// ---- the exported conversions ----

class Idn : public LeakCheck {};

constexpr unsigned kU = 1, kS = 2, kA = 4; // allowUnassigned, useSTD3, allowAsterisk
const char *const kRefused = nullptr;

std::string utf8_of(const TEVRA_UString *s) {
    unsigned char *out = nullptr;
    long n = 0;
    if (tevra_ustring_toutf8(s, &out, &n) != 1)
        return "<export failed>";
    std::string t(reinterpret_cast<char *>(out), static_cast<size_t>(n));
    tevra_free(out);
    return t;
}

// The ASCII form of a name (or label) as text, or "<refused>".
std::string to_ascii(const std::string &text, unsigned flags, bool label = false) {
    Str s(from8(text));
    char *out = nullptr;
    long n = -1;
    int ok = (label ? tevra_ustring_idnlabel_toascii : tevra_ustring_idn_toascii)(
        s.get(), flags & kU, flags & kS, flags & kA, &out, &n);
    if (ok != 1)
        return "<refused>";
    std::string t(out, static_cast<size_t>(n));
    EXPECT_EQ(out[n], '\0');
    tevra_free(out);
    return t;
}

struct AsciiCase {
    const char *input;
    unsigned flags;
    const char *expected; // kRefused when the conversion must fail
};

TEST_F(Idn, NamesToAscii) {
    const std::string a63(63, 'a');
    const AsciiCase cases[] = {
        {"Example.COM", 0, "Example.COM"},
        {"b\u00fccher", 0, "xn--bcher-kva"},
        {"B\u00dcCHER.de", 0, "xn--bcher-kva.de"},
        {"b\u00ad\u00fccher\u3002de", 0, "xn--bcher-kva.de"},
        {"a\uff0eb\uff61c", 0, "a.b.c"},
        {"\u4e2d\u6587.\u4e2d\u6587", 0, "xn--fiq228c.xn--fiq228c"},
        {"a_b.c", 0, "a_b.c"},
        {"a_b.c", kS, kRefused},
        {"-ab", kS, kRefused},
        {"ab-", kS, kRefused},
        {"a-b", kS, "a-b"},
        {"*.example", kS, kRefused},
        {"*.example", kS | kA, "*.example"},
        {"example.", 0, kRefused},
        {".example", 0, kRefused},
        {"a..b", 0, kRefused},
        {"\u0370", 0, kRefused},
        {"\u0370", kU, "xn--sva"},
        {"\U0001F600a", 0, kRefused},
        {"\U0001F600a", kU, "xn--a-iv3s"},
        {"\u05d0\u05d1", 0, "xn--4dbc"},
        {"\u05d0\u05d11", 0, kRefused},
        {"\u05d0a\u05d1", 0, kRefused},
        {"xn--abc", 0, "xn--abc"},
        {"xn--b\u00fccher", 0, kRefused},
        {"a\ue000", 0, kRefused},
        {"a\u200e", 0, kRefused},
        {"a\u0080", 0, kRefused},
        {"a\U000E0001", kU, kRefused},
        {"\u00ad", 0, kRefused},
    };
    for (const AsciiCase &c : cases)
        EXPECT_EQ(to_ascii(c.input, c.flags), c.expected ? c.expected : "<refused>") << c.input;
    EXPECT_EQ(to_ascii(a63, 0), a63);
    EXPECT_EQ(to_ascii(a63 + "a", 0), "<refused>");
    EXPECT_EQ(to_ascii(std::string(60, 'a') + "\u00fc", 0), "<refused>"); // ACE form too long
}

TEST_F(Idn, LabelToAsciiKeepsSeparatorsAndRefusesBadArguments) {
    EXPECT_EQ(to_ascii("a.b", 0, true), "a.b");
    EXPECT_EQ(to_ascii("a.b", kS, true), "<refused>");
    EXPECT_EQ(to_ascii("", 0, true), "<refused>");
    EXPECT_EQ(to_ascii("", 0), "<refused>");
    char *out = nullptr;
    long n = 0;
    Str s(from8("abc"));
    EXPECT_EQ(tevra_ustring_idnlabel_toascii(nullptr, 0, 0, 0, &out, &n), 0);
    EXPECT_EQ(tevra_ustring_idnlabel_toascii(s.get(), 0, 0, 0, nullptr, &n), 0);
    EXPECT_EQ(tevra_ustring_idn_toascii(s.get(), 0, 0, 0, &out, nullptr), 0);
    EXPECT_EQ(tevra_ustring_idn_stringprep(nullptr, 0), nullptr);
    EXPECT_EQ(tevra_ustring_idnlabel_tounicode(nullptr, 0, 0, 0), nullptr);
    EXPECT_EQ(tevra_ustring_idn_tounicode(nullptr, 0, 0, 0), nullptr);
}

TEST_F(Idn, LabelsToUnicodeOrBackUnchanged) {
    struct Case {
        const char *label;
        const char *decoded; // nullptr: the label itself comes back
    };
    const Case cases[] = {
        {"xn--bcher-kva", "b\u00fccher"},
        {"XN--BCHER-KVA", "B\u00fcCHER"},
        {"xn--a-iv3s", nullptr}, // unassigned in Unicode 5.0
        {"xn--bcher-kv!", nullptr},
        {"xn--!", nullptr},
        {"xn--", nullptr},
        {"xn--bcher-2pa", nullptr}, // decodes to an upper-case letter ToASCII would fold
        {"example", nullptr},
        {"", nullptr},
    };
    for (const Case &c : cases) {
        Str label(from8(c.label));
        Str out(tevra_ustring_idnlabel_tounicode(label.get(), 0, 0, 0));
        if (c.decoded == nullptr)
            EXPECT_EQ(out.get(), label.get()) << c.label;
        else
            EXPECT_EQ(utf8_of(out.get()), c.decoded) << c.label;
    }
    Str label(from8("xn--a-iv3s"));
    Str out(tevra_ustring_idnlabel_tounicode(label.get(), kU, 0, 0));
    EXPECT_EQ(utf8_of(out.get()), "\U0001F600a");
}

TEST_F(Idn, NamesToUnicode) {
    const std::pair<const char *, const char *> cases[] = {
        {"xn--bcher-kva.example", "b\u00fccher.example"},
        {"www\u3002xn--fiq228c", "www.\u4e2d\u6587"},
        {"a.", "a."},
        {".xn--bcher-kva", ".b\u00fccher"},
        {"", ""},
    };
    for (const auto &[name, expected] : cases) {
        Str s(from8(name));
        Str out(tevra_ustring_idn_tounicode(s.get(), 0, 0, 0));
        EXPECT_EQ(utf8_of(out.get()), expected) << name;
    }
}

TEST_F(Idn, FailedAllocationsLeaveNothingBehind) {
    Str name(from8("b\u00fccher.xn--fiq228c.example"));
    until_allocations_suffice([&] {
        char *out = nullptr;
        long n = 0;
        if (tevra_ustring_idn_toascii(name.get(), 0, 0, 0, &out, &n) != 1)
            return false;
        tevra_free(out);
        return true;
    });
    until_allocations_suffice([&] {
        Str out(tevra_ustring_idn_tounicode(name.get(), 0, 0, 0));
        return out && tevra_ustring_getcharcount(out.get()) == 17;
    });
}

// ---- LDAP string preparation ----

class Ldap : public LeakCheck {};

TEST_F(Ldap, PreparesEveryStringType) {
    struct Case {
        unsigned long type;
        const char *input;
        const char *expected; // kRefused when the result must be NULL
    };
    const Case cases[] = {
        {0, "", "  "},
        {0, "   ", "  "},
        {0, "a  b ", " a  b "},
        {1, " A b", " a  b "},
        {0, "A", " A "},
        {0, "a\u00adb\u3000c\tb", " ab  c  b "},
        {0, "a\u05d0b", " ab "},
        {3, "1 2 3", "123"},
        {3, " 1 \u0301", "1 \u0301"},
        {3, "", ""},
        {4, "1\u2010800 555", "1800555"},
        {5, "555-", "555"},
        {4, "-\u0301 1", "-\u03011"},
        {2, "a", kRefused},
        {6, "a", kRefused},
        {0, "a\ue000", kRefused},
        {0, "a\ufdd0", kRefused},
        {0, "a\ufffd", kRefused},
        {0, "a\U000F0000", kRefused},
        {1, "\u0370", kRefused},
    };
    for (const Case &c : cases) {
        Str s(from8(c.input));
        Str out(tevra_ustring_ldapi18nstringprep(c.type, s.get()));
        if (c.expected == kRefused)
            EXPECT_EQ(out, nullptr) << c.type << " " << c.input;
        else
            EXPECT_EQ(utf8_of(out.get()), c.expected) << c.type << " " << c.input;
    }
    EXPECT_EQ(tevra_ustring_ldapi18nstringprep(0, nullptr), nullptr);
}

TEST_F(Ldap, FailedAllocationsLeaveNothingBehind) {
    Str s(from8(" Tel 1-800 \u00e9"));
    until_allocations_suffice(
        [&] { return Str(tevra_ustring_ldapi18nstringprep(5, s.get())) != nullptr; });
}

} // namespace
