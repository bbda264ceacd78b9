// The Unicode work buffer: creation from a string, the four editing
// operations with their growth steps, and the hand-over to a new string.
#include <climits>
#include <cstring>

#include "TEVRA_UString_Buffer.h"
#include "TEVRA_Util.h"

namespace {

using namespace tevra::detail;

// Moves the units to a block of new_capacity units (never fewer than in
// use). False, with the buffer unchanged, when memory runs out.
bool reallocate(TEVRA_UString_Buffer *b, long new_capacity) {
    if (new_capacity <= b->unit_count || new_capacity > LONG_MAX / 2)
        return false;
    auto *units =
        static_cast<unsigned short *>(tevra_malloc(2 * new_capacity, kUStringFile, __LINE__));
    if (units == nullptr)
        return false;
    std::memcpy(units, b->units, 2 * static_cast<size_t>(b->unit_count));
    tevra_free(b->units);
    b->units = units;
    b->capacity = new_capacity;
    return true;
}

// Growth of the bulk operations: x = capacity + wanted + 1024, and the
// remainder of x by 8 is added to it rather than rounded away.
bool grow_by(TEVRA_UString_Buffer *b, long wanted) {
    if (wanted > LONG_MAX / 4 - b->capacity)
        return false;
    long x = b->capacity + wanted + 1024;
    return reallocate(b, x + x % 8);
}

// The cursor must point into the units for an edit to be safe.
bool cursor_ok(const TEVRA_UString_Buffer *b) {
    return b != nullptr && b->cursor >= 0 && b->cursor <= b->unit_count;
}

// Units that code point v takes in UTF-16 (0 for a value it cannot carry).
long units_for(unsigned long v) {
    if (!valid_code_point(v))
        return 0;
    return v >= 0x10000 ? 2 : 1;
}

} // namespace

namespace tevra::detail {

TEVRA_UString_Buffer *ustring_buffer_new(long capacity) {
    if (capacity <= 0 || capacity > LONG_MAX / 2)
        return nullptr;
    auto *b = static_cast<TEVRA_UString_Buffer *>(
        tevra_malloc(static_cast<long>(sizeof(TEVRA_UString_Buffer)), kUStringFile, __LINE__));
    if (b == nullptr)
        return nullptr;
    b->units = static_cast<unsigned short *>(tevra_malloc(2 * capacity, kUStringFile, __LINE__));
    if (b->units == nullptr) {
        tevra_free(b);
        return nullptr;
    }
    b->unit_count = 0;
    b->capacity = capacity;
    b->cursor = 0;
    b->char_count = 0;
    return b;
}

TEVRA_UString_Buffer *ustring_buffer_from(const TEVRA_UString *s) {
    if (s == nullptr || s->unit_count > LONG_MAX / 4)
        return nullptr;
    long u = s->unit_count;
    TEVRA_UString_Buffer *b = ustring_buffer_new((u + 32) / 8 * 8 + 16);
    if (b == nullptr)
        return nullptr;
    std::memcpy(b->units, s->units, 2 * static_cast<size_t>(u));
    b->unit_count = u;
    b->char_count = s->char_count;
    return b;
}

TEVRA_UString *ustring_buffer_to_string(TEVRA_UString_Buffer *b) {
    if (b == nullptr)
        return nullptr;
    TEVRA_UString *s = ustring_adopt(b->units, b->unit_count, b->capacity, b->char_count, __LINE__);
    tevra_free(b);
    return s;
}

void ustring_buffer_free(TEVRA_UString_Buffer *b) {
    if (b == nullptr)
        return;
    tevra_free(b->units);
    tevra_free(b);
}

long ustring_buffer_count_chars(const TEVRA_UString_Buffer *b) {
    long chars = 0, length = 0;
    for (long i = 0; i < b->unit_count; i += length, ++chars)
        code_point_at(b->units, b->unit_count, i, length);
    return chars;
}

} // namespace tevra::detail

int TEVRA_UString_Buffer_append(TEVRA_UString_Buffer *b, const unsigned long *code_point) {
    if (!cursor_ok(b) || code_point == nullptr)
        return 0;
    // Room for a pair and the terminator is kept before every write.
    if (b->capacity - b->unit_count < 4 && !reallocate(b, ((b->capacity + 1026) & ~7L) + 16))
        return 0;
    long at = b->cursor;
    if (valid_code_point(*code_point))
        at += put_code_point(b->units + at, *code_point);
    b->units[at] = 0;
    b->cursor = at;
    b->unit_count = at;
    ++b->char_count;
    return 1;
}

int TEVRA_UString_Buffer_appendwchars(TEVRA_UString_Buffer *b, const unsigned short *units, int n) {
    if (!cursor_ok(b) || n < 0 || (units == nullptr && n > 0))
        return 0;
    if (b->capacity - b->unit_count < n && !grow_by(b, n))
        return 0;
    if (n > 0)
        std::memcpy(b->units + b->cursor, units, 2 * static_cast<size_t>(n));
    b->cursor += n;
    b->unit_count = b->cursor;
    return 1;
}

int TEVRA_UString_Buffer_Decomposition(TEVRA_UString_Buffer *b, const unsigned long *code_points,
                                       int n) {
    if (!cursor_ok(b) || n < 0 || (code_points == nullptr && n > 0))
        return 0;
    long at = b->cursor;
    long removed = 0;
    if (at < b->unit_count)
        code_point_at(b->units, b->unit_count, at, removed);
    long inserted = 0;
    for (int k = 0; k < n; ++k)
        inserted += units_for(code_points[k]);
    long after = b->unit_count - removed + inserted;
    // The usual step leaves room for two units per code point; a
    // supplementary insertion over a full buffer may need one unit more.
    bool grow = b->capacity - b->unit_count + removed + 1 < 2L * n || after > b->capacity;
    if (grow && !grow_by(b, 2L * n))
        return 0;
    std::memmove(b->units + at + inserted, b->units + at + removed,
                 2 * static_cast<size_t>(b->unit_count - at - removed));
    for (int k = 0; k < n; ++k)
        if (valid_code_point(code_points[k]))
            at += put_code_point(b->units + at, code_points[k]);
    b->unit_count = after;
    b->cursor = at;
    return 1;
}

void TEVRA_UString_Buffer_Composition(TEVRA_UString_Buffer *b, unsigned long composite, long index,
                                      int length) {
    if (!cursor_ok(b) || b->cursor >= b->unit_count || !valid_code_point(composite))
        return;
    long at = b->cursor, starter = 0;
    code_point_at(b->units, b->unit_count, at, starter);
    if (length < 1 || index < at + starter || index > b->unit_count - length)
        return;
    unsigned short *u = b->units;
    // Take out the combined character first, then resize the starter: the
    // unit count only drops, so the capacity always suffices.
    std::memmove(u + index, u + index + length,
                 2 * static_cast<size_t>(b->unit_count - index - length));
    b->unit_count -= length;
    long width = units_for(composite);
    if (width != starter) {
        std::memmove(u + at + width, u + at + starter,
                     2 * static_cast<size_t>(b->unit_count - at - starter));
        b->unit_count += width - starter;
    }
    put_code_point(u + at, composite);
    --b->char_count;
}
