/* Growable array of non-NULL pointers with optional copy and free callbacks. */
#ifndef TEVRA_ARRAYLIST_H
#define TEVRA_ARRAYLIST_H

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

typedef void *(*TEVRA_ArrayList_CopyFunc)(void *item);
typedef void (*TEVRA_ArrayList_FreeFunc)(void *item);

typedef struct TEVRA_ArrayList {
    void **items;                       /**< slot array, owned; NULL behind count */
    int count;                          /**< items in use */
    int capacity;                       /**< slots allocated: 16, then doubling */
    TEVRA_ArrayList_FreeFunc free_item; /**< called when an item leaves the list, or NULL */
    TEVRA_ArrayList_CopyFunc copy_item; /**< applied on entry and by getitem, or NULL */
} TEVRA_ArrayList;

/** New list of capacity 16, or NULL. */
TEVRA_API TEVRA_ArrayList *tevra_arraylist_new(TEVRA_ArrayList_CopyFunc copy_item,
                                               TEVRA_ArrayList_FreeFunc free_item);
/** Frees every item through free_item (if set), then the list; NULL is ignored. */
TEVRA_API void tevra_arraylist_free(TEVRA_ArrayList *list);
/**
 * Calls the list's free_item on item (which stays wherever it is); no-op for NULL or no free_item.
 */
TEVRA_API void tevra_arraylist_freeitem(TEVRA_ArrayList *list, void *item);
/** Number of items; 0 for NULL. */
TEVRA_API int tevra_arraylist_count(const TEVRA_ArrayList *list);
/**
 * The item at index, copied through copy_item when set (the caller owns the
 * copy and frees it, e.g. with tevra_arraylist_freeitem). NULL when list is
 * NULL or index is out of range (negative or >= count), and also when
 * copy_item fails: check the index against tevra_arraylist_count to tell the
 * two apart.
 */
TEVRA_API void *tevra_arraylist_getitem(const TEVRA_ArrayList *list, int index);
/** The stored item at index, never copied; NULL when out of range. */
TEVRA_API void *tevra_arraylist_getitemref(const TEVRA_ArrayList *list, int index);
/**
 * Appends an item (copied when copy_item is set). 1, or 0 for NULL list or item, no memory or a
 * failed copy.
 */
TEVRA_API int tevra_arraylist_pushback(TEVRA_ArrayList *list, void *item);
/**
 * Inserts at index, clamped to 0..count (copied when copy_item is set). 1, or 0 as for pushback.
 */
TEVRA_API int tevra_arraylist_insert(TEVRA_ArrayList *list, int index, void *item);
/**
 * Removes (and frees through free_item) the item at index. 1, or 0 for NULL or an index out of
 * range.
 */
TEVRA_API int tevra_arraylist_delete(TEVRA_ArrayList *list, int index);
/**
 * Sorts the items with qsort (not stable); compare receives pointers to two slots (void **), not
 * the items.
 */
TEVRA_API void itevra_arraylist_sort(TEVRA_ArrayList *list,
                                     int (*compare)(const void *slot_a, const void *slot_b));

TEVRA_END_DECLS

#endif
