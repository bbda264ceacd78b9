// Allocation front end, version, data blobs and binary search.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "TEVRA_ArrayList.h"
#include "TEVRA_BitSet.h"
#include "TEVRA_Error.h"
#include "TEVRA_Stream.h"
#include "TEVRA_Util.h"
#include "test_support.h"

using tevra_test::LeakCheck;

class Util : public LeakCheck {};

const unsigned char kBytes[] = {1, 2, 3};

TEST_F(Util, MallocRefusesNegativeSizeWithoutCallingTheHook) {
    tevra_test::fail_allocations_after(1);
    EXPECT_EQ(tevra_malloc(-1, "t", 1), nullptr);
    // The single allowed allocation is still available.
    void *p = tevra_malloc(0, "t", 2);
    EXPECT_NE(p, nullptr);
    tevra_free(p);
    tevra_free(nullptr);
}

TEST_F(Util, HooksAreFrozenAfterTheFirstAllocation) {
    tevra_free(tevra_malloc(1, "t", 1));
    TEVRA_MallocFunc m = tevra_getmallocfunc();
    TEVRA_FreeFunc f = tevra_getfreefunc();
    EXPECT_EQ(tevra_setallocfunc(m, f), 0);
    EXPECT_EQ(tevra_setdebugalloc(), 0);
    EXPECT_EQ(tevra_getmallocfunc(), m);
}

TEST_F(Util, VersionBannerAndNumbersAgree) {
    EXPECT_STREQ(tevra_util_version(), "TEVRA Utility Library 2.6,Build on 2019");
    std::string numbers = std::to_string(TEVRA_VERSION_MAJOR) + "." +
                          std::to_string(TEVRA_VERSION_MINOR) + "." +
                          std::to_string(TEVRA_VERSION_PATCH);
    EXPECT_EQ(numbers, TEVRA_PROJECT_VERSION);
    EXPECT_EQ(tevra_get_recursive_level() >= 8, true);
}

TEST_F(Util, DataBlobCopiesAndRefusesBadArguments) {
    const unsigned char bytes[] = {1, 2, 3};
    TEVRA_DataBlob *blob = tevra_data_blob_new(bytes, 3);
    ASSERT_NE(blob, nullptr);
    EXPECT_NE(blob->data, bytes);
    EXPECT_EQ(blob->length, 3);
    EXPECT_EQ(std::memcmp(blob->data, bytes, 3), 0);
    tevra_data_blob_free(blob);
    tevra_data_blob_free(nullptr);
    EXPECT_EQ(tevra_data_blob_new(nullptr, 3), nullptr);
    EXPECT_EQ(tevra_data_blob_new(bytes, -1), nullptr);
}

// Releases what a constructor made; whether it made anything.
template <class T> bool released(T *made, void (*release)(T *)) {
    release(made);
    return made != nullptr;
}

TEST_F(Util, EveryConstructorFailsCleanlyWithoutMemory) {
    using tevra_test::until_allocations_suffice;
    const struct {
        const char *name;
        bool (*make)();
    } makers[] = {
        {"blob", [] { return released(tevra_data_blob_new(kBytes, 3), tevra_data_blob_free); }},
        {"error context", [] { return released(tevra_err_ctx_new(), tevra_err_ctx_free); }},
        {"array list",
         [] { return released(tevra_arraylist_new(nullptr, nullptr), tevra_arraylist_free); }},
        {"bit set", [] { return released(tevra_bitset_empty(), tevra_bitset_free); }},
        {"memory", [] { return released(tevra_stream_new_mem(100, nullptr), tevra_stream_free); }},
        {"queue",
         [] { return released(tevra_stream_new_rwspecmem(100, nullptr), tevra_stream_free); }},
        {"read-only copy",
         [] { return released(tevra_stream_new_romem("abc", 3, 1, nullptr), tevra_stream_free); }},
        {"null", [] { return released(tevra_stream_new_null(nullptr), tevra_stream_free); }},
        {"hex", [] { return released(tevra_stream_new_hex(1, nullptr), tevra_stream_free); }},
        {"base64",
         [] { return released(tevra_stream_new_base64(2, 64, 2, nullptr), tevra_stream_free); }},
    };
    for (const auto &m : makers)
        EXPECT_GE(until_allocations_suffice(m.make), 1) << m.name;
}

