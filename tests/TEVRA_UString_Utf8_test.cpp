// UTF-8 transcoding across the block boundaries of the vectorised paths:
// every mix of character widths at every position of short strings, long
// random mixes, and lone surrogates wherever they fall.
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TEVRA_UString.h"
#include "TEVRA_UString_Internal.h"
#include "TEVRA_Util.h"
#include "ustring_test_support.h"

namespace {

using tevra_test::reference_utf8;
using tevra_test::Str;
using tevra_test::U16;

// A string holding exactly these units, lone surrogates included.
Str raw_string(const U16 &u) {
    long n = static_cast<long>(u.size());
    TEVRA_UString *s = tevra::detail::ustring_alloc(n + 1, __LINE__);
    if (s != nullptr) {
        if (n > 0)
            std::memcpy(s->units, u.data(), 2 * u.size());
        tevra::detail::ustring_finish(s, n, n, false);
    }
    return Str(s);
}

// The units of well-formed UTF-8, or a single 0xFFFF.
U16 reference_units(const std::string &t) {
    U16 u;
    return tevra_test::reference_decode(t, &u) ? u : U16{0xFFFF};
}

// toutf8 of the units, or "<fail>"; the terminator is checked.
std::string encode(const U16 &u) {
    Str s = raw_string(u);
    unsigned char *out = nullptr;
    long n = -1;
    if (!s || tevra_ustring_toutf8(s.get(), &out, &n) != 1)
        return "<fail>";
    std::string t(reinterpret_cast<char *>(out), static_cast<size_t>(n));
    EXPECT_EQ(out[n], 0);
    tevra_free(out);
    return t;
}

// The units newutf8 makes of t; a single 0xFFFF unit when it refuses.
U16 decode(const std::string &t) {
    Str s(tevra_ustring_newutf8(reinterpret_cast<const unsigned char *>(t.data()),
                                static_cast<long>(t.size())));
    if (!s)
        return {0xFFFF};
    return U16(s->units, s->units + s->unit_count);
}

// One character of each width, as units: ASCII, two bytes, three bytes
// (at both ends of the range), and a pair.
const U16 kChars[] = {{'a'},           {0x7F},   {0xE9},   {0x7FF},          {0x800},
                      {0x4E2D},        {0xFFFD}, {0xFFFF}, {0xD83D, 0xDE00}, {0xDBFF, 0xDFFF},
                      {0xD800, 0xDC00}};

// Fillers the other characters are dropped into.
const U16 kFillers[] = {{'x'}, {0xE9}, {0x4E2D}, {0xD83D, 0xDE00}};

class UStringUtf8 : public tevra_test::LeakCheck {};

// Calls check(units, len, pos) with piece dropped at every position of every
// filler run of up to 48 characters.
template <class Check> void at_every_position(const U16 &piece, Check check) {
    for (const U16 &filler : kFillers) {
        for (size_t len = 0; len <= 48; ++len) {
            for (size_t pos = 0; pos <= len; ++pos) {
                U16 u;
                for (size_t k = 0; k <= len; ++k) {
                    const U16 &p = k == pos ? piece : filler;
                    u.insert(u.end(), p.begin(), p.end());
                }
                check(u, len, pos);
            }
        }
    }
}

TEST_F(UStringUtf8, EveryCharacterAtEveryPositionRoundTrips) {
    for (const U16 &c : kChars)
        at_every_position(c, [](const U16 &u, size_t len, size_t pos) {
            std::string want = reference_utf8(u);
            ASSERT_EQ(encode(u), want) << "len " << len << " pos " << pos;
            ASSERT_EQ(decode(want), u) << "len " << len << " pos " << pos;
        });
}

TEST_F(UStringUtf8, LongRandomMixesRoundTrip) {
    std::mt19937 rng(7);
    // Weights of ASCII, two-byte, three-byte and pair characters.
    const int mixes[][4] = {{60, 40, 0, 0},   {5, 0, 95, 0},  {30, 0, 0, 70},
                            {25, 25, 25, 25}, {0, 0, 50, 50}, {90, 3, 4, 3}};
    for (const auto &mix : mixes) {
        std::discrete_distribution<int> kind(
            {double(mix[0]), double(mix[1]), double(mix[2]), double(mix[3])});
        for (int round = 0; round < 20; ++round) {
            U16 u;
            size_t chars = 1 + rng() % 3000;
            for (size_t k = 0; k < chars; ++k) {
                switch (kind(rng)) {
                case 0:
                    u.push_back(static_cast<unsigned short>(rng() % 0x80));
                    break;
                case 1:
                    u.push_back(static_cast<unsigned short>(0x80 + rng() % 0x780));
                    break;
                case 2: {
                    unsigned short c = static_cast<unsigned short>(0x800 + rng() % 0xF800);
                    u.push_back((c & 0xF800) == 0xD800 ? 0xFFFD : c);
                    break;
                }
                default:
                    u.push_back(static_cast<unsigned short>(0xD800 + rng() % 0x400));
                    u.push_back(static_cast<unsigned short>(0xDC00 + rng() % 0x400));
                }
            }
            std::string want = reference_utf8(u);
            ASSERT_EQ(encode(u), want) << "round " << round;
            ASSERT_EQ(decode(want), u) << "round " << round;
        }
    }
}

TEST_F(UStringUtf8, LoneSurrogatesFailWhereverTheyFall) {
    // A lone high half, a lone low half, and a pair in the wrong order.
    for (const U16 &fault : {U16{0xD83D}, U16{0xDE00}, U16{0xDE00, 0xD83D}, U16{0xDBFF, 'a'}})
        at_every_position(fault, [](const U16 &u, size_t len, size_t pos) {
            ASSERT_EQ(encode(u), "<fail>") << "len " << len << " pos " << pos;
        });
}

TEST_F(UStringUtf8, MalformedSequencesAreRefusedAloneAndInsideRuns) {
    // Overlong forms, surrogates, values past U+10FFFF, sequences cut short,
    // stray and invalid bytes; alone they meet the byte-at-a-time tail.
    for (std::string bad :
         {"\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x80\x80\x80",
          "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80",
          "\xF7\xBF\xBF\xBF", "\xE2\x82", "\x80", "\xF8\x88\x80\x80\x80", "\xFF", "\xC3\x28",
          "\xE2\x28\xA1", "\xF0\x9F\x98", "\xF0\x9F\x28\x80"}) {
        EXPECT_EQ(decode(bad), U16{0xFFFF}) << testing::PrintToString(bad);
        EXPECT_EQ(decode(bad.insert(0, 37, 'x').append(20, 'y')), U16{0xFFFF});
    }
}

TEST_F(UStringUtf8, DamagedTextIsRefusedExactlyWhenMalformed) {
    // Runs of two- and three-byte characters long enough for the block
    // decoders, with one byte replaced or dropped at every position.
    const std::string texts[] = {
        reference_utf8(U16(40, 0xE9)) + "ab" + reference_utf8(U16(20, 0x7FF)),
        "x" + reference_utf8(U16(30, 0x4E2D)) + " " + reference_utf8(U16(12, 0xFFFD)),
        reference_utf8(U16{'a', 0xE9, 0xD83D, 0xDE00, 0x4E2D}) + std::string(20, 'z') +
            reference_utf8(U16(16, 0x80))};
    const unsigned char bytes[] = {0x00, 0x41, 0x7F, 0x80, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2,
                                   0xDF, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF};
    for (const std::string &text : texts) {
        ASSERT_EQ(decode(text), reference_units(text));
        for (size_t pos = 0; pos < text.size(); ++pos) {
            for (unsigned char b : bytes) {
                std::string t = text;
                t[pos] = static_cast<char>(b);
                ASSERT_EQ(decode(t), reference_units(t)) << "byte " << int(b) << " at " << pos;
            }
            std::string t = text;
            t.erase(pos, 1);
            ASSERT_EQ(decode(t), reference_units(t)) << "dropped at " << pos;
        }
    }
}

} // namespace
