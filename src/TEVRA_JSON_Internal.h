// The JSON value record and the helpers the JSON sources share.
#ifndef TEVRA_JSON_INTERNAL_H
#define TEVRA_JSON_INTERNAL_H

#include "TEVRA_ArrayList.h"
#include "TEVRA_JSON.h"

// Field order is fixed: kind, payload, string length.
struct TEVRA_JSON {
    unsigned int type;
    union {
        double number;
        int boolean;
        char *string;          // length bytes and a zero, stored right behind the record
        TEVRA_ArrayList *list; // members (JsonObjectMember *) or elements (TEVRA_JSON *)
    } u;
    int length;
};

struct JsonObjectMember {
    TEVRA_JSON *key; // always a string
    TEVRA_JSON *value;
};

namespace tevra::detail {

inline constexpr char kJsonFile[] = "TEVRA_JSON";

inline bool json_is(const TEVRA_JSON *value, unsigned int type) {
    return value != nullptr && value->type == type;
}

// A string value holding a copy of length bytes, without checking them (with
// NULL bytes, room for length bytes left for the caller to fill). NULL when
// memory runs out.
TEVRA_JSON *json_string_unchecked(const char *bytes, int length);

// True when the bytes are well-formed UTF-8: shortest forms, no surrogates,
// nothing above 10FFFF (exactly what tevra_ustring_newutf8 accepts).
bool json_valid_utf8(const char *bytes, long length);

// An empty object or array with room for capacity items (at least one); NULL
// when memory runs out. The list and these slots share the record's block.
TEVRA_JSON *json_container(unsigned int type, int capacity = 16);

// A member with a copy of the key bytes (not checked; with NULL bytes, room
// for keylen bytes left for the caller to fill) and value, which it
// takes over (value may be NULL until set); NULL, with value freed, when
// memory runs out. The key shares the member's block.
JsonObjectMember *json_member(const char *key, int keylen, TEVRA_JSON *value);

// Releases a member and what it holds.
void json_member_free(void *member);

// Appends a member; on failure it is freed.
bool json_append_member(TEVRA_JSON *object, JsonObjectMember *member);

// Appends an element that is taken over; on failure it is freed.
bool json_append_element(TEVRA_JSON *array, TEVRA_JSON *element);

// The total order of values used for sorting: kinds first (string, number,
// boolean, null, object, array), then contents. A shorter string that is a
// prefix of a longer one compares equal to it when it comes first.
int comparejson(const TEVRA_JSON *a, const TEVRA_JSON *b);
// qsort adapters over slots of an element list and of a member list.
int comparejson2(const void *slot_a, const void *slot_b);
int comparejsonobjectitem2(const void *slot_a, const void *slot_b);

} // namespace tevra::detail

#endif
