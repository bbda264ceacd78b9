// Runs the Unicode normalization conformance file through the four forms and
// reports how many of its checks pass. Every failure must be one the library
// produces on purpose; any other fails the test.
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ustring_test_support.h"

namespace {

using tevra_test::Str;
using CodePoints = std::vector<unsigned long>;

CodePoints parse_column(const std::string &text) {
    CodePoints cps;
    std::istringstream in(text);
    std::string word;
    while (in >> word)
        cps.push_back(std::stoul(word, nullptr, 16));
    return cps;
}

CodePoints normalize(const CodePoints &in, int form) {
    Str s(tevra_ustring_newutf32(in.data(), static_cast<long>(in.size())));
    Str r(tevra_ustring_normalize(s.get(), form));
    unsigned long *out = nullptr;
    long n = 0;
    if (r == nullptr || tevra_ustring_toutf32(r.get(), &out, &n) != 1)
        return {0xFFFFFFFF};
    CodePoints cps(out, out + n);
    tevra_free(out);
    return cps;
}

bool is_lv_syllable(unsigned long c) {
    return c >= 0xAC00 && c <= 0xD7A3 && (c - 0xAC00) % 28 == 0;
}
bool is_leading_jamo(unsigned long c) {
    return c >= 0x1100 && c <= 0x1112;
}

// The trailing-consonant rule composes an LV syllable (or a leading and a
// vowel jamo) with whatever follows at or above U+11A8, not only with the
// trailing consonants U+11A8..U+11C2.
bool open_ended_trailing_consonant(const CodePoints &expected) {
    for (size_t i = 0; i + 1 < expected.size(); ++i) {
        unsigned long next = expected[i + 1];
        bool lv = is_lv_syllable(expected[i]) ||
                  (is_leading_jamo(expected[i]) && next >= 0x1161 && next <= 0x1175);
        size_t after = is_lv_syllable(expected[i]) ? i + 1 : i + 2;
        if (lv && after < expected.size() && expected[after] > 0x11C2)
            return true;
    }
    return false;
}

struct Tally {
    long checks = 0, passed = 0;
    std::map<std::string, long> explained;
    std::vector<std::string> unexplained;
};

void check(Tally &t, const CodePoints &input, const CodePoints &expected, int form,
           const std::string &line) {
    ++t.checks;
    CodePoints got = normalize(input, form);
    if (got == expected) {
        ++t.passed;
        return;
    }
    bool composing = form == 2 || form == 4;
    if (composing && open_ended_trailing_consonant(expected))
        ++t.explained["open-ended trailing-consonant composition"];
    else
        t.unexplained.push_back("form " + std::to_string(form) + ": " + line);
}

TEST(NormalizationConformance, EveryFailureIsARequiredBehaviour) {
    std::ifstream file(TEVRA_SHARED_DATA "/ucd-8.0.0/NormalizationTest.txt");
    if (!file)
        GTEST_SKIP() << "NormalizationTest.txt not found under " TEVRA_SHARED_DATA;
    Tally t;
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#' || line[0] == '@')
            continue;
        std::vector<CodePoints> c;
        std::istringstream fields(line);
        std::string field;
        for (int k = 0; k < 5 && std::getline(fields, field, ';'); ++k)
            c.push_back(parse_column(field));
        ASSERT_EQ(c.size(), 5U) << line;
        // Columns: 1 source, 2 NFC, 3 NFD, 4 NFKC, 5 NFKD of the source.
        for (int k = 0; k < 5; ++k) {
            check(t, c[k], k < 3 ? c[1] : c[3], 2, line);
            check(t, c[k], k < 3 ? c[2] : c[4], 1, line);
            check(t, c[k], c[3], 4, line);
            check(t, c[k], c[4], 3, line);
        }
    }
    std::printf("normalization conformance: %ld of %ld checks pass\n", t.passed, t.checks);
    for (const auto &[why, count] : t.explained)
        std::printf("  %ld fail by %s\n", count, why.c_str());
    for (size_t i = 0; i < t.unexplained.size() && i < 20; ++i)
        std::printf("  unexplained: %s\n", t.unexplained[i].c_str());
    EXPECT_GT(t.checks, 0);
    EXPECT_TRUE(t.unexplained.empty()) << t.unexplained.size() << " unexplained failures";
}

} // namespace
