// Growable array of pointers with optional copy and free callbacks.
#include <cstdlib>
#include <cstring>

#include "TEVRA_ArrayList.h"
#include "TEVRA_Util.h"

namespace {

constexpr char kFile[] = "TEVRA_ArrayList";
constexpr int kInitialCapacity = 16;

void **alloc_slots(int slots, int line) {
    return static_cast<void **>(
        tevra_malloc(static_cast<long>(slots) * static_cast<long>(sizeof(void *)), kFile, line));
}

// Doubles the slot array when it is full; the list is unchanged on failure.
bool ensure_room(TEVRA_ArrayList *list) {
    if (list->count < list->capacity)
        return true;
    if (list->capacity > 0x3FFFFFFF)
        return false;
    int capacity = list->capacity * 2;
    void **items = alloc_slots(capacity, __LINE__);
    if (items == nullptr)
        return false;
    std::memcpy(items, list->items, sizeof(void *) * static_cast<size_t>(list->count));
    std::memset(items + list->count, 0,
                sizeof(void *) * static_cast<size_t>(capacity - list->count));
    tevra_free(list->items);
    list->items = items;
    list->capacity = capacity;
    return true;
}

void *entering_item(const TEVRA_ArrayList *list, void *item) {
    return list->copy_item != nullptr ? list->copy_item(item) : item;
}

bool in_range(const TEVRA_ArrayList *list, int index) {
    return list != nullptr && index >= 0 && index < list->count;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_ArrayList *tevra_arraylist_new(TEVRA_ArrayList_CopyFunc copy_item,
                                               TEVRA_ArrayList_FreeFunc free_item) {
    auto *list =
        static_cast<TEVRA_ArrayList *>(tevra_malloc(sizeof(TEVRA_ArrayList), kFile, __LINE__));
    if (list == nullptr)
        return nullptr;
    list->items = alloc_slots(kInitialCapacity, __LINE__);
    if (list->items == nullptr) {
        tevra_free(list);
        return nullptr;
    }
    std::memset(list->items, 0, sizeof(void *) * kInitialCapacity);
    list->count = 0;
    list->capacity = kInitialCapacity;
    list->free_item = free_item;
    list->copy_item = copy_item;
    return list;
}

TEVRA_API void tevra_arraylist_free(TEVRA_ArrayList *list) {
    if (list == nullptr)
        return;
    if (list->free_item != nullptr) {
        for (int i = 0; i < list->count; ++i) {
            list->free_item(list->items[i]);
            list->items[i] = nullptr;
        }
    }
    tevra_free(list->items);
    tevra_free(list);
}

TEVRA_API void tevra_arraylist_freeitem(TEVRA_ArrayList *list, void *item) {
    if (list != nullptr && item != nullptr && list->free_item != nullptr)
        list->free_item(item);
}

TEVRA_API int tevra_arraylist_count(const TEVRA_ArrayList *list) {
    return list != nullptr ? list->count : 0;
}

TEVRA_API void *tevra_arraylist_getitem(const TEVRA_ArrayList *list, int index) {
    if (!in_range(list, index))
        return nullptr;
    return entering_item(list, list->items[index]);
}

TEVRA_API void *tevra_arraylist_getitemref(const TEVRA_ArrayList *list, int index) {
    return in_range(list, index) ? list->items[index] : nullptr;
}

TEVRA_API int tevra_arraylist_pushback(TEVRA_ArrayList *list, void *item) {
    if (list == nullptr || item == nullptr || !ensure_room(list))
        return 0;
    // A failed copy keeps the grown capacity but not the item.
    list->items[list->count] = entering_item(list, item);
    if (list->items[list->count] == nullptr)
        return 0;
    list->count++;
    return 1;
}

TEVRA_API int tevra_arraylist_insert(TEVRA_ArrayList *list, int index, void *item) {
    if (list == nullptr || item == nullptr)
        return 0;
    if (index < 0)
        index = 0;
    if (index > list->count)
        index = list->count;
    if (!ensure_room(list))
        return 0;
    size_t moved = sizeof(void *) * static_cast<size_t>(list->count - index);
    std::memmove(list->items + index + 1, list->items + index, moved);
    list->items[index] = entering_item(list, item);
    if (list->items[index] == nullptr) {
        std::memmove(list->items + index, list->items + index + 1, moved);
        list->items[list->count] = nullptr;
        return 0;
    }
    list->count++;
    return 1;
}

TEVRA_API int tevra_arraylist_delete(TEVRA_ArrayList *list, int index) {
    if (!in_range(list, index))
        return 0;
    if (list->free_item != nullptr)
        list->free_item(list->items[index]);
    std::memmove(list->items + index, list->items + index + 1,
                 sizeof(void *) * static_cast<size_t>(list->count - index - 1));
    list->count--;
    list->items[list->count] = nullptr;
    return 1;
}

TEVRA_API void itevra_arraylist_sort(TEVRA_ArrayList *list,
                                     int (*compare)(const void *slot_a, const void *slot_b)) {
    if (list == nullptr || compare == nullptr || list->count < 2)
        return;
    std::qsort(list->items, static_cast<size_t>(list->count), sizeof(void *), compare);
}

} // extern "C"
