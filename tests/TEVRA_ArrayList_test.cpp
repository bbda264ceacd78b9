// Array list: growth, callbacks, clamping and failure paths.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "TEVRA_ArrayList.h"
#include "TEVRA_Util.h"
#include "test_support.h"

using tevra_test::LeakCheck;

namespace {

int g_freed = 0;

void *copy_int(void *item) {
    auto *copy = static_cast<int *>(tevra_malloc(sizeof(int), "test", __LINE__));
    if (copy != nullptr)
        *copy = *static_cast<int *>(item);
    return copy;
}

void free_int(void *item) {
    ++g_freed;
    tevra_free(item);
}

void *failing_copy(void *) {
    return nullptr;
}

int value_at(const TEVRA_ArrayList *list, int i) {
    return *static_cast<int *>(tevra_arraylist_getitemref(list, i));
}

int compare_slots(const void *a, const void *b) {
    int x = **static_cast<int *const *>(a);
    int y = **static_cast<int *const *>(b);
    return (x > y) - (x < y);
}

} // namespace

class ArrayList : public LeakCheck {
  protected:
    void SetUp() override {
        LeakCheck::SetUp();
        g_freed = 0;
    }
};

TEST_F(ArrayList, GrowsByDoublingAndKeepsOrder) {
    TEVRA_ArrayList *list = tevra_arraylist_new(copy_int, free_int);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(tevra_arraylist_count(list), 0);
    EXPECT_EQ(list->capacity, 16);
    for (int i = 0; i < 17; ++i)
        ASSERT_EQ(tevra_arraylist_pushback(list, &i), 1);
    EXPECT_EQ(list->capacity, 32);
    EXPECT_EQ(tevra_arraylist_count(list), 17);
    for (int i = 0; i < 17; ++i)
        EXPECT_EQ(value_at(list, i), i);
    EXPECT_EQ(list->items[17], nullptr);
    tevra_arraylist_free(list);
    EXPECT_EQ(g_freed, 17);
}

TEST_F(ArrayList, InsertClampsAndRefusesNull) {
    int values[] = {1, 2, 3, 4, 5};
    TEVRA_ArrayList *list = tevra_arraylist_new(nullptr, nullptr);
    EXPECT_EQ(tevra_arraylist_pushback(list, nullptr), 0);
    EXPECT_EQ(tevra_arraylist_insert(list, 0, nullptr), 0);
    tevra_arraylist_pushback(list, &values[0]);
    tevra_arraylist_pushback(list, &values[1]);
    tevra_arraylist_pushback(list, &values[2]);
    EXPECT_EQ(tevra_arraylist_insert(list, -5, &values[3]), 1);
    EXPECT_EQ(tevra_arraylist_getitemref(list, 0), &values[3]);
    EXPECT_EQ(tevra_arraylist_insert(list, 1000, &values[4]), 1);
    EXPECT_EQ(tevra_arraylist_getitemref(list, 4), &values[4]);
    EXPECT_EQ(tevra_arraylist_insert(list, 2, &values[0]), 1);
    std::vector<int> seen;
    for (int i = 0; i < tevra_arraylist_count(list); ++i)
        seen.push_back(value_at(list, i));
    EXPECT_EQ(seen, (std::vector<int>{4, 1, 1, 2, 3, 5}));
    // Without a copy callback getitem hands out the stored pointer.
    EXPECT_EQ(tevra_arraylist_getitem(list, 1), &values[0]);
    tevra_arraylist_free(list);
}

TEST_F(ArrayList, CopyCallbackOnEntryAndOnGetitem) {
    int seven = 7;
    TEVRA_ArrayList *list = tevra_arraylist_new(copy_int, free_int);
    tevra_arraylist_pushback(list, &seven);
    EXPECT_NE(tevra_arraylist_getitemref(list, 0), &seven);
    void *a = tevra_arraylist_getitem(list, 0);
    void *b = tevra_arraylist_getitem(list, 0);
    EXPECT_NE(a, b);
    EXPECT_NE(a, tevra_arraylist_getitemref(list, 0));
    EXPECT_EQ(*static_cast<int *>(a), 7);
    tevra_arraylist_freeitem(list, a);
    tevra_arraylist_freeitem(list, b);
    EXPECT_EQ(tevra_arraylist_count(list), 1);
    tevra_arraylist_free(list);
    EXPECT_EQ(g_freed, 3);
}

TEST_F(ArrayList, DeleteRangeAndCallbacks) {
    TEVRA_ArrayList *list = tevra_arraylist_new(copy_int, free_int);
    for (int i = 0; i < 16; ++i)
        tevra_arraylist_pushback(list, &i);
    EXPECT_EQ(tevra_arraylist_delete(list, 16), 0);
    EXPECT_EQ(tevra_arraylist_delete(list, -1), 0);
    EXPECT_EQ(g_freed, 0);
    EXPECT_EQ(tevra_arraylist_delete(list, 0), 1);
    EXPECT_EQ(tevra_arraylist_delete(list, 14), 1);
    EXPECT_EQ(g_freed, 2);
    EXPECT_EQ(tevra_arraylist_count(list), 14);
    EXPECT_EQ(value_at(list, 0), 1);
    EXPECT_EQ(value_at(list, 13), 14);
    EXPECT_EQ(list->items[14], nullptr);
    EXPECT_EQ(list->items[15], nullptr);
    EXPECT_EQ(tevra_arraylist_getitem(list, 14), nullptr);
    EXPECT_EQ(tevra_arraylist_getitemref(list, -1), nullptr);
    tevra_arraylist_free(list);
}

TEST_F(ArrayList, FailedGrowthOrCopyLeavesNoItem) {
    int one = 1;
    TEVRA_ArrayList *list = tevra_arraylist_new(nullptr, nullptr);
    for (int i = 0; i < 16; ++i)
        tevra_arraylist_pushback(list, &one);
    // A failed growth leaves the list unchanged.
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(tevra_arraylist_pushback(list, &one), 0);
    EXPECT_EQ(tevra_arraylist_insert(list, 0, &one), 0);
    tevra_test::fail_allocations_after(-1);
    EXPECT_EQ(list->capacity, 16);
    EXPECT_EQ(tevra_arraylist_count(list), 16);
    // A failed copy keeps the grown capacity but not the item.
    list->copy_item = failing_copy;
    EXPECT_EQ(tevra_arraylist_pushback(list, &one), 0);
    EXPECT_EQ(list->capacity, 32);
    EXPECT_EQ(tevra_arraylist_insert(list, 3, &one), 0);
    EXPECT_EQ(tevra_arraylist_count(list), 16);
    EXPECT_EQ(list->items[16], nullptr);
    tevra_arraylist_free(list);
}

TEST_F(ArrayList, SortAndNullList) {
    int values[] = {5, 3, 9, 1};
    TEVRA_ArrayList *list = tevra_arraylist_new(nullptr, nullptr);
    for (int &v : values)
        tevra_arraylist_pushback(list, &v);
    itevra_arraylist_sort(list, compare_slots);
    EXPECT_EQ(value_at(list, 0), 1);
    EXPECT_EQ(value_at(list, 3), 9);
    tevra_arraylist_free(list);
    EXPECT_EQ(tevra_arraylist_count(nullptr), 0);
    EXPECT_EQ(tevra_arraylist_getitem(nullptr, 0), nullptr);
    EXPECT_EQ(tevra_arraylist_delete(nullptr, 0), 0);
    tevra_arraylist_free(nullptr);
    tevra_arraylist_freeitem(nullptr, values);
    itevra_arraylist_sort(nullptr, compare_slots);
}
