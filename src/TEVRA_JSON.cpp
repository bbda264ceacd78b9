// JSON values: constructors, deep copy, member and element editing, getters.
#include <climits>
#include <cstdint>
#include <cstring>

#include "TEVRA_JSON_Internal.h"
#include "TEVRA_Util.h"

using namespace tevra::detail;

namespace {

TEVRA_JSON *alloc_record(unsigned int type, long extra, int line) {
    auto *value = static_cast<TEVRA_JSON *>(
        tevra_malloc(static_cast<long>(sizeof(TEVRA_JSON)) + extra, kJsonFile, line));
    if (value == nullptr)
        return nullptr;
    std::memset(value, 0, sizeof(TEVRA_JSON));
    value->type = type;
    return value;
}

TEVRA_ArrayList *inline_list(TEVRA_JSON *value) {
    return reinterpret_cast<TEVRA_ArrayList *>(value + 1);
}

TEVRA_JSON *inline_key(JsonObjectMember *member) {
    return reinterpret_cast<TEVRA_JSON *>(member + 1);
}

// The first slots of a container also live in its block, behind the list.
void **inline_slots(TEVRA_ArrayList *list) {
    return reinterpret_cast<void **>(list + 1);
}

// Frees every item through the list's callback, then the slots unless they
// are still the ones in the record's block.
void release_inline_list(TEVRA_ArrayList *list) {
    for (int i = 0; i < list->count; ++i)
        list->free_item(list->items[i]);
    if (list->items != inline_slots(list))
        tevra_free(list->items);
}

// The list's own growth would release the slots, which it must not do while
// they sit in the record's block: a full block list moves to slots of its own,
// twice as many, before the next append.
bool room_for_one(TEVRA_ArrayList *list) {
    if (list->count < list->capacity || list->items != inline_slots(list))
        return true;
    if (list->capacity > 0x3FFFFFFF)
        return false;
    int capacity = list->capacity * 2;
    auto **items = static_cast<void **>(tevra_malloc(
        static_cast<long>(capacity) * static_cast<long>(sizeof(void *)), kJsonFile, __LINE__));
    if (items == nullptr)
        return false;
    std::memcpy(items, list->items, sizeof(void *) * static_cast<size_t>(list->count));
    std::memset(items + list->count, 0,
                sizeof(void *) * static_cast<size_t>(capacity - list->count));
    list->items = items;
    list->capacity = capacity;
    return true;
}

void free_element(void *item) {
    tevra_json_free(static_cast<TEVRA_JSON *>(item));
}

// The checks a new string or key passes. INT_MAX is refused because the
// terminator would not fit a 32-bit size.
bool string_ok(const char *data, int length) {
    if (length < 0 || length == INT_MAX || (data == nullptr && length != 0))
        return false;
    return data == nullptr || json_valid_utf8(data, length);
}

bool key_matches(const JsonObjectMember *member, const char *key, int keylen) {
    const TEVRA_JSON *k = member->key;
    return k != nullptr && k->length == keylen &&
           (keylen == 0 || std::memcmp(k->u.string, key, static_cast<size_t>(keylen)) == 0);
}

bool key_arguments_ok(const TEVRA_JSON *object, const char *key, int keylen) {
    return json_is(object, TEVRA_JSON_OBJECT) && keylen >= 0 && (key != nullptr || keylen == 0);
}

JsonObjectMember *member_at(const TEVRA_JSON *object, int index) {
    return static_cast<JsonObjectMember *>(tevra_arraylist_getitemref(object->u.list, index));
}

// Index of the first member with this key from the oldest, or -1.
int first_member_with(const TEVRA_JSON *object, const char *key, int keylen) {
    int count = tevra_arraylist_count(object->u.list);
    for (int i = 0; i < count; ++i) {
        const JsonObjectMember *member = member_at(object, i);
        if (member != nullptr && key_matches(member, key, keylen))
            return i;
    }
    return -1;
}

// Copies a container's items one by one into a new container of the same
// kind; NULL (with the partial copy released) when an item is missing or
// memory runs out.
TEVRA_JSON *dup_container(const TEVRA_JSON *source) {
    if (source->u.list == nullptr)
        return nullptr;
    TEVRA_JSON *copy = json_container(source->type);
    if (copy == nullptr)
        return nullptr;
    int count = tevra_arraylist_count(source->u.list);
    for (int i = 0; i < count; ++i) {
        void *item = tevra_arraylist_getitemref(source->u.list, i);
        bool ok = false;
        if (source->type == TEVRA_JSON_ARRAY) {
            TEVRA_JSON *element = tevra_json_dup(static_cast<const TEVRA_JSON *>(item));
            ok = element != nullptr && json_append_element(copy, element);
        } else {
            auto *member = static_cast<const JsonObjectMember *>(item);
            if (member != nullptr && member->key != nullptr && member->value != nullptr) {
                TEVRA_JSON *value = tevra_json_dup(member->value);
                JsonObjectMember *m = value != nullptr ? json_member(member->key->u.string,
                                                                     member->key->length, value)
                                                       : nullptr;
                ok = m != nullptr && json_append_member(copy, m);
            }
        }
        if (!ok) {
            tevra_json_free(copy);
            return nullptr;
        }
    }
    return copy;
}

} // namespace

