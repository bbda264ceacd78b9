// JSON traversal of an object's members and the total order used for sorting.
#include <cstring>

#include "TEVRA_JSON_Internal.h"

using namespace tevra::detail;

namespace {

int kind_of(const TEVRA_JSON *value) {
    return value != nullptr ? static_cast<int>(value->type) : -1;
}

int three_way(double a, double b) {
    return a < b ? -1 : (a > b ? 1 : 0);
}

// memcmp's own result is returned when the common prefix differs. Otherwise
// only a longer a sorts after b; a shorter a is reported equal, an asymmetry
// that sorted output depends on.
int compare_strings(const TEVRA_JSON *a, const TEVRA_JSON *b) {
    if (a->length == 0 && b->length == 0)
        return 0;
    int shorter = a->length < b->length ? a->length : b->length;
    if (shorter != 0) {
        int r = std::memcmp(a->u.string, b->u.string, static_cast<size_t>(shorter));
        if (r != 0)
            return r;
    }
    return a->length > b->length ? 1 : 0;
}

int compare_members(const JsonObjectMember *a, const JsonObjectMember *b) {
    if (a == nullptr || b == nullptr)
        return three_way(a != nullptr, b != nullptr);
    int r = comparejson(a->key, b->key);
    return r != 0 ? r : comparejson(a->value, b->value);
}

// Shorter containers first, then item by item in stored order.
int compare_lists(const TEVRA_JSON *a, const TEVRA_JSON *b) {
    int count_a = tevra_arraylist_count(a->u.list);
    int count_b = tevra_arraylist_count(b->u.list);
    if (count_a != count_b)
        return count_a < count_b ? -1 : 1;
    for (int i = 0; i < count_a; ++i) {
        void *item_a = tevra_arraylist_getitemref(a->u.list, i);
        void *item_b = tevra_arraylist_getitemref(b->u.list, i);
        int r = a->type == TEVRA_JSON_OBJECT
                    ? compare_members(static_cast<const JsonObjectMember *>(item_a),
                                      static_cast<const JsonObjectMember *>(item_b))
                    : comparejson(static_cast<const TEVRA_JSON *>(item_a),
                                  static_cast<const TEVRA_JSON *>(item_b));
        if (r != 0)
            return r;
    }
    return 0;
}

} // namespace

namespace tevra::detail {

int comparejson(const TEVRA_JSON *a, const TEVRA_JSON *b) {
    int kind_a = kind_of(a), kind_b = kind_of(b);
    if (kind_a != kind_b)
        return kind_a < kind_b ? -1 : 1;
    if (a == nullptr)
        return 0;
    switch (a->type) {
    case TEVRA_JSON_STRING:
        return compare_strings(a, b);
    case TEVRA_JSON_NUMBER:
        return three_way(a->u.number, b->u.number);
    case TEVRA_JSON_BOOLEAN:
        return three_way(a->u.boolean, b->u.boolean);
    case TEVRA_JSON_OBJECT:
    case TEVRA_JSON_ARRAY:
        return compare_lists(a, b);
    default:
        return 0;
    }
}

int comparejson2(const void *slot_a, const void *slot_b) {
    return comparejson(*static_cast<const TEVRA_JSON *const *>(slot_a),
                       *static_cast<const TEVRA_JSON *const *>(slot_b));
}

int comparejsonobjectitem2(const void *slot_a, const void *slot_b) {
    return compare_members(*static_cast<const JsonObjectMember *const *>(slot_a),
                           *static_cast<const JsonObjectMember *const *>(slot_b));
}

} // namespace tevra::detail

extern "C" {

TEVRA_API int tevra_json_traverse(TEVRA_JSON *object, TEVRA_JSON_TraverseFunc callback,
                                  void *user) {
    if (callback == nullptr || !json_is(object, TEVRA_JSON_OBJECT))
        return 0;
    // The kind is re-checked at each step because the callback may change the tree.
    for (int i = 0;; ++i) {
        if (!json_is(object, TEVRA_JSON_OBJECT))
            return 0;
        if (i >= tevra_arraylist_count(object->u.list))
            break;
        auto *member =
            static_cast<JsonObjectMember *>(tevra_arraylist_getitemref(object->u.list, i));
        if (member == nullptr || member->key == nullptr || member->value == nullptr)
            return 0;
        const TEVRA_JSON *key = member->key;
        bool is_string = key->type == TEVRA_JSON_STRING;
        if (callback(user, is_string ? key->u.string : nullptr, is_string ? key->length : -1,
                     member->value) != 1)
            return 0;
    }
    return 1;
}

} // extern "C"
