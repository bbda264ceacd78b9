// Bit set: MSB-first numbering, growth and bit-count recomputation.
#include "TEVRA_BitSet.h"
#include "test_support.h"

using tevra_test::LeakCheck;

class BitSet : public LeakCheck {};

TEST_F(BitSet, NewMasksUnusedBitsAndGetdataReportsThem) {
    const unsigned char ff = 0xFF;
    TEVRA_BitSet *set = tevra_bitset_new(3, &ff, 1);
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 5);
    EXPECT_EQ(set->bytes[0], 0xF8);
    int unused = -1;
    TEVRA_DataBlob *blob = tevra_bitset_getdata(set, &unused);
    ASSERT_NE(blob, nullptr);
    EXPECT_EQ(blob->length, 1);
    EXPECT_EQ(blob->data[0], 0xF8);
    EXPECT_EQ(unused, 3);
    tevra_data_blob_free(blob);
    EXPECT_EQ(tevra_bitset_isset(set, 4), 1);
    EXPECT_EQ(tevra_bitset_isset(set, 5), 0);
    tevra_bitset_free(set);

    set = tevra_bitset_new(7, &ff, 1); // the most unused bits a byte can hold
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 1);
    EXPECT_EQ(set->bytes[0], 0x80);
    tevra_bitset_free(set);
}

TEST_F(BitSet, SetGrowsToExactlyIndexOver8Plus4) {
    TEVRA_BitSet *set = tevra_bitset_empty();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->bytelen, 4);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 0);
    EXPECT_EQ(tevra_bitset_set(set, 100), 1);
    EXPECT_EQ(set->bytelen, 16);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 101);
    EXPECT_EQ(set->bytes[12], 0x08);
    EXPECT_EQ(tevra_bitset_isset(set, 99), 0);
    EXPECT_EQ(tevra_bitset_clear(set, 100), 1);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 0);
    tevra_bitset_free(set);
}

TEST_F(BitSet, ClearingTheLastBitShrinksToTheLastSetBitAndDupIsExact) {
    TEVRA_BitSet *set = tevra_bitset_empty();
    tevra_bitset_set(set, 0);
    tevra_bitset_set(set, 9);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 10);
    TEVRA_BitSet *copy = tevra_bitset_dup(set);
    EXPECT_EQ(tevra_bitset_clear(set, 0), 1);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 10);
    EXPECT_EQ(tevra_bitset_clear(copy, 9), 1);
    EXPECT_EQ(tevra_bitset_getbitcount(copy), 1);
    // Clearing behind bitcount changes nothing but succeeds.
    EXPECT_EQ(tevra_bitset_clear(copy, 50), 1);
    tevra_bitset_set(copy, 6);
    tevra_bitset_set(copy, 13);
    tevra_bitset_clear(copy, 13);
    EXPECT_EQ(tevra_bitset_getbitcount(copy), 7);
    tevra_bitset_free(copy);

    // A copy holds exactly the used bytes.
    copy = tevra_bitset_dup(set);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->bytelen, 2);
    EXPECT_EQ(tevra_bitset_isset(copy, 9), 1);
    int unused = 0;
    TEVRA_DataBlob *blob = tevra_bitset_getdata(copy, &unused);
    EXPECT_EQ(unused, 6);
    EXPECT_EQ(blob->length, 2);
    EXPECT_EQ(blob->data[1], 0x40);
    tevra_data_blob_free(blob);
    tevra_bitset_free(copy);
    tevra_bitset_free(set);
}

TEST_F(BitSet, BadArguments) {
    const unsigned char byte = 0;
    EXPECT_EQ(tevra_bitset_new(8, &byte, 1), nullptr);
    EXPECT_EQ(tevra_bitset_new(0, nullptr, 1), nullptr);
    EXPECT_EQ(tevra_bitset_new(0, &byte, 1152921504606846975L), nullptr);
    EXPECT_EQ(tevra_bitset_new(7, &byte, 0), nullptr);
    TEVRA_BitSet *empty = tevra_bitset_new(0, &byte, 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(tevra_bitset_getbitcount(empty), 0);
    EXPECT_EQ(tevra_bitset_set(empty, -1), 0);
    EXPECT_EQ(tevra_bitset_clear(empty, -1), 0);
    EXPECT_EQ(tevra_bitset_isset(empty, -1), 0);
    EXPECT_EQ(tevra_bitset_getdata(empty, nullptr), nullptr);
    tevra_bitset_free(empty);
    EXPECT_EQ(tevra_bitset_getbitcount(nullptr), -1);
    EXPECT_EQ(tevra_bitset_set(nullptr, 1), 0);
    EXPECT_EQ(tevra_bitset_clear(nullptr, 1), 0);
    EXPECT_EQ(tevra_bitset_dup(nullptr), nullptr);
    tevra_bitset_free(nullptr);
}

TEST_F(BitSet, FailedGrowthLeavesTheSetAsItWas) {
    TEVRA_BitSet *set = tevra_bitset_empty();
    tevra_bitset_set(set, 3);
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(tevra_bitset_set(set, 1000), 0);
    tevra_test::fail_allocations_after(-1);
    EXPECT_EQ(set->bytelen, 4);
    EXPECT_EQ(tevra_bitset_getbitcount(set), 4);
    tevra_bitset_free(set);
}
