// The growable UTF-16 work buffer that the Unicode algorithms edit in place,
// and its hand-over to a new string. Library-internal: nothing here is
// exported.
#ifndef TEVRA_USTRING_BUFFER_H
#define TEVRA_USTRING_BUFFER_H

#include "TEVRA_UString_Internal.h"

// Field order is fixed: units, unit count, capacity, cursor, char count.
struct TEVRA_UString_Buffer {
    unsigned short *units; // UTF-16, host order, owned (tevra_malloc)
    long unit_count;       // units in use
    long capacity;         // units allocated
    long cursor;           // unit index of the character being worked on
    long char_count;       // code points, where the operation keeps it
};

namespace tevra::detail {

// An empty buffer with room for capacity units (cursor and counts 0); NULL
// when memory runs out or capacity is not positive.
TEVRA_UString_Buffer *ustring_buffer_new(long capacity);

// A buffer holding the units of s, with ((u + 32) / 8) * 8 + 16 units of
// room for u units, the cursor at 0 and the char count of s. NULL for NULL s
// or when memory runs out.
TEVRA_UString_Buffer *ustring_buffer_from(const TEVRA_UString *s);

// Hands the units over to a new string without copying them and releases
// the buffer record; the counts are taken as they are. NULL (with the buffer
// released) when memory runs out or b is NULL.
TEVRA_UString *ustring_buffer_to_string(TEVRA_UString_Buffer *b);

// Releases the buffer and its units; NULL is ignored.
void ustring_buffer_free(TEVRA_UString_Buffer *b);

// Code points in the buffer's units (a lone surrogate counts one).
long ustring_buffer_count_chars(const TEVRA_UString_Buffer *b);

} // namespace tevra::detail

// Writes *code_point at the cursor (nothing for a surrogate value or one
// above 10FFFF) and truncates the buffer after it; the char count grows by
// one either way. 1, or 0 when growing fails.
int TEVRA_UString_Buffer_append(TEVRA_UString_Buffer *b, const unsigned long *code_point);

// Copies n units at the cursor and truncates the buffer after them; the char
// count is not touched and no terminator is written. 1, or 0 when growing
// fails or n is negative.
int TEVRA_UString_Buffer_appendwchars(TEVRA_UString_Buffer *b, const unsigned short *units, int n);

// Replaces the character at the cursor by n code points (invalid ones
// dropped) and leaves the cursor after them; with n = 0 the character is
// removed. 1, or 0 when growing fails or n is negative.
int TEVRA_UString_Buffer_Decomposition(TEVRA_UString_Buffer *b, const unsigned long *code_points,
                                       int n);

// Replaces the starter at the cursor by composite and removes the character
// of length units at unit index; the cursor stays on the composite and the
// char count drops by one. Out-of-range arguments leave the buffer as it is.
void TEVRA_UString_Buffer_Composition(TEVRA_UString_Buffer *b, unsigned long composite, long index,
                                      int length);

#endif