namespace tevra::detail {

TEVRA_JSON *json_string_unchecked(const char *bytes, int length) {
    TEVRA_JSON *value = alloc_record(TEVRA_JSON_STRING, static_cast<long>(length) + 1, __LINE__);
    if (value == nullptr)
        return nullptr;
    // The bytes share the record's block, so a string costs one allocation.
    value->u.string = reinterpret_cast<char *>(value + 1);
    if (bytes != nullptr && length > 0)
        std::memcpy(value->u.string, bytes, static_cast<size_t>(length));
    value->u.string[length] = '\0';
    value->length = length;
    return value;
}

bool json_valid_utf8(const char *text, long length) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(text);
    for (long i = 0; i < length;) {
        // Runs of ASCII are skipped eight bytes at a time.
        std::uint64_t word;
        if (i + 8 <= length &&
            (std::memcpy(&word, bytes + i, 8), word & 0x8080808080808080ULL) == 0) {
            i += 8;
            continue;
        }
        unsigned char lead = bytes[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        // Shortest form only, no surrogates, nothing above 10FFFF.
        int extra = (lead & 0xE0) == 0xC0   ? 1
                    : (lead & 0xF0) == 0xE0 ? 2
                    : (lead & 0xF8) == 0xF0 ? 3
                                            : -1;
        if (extra < 0 || length - i <= extra)
            return false;
        unsigned long cp = lead & (0x3F >> extra);
        for (int k = 1; k <= extra; ++k) {
            if ((bytes[i + k] & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (bytes[i + k] & 0x3F);
        }
        static constexpr unsigned long kMinimum[] = {0, 0x80, 0x800, 0x10000};
        if (cp < kMinimum[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += extra + 1;
    }
    return true;
}

TEVRA_JSON *json_container(unsigned int type, int capacity) {
    if (capacity < 1)
        capacity = 1;
    // The list and its first slots share the record's block, so a container
    // costs one allocation; the list otherwise behaves as a TEVRA_ArrayList.
    TEVRA_JSON *value =
        alloc_record(type,
                     static_cast<long>(sizeof(TEVRA_ArrayList)) +
                         static_cast<long>(capacity) * static_cast<long>(sizeof(void *)),
                     __LINE__);
    if (value == nullptr)
        return nullptr;
    TEVRA_ArrayList *list = inline_list(value);
    list->items = inline_slots(list);
    std::memset(list->items, 0, sizeof(void *) * static_cast<size_t>(capacity));
    list->count = 0;
    list->capacity = capacity;
    list->free_item = type == TEVRA_JSON_OBJECT ? json_member_free : free_element;
    list->copy_item = nullptr;
    value->u.list = list;
    return value;
}

JsonObjectMember *json_member(const char *key, int keylen, TEVRA_JSON *value) {
    auto *member = static_cast<JsonObjectMember *>(
        tevra_malloc(static_cast<long>(sizeof(JsonObjectMember) + sizeof(TEVRA_JSON)) + keylen + 1,
                     kJsonFile, __LINE__));
    if (member == nullptr) {
        tevra_json_free(value);
        return nullptr;
    }
    TEVRA_JSON *k = inline_key(member);
    k->type = TEVRA_JSON_STRING;
    k->u.string = reinterpret_cast<char *>(k + 1);
    if (key != nullptr && keylen > 0)
        std::memcpy(k->u.string, key, static_cast<size_t>(keylen));
    k->u.string[keylen] = '\0';
    k->length = keylen;
    member->key = k;
    member->value = value;
    return member;
}

void json_member_free(void *item) {
    auto *member = static_cast<JsonObjectMember *>(item);
    if (member == nullptr)
        return;
    if (member->key != inline_key(member))
        tevra_json_free(member->key);
    tevra_json_free(member->value);
    tevra_free(member);
}

bool json_append_member(TEVRA_JSON *object, JsonObjectMember *member) {
    if (room_for_one(object->u.list) && tevra_arraylist_pushback(object->u.list, member) == 1)
        return true;
    json_member_free(member);
    return false;
}

bool json_append_element(TEVRA_JSON *array, TEVRA_JSON *element) {
    if (room_for_one(array->u.list) && tevra_arraylist_pushback(array->u.list, element) == 1)
        return true;
    tevra_json_free(element);
    return false;
}

} // namespace tevra::detail

extern "C" {

TEVRA_API TEVRA_JSON *tevra_json_newboolean(int value) {
    TEVRA_JSON *result = alloc_record(TEVRA_JSON_BOOLEAN, 0, __LINE__);
    if (result != nullptr)
        result->u.boolean = value != 0 ? 1 : 0;
    return result;
}

TEVRA_API TEVRA_JSON *tevra_json_newnull(void) {
    return alloc_record(TEVRA_JSON_NULL, 0, __LINE__);
}

TEVRA_API TEVRA_JSON *tevra_json_newnumber(double value) {
    TEVRA_JSON *result = alloc_record(TEVRA_JSON_NUMBER, 0, __LINE__);
    if (result != nullptr)
        result->u.number = value;
    return result;
}

TEVRA_API TEVRA_JSON *tevra_json_newstring(const char *data, int length) {
    return string_ok(data, length) ? json_string_unchecked(data, length) : nullptr;
}

TEVRA_API TEVRA_JSON *tevra_json_newobject(void) {
    return json_container(TEVRA_JSON_OBJECT);
}

TEVRA_API TEVRA_JSON *tevra_json_newarray(void) {
    return json_container(TEVRA_JSON_ARRAY);
}

TEVRA_API TEVRA_JSON *tevra_json_dup(const TEVRA_JSON *value) {
    if (value == nullptr)
        return nullptr;
    switch (value->type) {
    case TEVRA_JSON_STRING:
        return json_string_unchecked(value->u.string, value->length);
    case TEVRA_JSON_NUMBER:
        return tevra_json_newnumber(value->u.number);
    case TEVRA_JSON_BOOLEAN:
        return tevra_json_newboolean(value->u.boolean);
    case TEVRA_JSON_NULL:
        return tevra_json_newnull();
    case TEVRA_JSON_OBJECT:
    case TEVRA_JSON_ARRAY:
        return dup_container(value);
    default:
        return nullptr;
    }
}

TEVRA_API void tevra_json_free(TEVRA_JSON *value) {
    if (value == nullptr)
        return;
    if (value->type == TEVRA_JSON_OBJECT || value->type == TEVRA_JSON_ARRAY) {
        if (value->u.list == inline_list(value))
            release_inline_list(value->u.list);
        else
            tevra_arraylist_free(value->u.list);
        value->u.list = nullptr;
    }
    tevra_free(value);
}

TEVRA_API int tevra_json_addobjectitem(TEVRA_JSON *object, const char *key, int keylen,
                                       const TEVRA_JSON *value) {
    if (!json_is(object, TEVRA_JSON_OBJECT) || value == nullptr || !string_ok(key, keylen))
        return 0;
    TEVRA_JSON *copy = tevra_json_dup(value);
    JsonObjectMember *member = copy != nullptr ? json_member(key, keylen, copy) : nullptr;
    return member != nullptr && json_append_member(object, member) ? 1 : 0;
}

TEVRA_API int tevra_json_updateobjectitem(TEVRA_JSON *object, const char *key, int keylen,
                                          const TEVRA_JSON *value) {
    if (value == nullptr || !key_arguments_ok(object, key, keylen))
        return 0;
    int index = first_member_with(object, key, keylen);
    if (index < 0)
        return tevra_json_addobjectitem(object, key, keylen, value);
    TEVRA_JSON *copy = tevra_json_dup(value);
    if (copy == nullptr)
        return 0;
    JsonObjectMember *member = member_at(object, index);
    tevra_json_free(member->value);
    member->value = copy;
    return 1;
}

TEVRA_API int tevra_json_deleteobjectitem(TEVRA_JSON *object, const char *key, int keylen) {
    if (!key_arguments_ok(object, key, keylen))
        return 0;
    int index = first_member_with(object, key, keylen);
    return index >= 0 ? tevra_arraylist_delete(object->u.list, index) : 0;
}

TEVRA_API int tevra_json_addarrayitem(TEVRA_JSON *array, const TEVRA_JSON *value) {
    if (!json_is(array, TEVRA_JSON_ARRAY) || value == nullptr)
        return 0;
    TEVRA_JSON *copy = tevra_json_dup(value);
    return copy != nullptr && json_append_element(array, copy) ? 1 : 0;
}

TEVRA_API int tevra_json_deletearrayitem(TEVRA_JSON *array, int index) {
    if (!json_is(array, TEVRA_JSON_ARRAY))
        return 0;
    return tevra_arraylist_delete(array->u.list, index);
}

TEVRA_API int tevra_json_gettype(const TEVRA_JSON *value) {
    return value != nullptr ? static_cast<int>(value->type) : -1;
}

TEVRA_API int tevra_json_istrue(const TEVRA_JSON *value) {
    return json_is(value, TEVRA_JSON_BOOLEAN) ? value->u.boolean : 0;
}

TEVRA_API double tevra_json_getnumber(const TEVRA_JSON *value) {
    return json_is(value, TEVRA_JSON_NUMBER) ? value->u.number : -1.0;
}

TEVRA_API const char *tevra_json_getstring(const TEVRA_JSON *value) {
    return json_is(value, TEVRA_JSON_STRING) ? value->u.string : nullptr;
}

TEVRA_API int tevra_json_getstringlength(const TEVRA_JSON *value) {
    return json_is(value, TEVRA_JSON_STRING) ? value->length : -1;
}

TEVRA_API int tevra_json_getarraysize(const TEVRA_JSON *value) {
    return json_is(value, TEVRA_JSON_ARRAY) ? tevra_arraylist_count(value->u.list) : -1;
}

TEVRA_API TEVRA_JSON *tevra_json_getarrayitem(const TEVRA_JSON *array, unsigned int index) {
    if (!json_is(array, TEVRA_JSON_ARRAY) || index > static_cast<unsigned int>(INT_MAX))
        return nullptr;
    return static_cast<TEVRA_JSON *>(
        tevra_arraylist_getitemref(array->u.list, static_cast<int>(index)));
}

TEVRA_API TEVRA_JSON *tevra_json_getobjectvalue(const TEVRA_JSON *object, const char *key,
                                                int keylen) {
    if (!key_arguments_ok(object, key, keylen))
        return nullptr;
    // From the newest member back, so the last of duplicate keys wins.
    for (int i = tevra_arraylist_count(object->u.list) - 1; i >= 0; --i) {
        const JsonObjectMember *member = member_at(object, i);
        if (member != nullptr && key_matches(member, key, keylen))
            return member->value;
    }
    return nullptr;
}

} // extern "C"