namespace {

int compare_ints(const void *key, const void *element) {
    int a = *static_cast<const int *>(key);
    int b = *static_cast<const int *>(element);
    return a < b ? -1 : a > b ? 1 : 0;
}

struct SearchResult {
    int found;
    long index;
};

SearchResult search(const std::vector<int> &values, int key) {
    long index = -99;
    int found = tevra_bsearch(&key, values.data(), static_cast<long>(values.size()), sizeof(int),
                              compare_ints, &index);
    return {found, index};
}

} // namespace

TEST_F(Util, BsearchFindsFirstEqualOrInsertionPoint) {
    // Runs of three equal values, and one long run of a single value.
    std::vector<std::vector<int>> arrays = {std::vector<int>(1000, 4)};
    for (int n = 1; n < 40; ++n) {
        arrays.emplace_back();
        for (int i = 0; i < n; ++i)
            arrays.back().push_back((i / 3) * 2);
    }
    for (const auto &v : arrays) {
        for (int key = -1; key <= static_cast<int>(v.size()) && key < 40; ++key) {
            auto it = std::lower_bound(v.begin(), v.end(), key);
            SearchResult r = search(v, key);
            EXPECT_EQ(r.index, it - v.begin()) << v.size() << " " << key;
            EXPECT_EQ(r.found, it != v.end() && *it == key ? 1 : 0);
        }
    }
}

TEST_F(Util, BsearchBadArguments) {
    std::vector<int> v = {1, 2};
    int key = 1;
    long index = 42;
    EXPECT_EQ(tevra_bsearch(&key, v.data(), 0, sizeof(int), compare_ints, &index), 0);
    EXPECT_EQ(index, -1);
    index = 42;
    EXPECT_EQ(tevra_bsearch(&key, v.data(), 2, 0, compare_ints, &index), 0);
    EXPECT_EQ(tevra_bsearch(nullptr, v.data(), 2, sizeof(int), compare_ints, &index), 0);
    EXPECT_EQ(tevra_bsearch(&key, nullptr, 2, sizeof(int), compare_ints, &index), 0);
    EXPECT_EQ(tevra_bsearch(&key, v.data(), 2, sizeof(int), nullptr, &index), 0);
    EXPECT_EQ(index, 42);
    EXPECT_EQ(tevra_bsearch(&key, v.data(), 2, sizeof(int), compare_ints, nullptr), 0);
}

// Callers lay these records out themselves, so their layout is part of the interface.
#include <cstddef>

#include "TEVRA_ArrayList.h"
#include "TEVRA_BitSet.h"
#include "TEVRA_Error.h"

static_assert(sizeof(TEVRA_DataBlob) == 16 && offsetof(TEVRA_DataBlob, length) == 8);
static_assert(sizeof(TEVRA_ErrEntry) == 80 && offsetof(TEVRA_ErrEntry, line) == 8 &&
              offsetof(TEVRA_ErrEntry, code) == 12 && offsetof(TEVRA_ErrEntry, description) == 16);
static_assert(sizeof(TEVRA_ErrCtx) == 32 * 80 + 8 && offsetof(TEVRA_ErrCtx, next) == 2560 &&
              offsetof(TEVRA_ErrCtx, start) == 2564);
static_assert(offsetof(TEVRA_ArrayList, count) == 8 && offsetof(TEVRA_ArrayList, capacity) == 12 &&
              offsetof(TEVRA_ArrayList, free_item) == 16 &&
              offsetof(TEVRA_ArrayList, copy_item) == 24);
static_assert(sizeof(TEVRA_BitSet) == 24 && offsetof(TEVRA_BitSet, bitcount) == 8 &&
              offsetof(TEVRA_BitSet, bytelen) == 16);
