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
        "bcher-kv!", // not a digit
        "bcher-kv",  // the last number is cut short
        "b\xC3\xBC"
        "cher-kva",              // non-basic code point before the delimiter
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

} // namespace
