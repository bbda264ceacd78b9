// Normalization, case folding and the work buffer they edit.
#include <cstring>

#include "TEVRA_UString_Buffer.h"
#include "ustring_test_support.h"

namespace {

using tevra_test::Str;
using tevra_test::U16;
using tevra_test::units_of;
using CodePoints = std::vector<unsigned long>;

TEVRA_UString *from32(const CodePoints &cps) {
    return tevra_ustring_newutf32(cps.data(), static_cast<long>(cps.size()));
}

// Units as they are, lone surrogates included (no constructor accepts those).
TEVRA_UString *raw(const U16 &u) {
    TEVRA_UString *s = tevra::detail::ustring_alloc(static_cast<long>(u.size()) + 1, __LINE__);
    std::memcpy(s->units, u.data(), 2 * u.size());
    tevra::detail::ustring_finish(s, static_cast<long>(u.size()), static_cast<long>(u.size()),
                                  false);
    return s;
}

CodePoints cps_of(const TEVRA_UString *s) {
    unsigned long *out = nullptr;
    long n = 0;
    if (s == nullptr || tevra_ustring_toutf32(s, &out, &n) != 1)
        return {0xFFFFFFFF};
    CodePoints v(out, out + n);
    tevra_free(out);
    return v;
}

enum { NFD = 1, NFC = 2, NFKD = 3, NFKC = 4 };

class Normalize : public tevra_test::LeakCheck {};

// Forms 1..4 normalize; 11 and 12 fold case in mode 1 and 2.
TEVRA_UString *apply(const TEVRA_UString *s, int op) {
    return op > 10 ? tevra_ustring_tocasefold(s, op - 10) : tevra_ustring_normalize(s, op);
}
enum { FOLD = 11, FOLD_CLOSURE = 12 };

TEST_F(Normalize, FullPathAndCaseFoldingGiveTheExpectedCodePoints) {
    const unsigned long kOpenEnded = 0xAC00 + (0x4E00 - 0x11A7);
    struct Case {
        int op;
        CodePoints in, out;
    } cases[] = {
        // Through U+00C7: the one-level tables are applied again.
        {NFD, {0x1E08}, {0x43, 0x327, 0x301}},
        {NFC, {0x43, 0x327, 0x301}, {0x1E08}},
        {NFD, {0xAC01}, {0x1100, 0x1161, 0x11A8}},
        {NFC, {0x1100, 0x1161, 0x11A8}, {0xAC01}},
        {NFC, {0x1100, 0x1161, 0x4E00}, {kOpenEnded}},
        // Marks sorted by class; the lower class composes first.
        {NFD, {0x61, 0x301, 0x323}, {0x61, 0x323, 0x301}},
        {NFC, {0x61, 0x301, 0x323}, {0x1EA1, 0x301}},
        // A mark of equal class blocks the second one.
        {NFC, {0x61, 0x301, 0x301}, {0xE1, 0x301}},
        // Excluded composites stay apart.
        {NFC, {0x958}, {0x915, 0x93C}},
        {NFC, {0x1D15E}, {0x1D157, 0x1D165}},
        // Supplementary code points whose low bits look like a surrogate.
        {NFD, {0xC0, 0x1DC00, 0xFDF00}, {0x41, 0x300, 0x1DC00, 0xFDF00}},
        // Compatibility forms: canonical first, then the tagged mappings.
        {NFKD, {0x1E9B, 0x323}, {0x73, 0x323, 0x307}},
        {NFKC, {0x1E9B, 0x323}, {0x1E69}},
        {NFC, {0x1E9B, 0x323}, {0x1E9B, 0x323}},
        {NFKC, {0x33C6}, {0x43, 0x2215, 0x6B, 0x67}},
        {NFKC,
         {0xFDFA},
         {0x635, 0x644, 0x649, 0x20, 0x627, 0x644, 0x644, 0x647, 0x20, 0x639, 0x644, 0x64A, 0x647,
          0x20, 0x648, 0x633, 0x644, 0x645}},
        // Marks before the first starter are left as they are.
        {NFC, {0x301, 0x41, 0x301}, {0x301, 0xC1}},
        {FOLD, {0xDF}, {0x73, 0x73}},
        {FOLD, {0x130}, {0x69, 0x307}},
        {FOLD, {0x41, 0x1E9E, 0x10400}, {0x61, 0x73, 0x73, 0x10428}},
        {FOLD, {0x37A}, {0x37A}},
        {FOLD_CLOSURE, {0x37A}, {0x20, 0x3B9}},
        // Full folding wins over the closure, and a mapping is not folded again.
        {FOLD_CLOSURE, {0x41}, {0x61}},
        {FOLD_CLOSURE, {0x33C6}, {0x63, 0x2215, 0x6B, 0x67}},
    };
    for (const Case &c : cases) {
        Str s(from32(c.in));
        Str r(apply(s.get(), c.op));
        EXPECT_EQ(cps_of(r.get()), c.out) << "op " << c.op << " of U+" << std::hex << c.in[0];
        EXPECT_EQ(tevra_ustring_getcharcount(r.get()), static_cast<long>(c.out.size()));
    }
}

TEST_F(Normalize, QuickCheckHandsBackTheSameRecord) {
    struct Case {
        int form;
        CodePoints in;
    } cases[] = {
        {NFC, {0x48, 0xE9, 0x4E2D, 0x1F600}},
        {NFD, {0x65, 0x301}},
        {NFKC, {0x61}},
        // All plain yes, so the open-ended Hangul rule never sees it.
        {NFC, {0xAC00, 0x4E00}},
        {NFD, {}},
        {NFKD, {}},
    };
    for (const Case &c : cases) {
        Str s(from32(c.in));
        TEVRA_UString *r = tevra_ustring_normalize(s.get(), c.form);
        EXPECT_EQ(r, s.get()) << "form " << c.form;
        tevra_ustring_free(r);
    }
    // Maybe and no both take the full path, even when nothing changes.
    Str maybe(from32({0x61, 0x301, 0x62}));
    Str r(tevra_ustring_normalize(maybe.get(), NFC));
    EXPECT_NE(r.get(), maybe.get());
    EXPECT_EQ(cps_of(r.get()), (CodePoints{0xE1, 0x62}));
}

TEST_F(Normalize, BadArgumentsAndLoneSurrogates) {
    Str s(from32({0x41}));
    EXPECT_EQ(tevra_ustring_normalize(nullptr, NFC), nullptr);
    EXPECT_EQ(tevra_ustring_tocasefold(nullptr, 1), nullptr);
    for (int op : {0, 5, 10, 13})
        EXPECT_EQ(apply(s.get(), op), nullptr) << op;
    for (int form = NFD; form <= NFKC; ++form) {
        Str bad(raw({0xD800, 0x41}));
        EXPECT_EQ(tevra_ustring_normalize(bad.get(), form), nullptr);
        // A single unit is never ordered, so even a lone surrogate passes.
        Str one(raw({0xDC00}));
        Str r(tevra_ustring_normalize(one.get(), form));
        EXPECT_NE(r.get(), one.get());
        EXPECT_EQ(units_of(r.get()), U16{0xDC00});
    }
    // Case folding keeps a lone surrogate and always makes a new string.
    Str lone(raw({0x41, 0xD800}));
    EXPECT_EQ(units_of(Str(apply(lone.get(), FOLD)).get()), (U16{0x61, 0xD800}));
    Str empty(from32({}));
    Str folded(apply(empty.get(), FOLD));
    EXPECT_NE(folded.get(), empty.get());
}

TEST_F(Normalize, FailedAllocationsLeaveNothingBehind) {
    using tevra_test::until_allocations_suffice;
    Str text(from32({0x1E08, 0x41, 0x301, 0xAC01, 0x1F600, 0xFDFA}));
    for (int form = NFD; form <= NFKC; ++form)
        until_allocations_suffice(
            [&] { return Str(tevra_ustring_normalize(text.get(), form)) != nullptr; });
    for (int mode = 1; mode <= 2; ++mode)
        until_allocations_suffice(
            [&] { return Str(tevra_ustring_tocasefold(text.get(), mode)) != nullptr; });
}

// ---- the work buffer ----

struct BufferDeleter {
    void operator()(TEVRA_UString_Buffer *b) const { tevra::detail::ustring_buffer_free(b); }
};
using Buffer = std::unique_ptr<TEVRA_UString_Buffer, BufferDeleter>;

U16 contents(const TEVRA_UString_Buffer *b) {
    return U16(b->units, b->units + b->unit_count);
}

class WorkBuffer : public tevra_test::LeakCheck {};

TEST_F(WorkBuffer, AppendWritesAtTheCursorAndGrowsBelowFourSpareUnits) {
    Buffer b(tevra::detail::ustring_buffer_new(6));
    for (unsigned long cp : {0x41UL, 0x1F600UL, 0xD800UL, 0x110000UL})
        ASSERT_EQ(TEVRA_UString_Buffer_append(b.get(), &cp), 1);
    EXPECT_EQ(contents(b.get()), (U16{0x41, 0xD83D, 0xDE00}));
    EXPECT_EQ(b->char_count, 4); // invalid values are counted though dropped
    EXPECT_EQ(b->units[3], 0);
    EXPECT_EQ(b->capacity, ((6 + 1026) & ~7) + 16);
    // Appending at a cursor moved back cuts off what followed.
    b->cursor = 1;
    unsigned long b_ = 0x42;
    ASSERT_EQ(TEVRA_UString_Buffer_append(b.get(), &b_), 1);
    EXPECT_EQ(contents(b.get()), (U16{0x41, 0x42}));
}

TEST_F(WorkBuffer, BulkGrowthAddsTheRemainderByEight) {
    Buffer b(tevra::detail::ustring_buffer_new(16));
    U16 units(21, 0x61);
    ASSERT_EQ(TEVRA_UString_Buffer_appendwchars(b.get(), units.data(), 21), 1);
    long x = 16 + 21 + 1024;
    EXPECT_EQ(b->capacity, x + x % 8);
    EXPECT_EQ(b->cursor, 21);
    EXPECT_EQ(b->char_count, 0);
    EXPECT_EQ(TEVRA_UString_Buffer_appendwchars(b.get(), units.data(), -1), 0);

    // Decomposition grows when capacity - count + removed + 1 < 2n.
    Buffer d(tevra::detail::ustring_buffer_new(8));
    ASSERT_EQ(TEVRA_UString_Buffer_appendwchars(d.get(), units.data(), 4), 1);
    d->cursor = 1;
    CodePoints three{0x31, 0x32, 0x33};
    ASSERT_EQ(TEVRA_UString_Buffer_Decomposition(d.get(), three.data(), 3), 1);
    EXPECT_EQ(d->capacity, 8);
    ASSERT_EQ(TEVRA_UString_Buffer_Decomposition(d.get(), three.data(), 3), 1);
    x = 8 + 6 + 1024;
    EXPECT_EQ(d->capacity, x + x % 8);
    EXPECT_EQ(contents(d.get()), (U16{0x61, 0x31, 0x32, 0x33, 0x31, 0x32, 0x33, 0x61}));
    EXPECT_EQ(d->cursor, 7);
}

TEST_F(WorkBuffer, DecompositionAndCompositionEditInPlace) {
    Str s(from32({0x1F600, 0x41, 0x62}));
    Buffer b(tevra::detail::ustring_buffer_from(s.get()));
    EXPECT_EQ(b->capacity, (4 + 32) / 8 * 8 + 16);
    // A pair at the cursor is replaced whole; invalid values are dropped.
    CodePoints two{0x10000, 0xDC00, 0x43};
    ASSERT_EQ(TEVRA_UString_Buffer_Decomposition(b.get(), two.data(), 3), 1);
    EXPECT_EQ(contents(b.get()), (U16{0xD800, 0xDC00, 0x43, 0x41, 0x62}));
    EXPECT_EQ(b->cursor, 3);
    ASSERT_EQ(TEVRA_UString_Buffer_Decomposition(b.get(), nullptr, 0), 1);
    EXPECT_EQ(contents(b.get()), (U16{0xD800, 0xDC00, 0x43, 0x62}));

    // The starter at the cursor takes the composite; the combined character goes.
    b->cursor = 0;
    b->char_count = 3;
    TEVRA_UString_Buffer_Composition(b.get(), 0x45, 3, 1);
    EXPECT_EQ(contents(b.get()), (U16{0x45, 0x43}));
    EXPECT_EQ(b->char_count, 2);
    TEVRA_UString_Buffer_Composition(b.get(), 0x20000, 1, 1);
    EXPECT_EQ(contents(b.get()), (U16{0xD840, 0xDC00}));
    EXPECT_EQ(b->cursor, 0);
}

TEST_F(WorkBuffer, HandsItsUnitsToANewString) {
    Buffer b(tevra::detail::ustring_buffer_new(4));
    U16 pair{0xD83D, 0xDE00, 0x41};
    ASSERT_EQ(TEVRA_UString_Buffer_appendwchars(b.get(), pair.data(), 3), 1);
    b->char_count = 2;
    const unsigned short *units = b->units;
    Str s(tevra::detail::ustring_buffer_to_string(b.release()));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->units, units);
    EXPECT_EQ(s->has_supplementary, 1U);
    EXPECT_EQ(s->units[3], 0);
    // A full buffer leaves no room for the terminator: the string copies.
    Buffer full(tevra::detail::ustring_buffer_new(3));
    ASSERT_EQ(TEVRA_UString_Buffer_appendwchars(full.get(), pair.data(), 3), 1);
    full->char_count = 2;
    Str t(tevra::detail::ustring_buffer_to_string(full.release()));
    EXPECT_EQ(units_of(t.get()), pair);
}

} // namespace
