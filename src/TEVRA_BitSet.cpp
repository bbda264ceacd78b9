// Growable bit string, most significant bit first in each byte.
#include <cstring>

#include "TEVRA_BitSet.h"
#include "TEVRA_Util.h"

namespace {

constexpr char kFile[] = "TEVRA_BitSet";
constexpr long kEmptyBytes = 4;
constexpr long kMaxLength = 1152921504606846974L; // 2^60 - 2
constexpr long kGrowSlack = 4;

unsigned char mask_of(long i) {
    return static_cast<unsigned char>(0x80u >> (i % 8));
}

long unused_bits(long bitcount) {
    return bitcount % 8 == 0 ? 0 : 8 - bitcount % 8;
}

long used_bytes(long bitcount) {
    return (bitcount + unused_bits(bitcount)) / 8;
}

TEVRA_BitSet *alloc_set(long bytelen, int line) {
    auto *set = static_cast<TEVRA_BitSet *>(tevra_malloc(sizeof(TEVRA_BitSet), kFile, line));
    if (set == nullptr)
        return nullptr;
    set->bytes = static_cast<unsigned char *>(tevra_malloc(bytelen, kFile, line));
    if (set->bytes == nullptr) {
        tevra_free(set);
        return nullptr;
    }
    set->bytelen = bytelen;
    set->bitcount = 0;
    return set;
}

// Grows the storage to exactly i / 8 + 4 bytes so that bit i fits.
bool grow_for(TEVRA_BitSet *set, long i) {
    long bytelen = i / 8 + kGrowSlack;
    auto *bytes = static_cast<unsigned char *>(tevra_malloc(bytelen, kFile, __LINE__));
    if (bytes == nullptr)
        return false;
    std::memcpy(bytes, set->bytes, static_cast<size_t>(set->bytelen));
    std::memset(bytes + set->bytelen, 0, static_cast<size_t>(bytelen - set->bytelen));
    tevra_free(set->bytes);
    set->bytes = bytes;
    set->bytelen = bytelen;
    return true;
}

// Bit count that ends at the lowest set bit of the highest non-zero byte at
// or below byte index from; 0 when all are clear.
long bitcount_ending_at_set_bit(const TEVRA_BitSet *set, long from) {
    for (long b = from; b >= 0; --b) {
        unsigned int byte = set->bytes[b];
        if (byte == 0)
            continue;
        long k = 8;
        while ((byte & 1u) == 0) {
            byte >>= 1;
            --k;
        }
        return b * 8 + k;
    }
    return 0;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_BitSet *tevra_bitset_empty(void) {
    TEVRA_BitSet *set = alloc_set(kEmptyBytes, __LINE__);
    if (set != nullptr)
        std::memset(set->bytes, 0, kEmptyBytes);
    return set;
}

TEVRA_API TEVRA_BitSet *tevra_bitset_new(unsigned int unused, const unsigned char *data,
                                         long length) {
    if (unused > 7 || data == nullptr || length < 0 || length > kMaxLength)
        return nullptr;
    // An empty buffer cannot hold unused bits.
    if (length == 0 && unused != 0)
        return nullptr;
    TEVRA_BitSet *set = alloc_set(length, __LINE__);
    if (set == nullptr)
        return nullptr;
    if (length > 0) {
        std::memcpy(set->bytes, data, static_cast<size_t>(length));
        set->bytes[length - 1] &= static_cast<unsigned char>(0xFFu << unused);
    }
    set->bitcount = length * 8 - static_cast<long>(unused);
    return set;
}

TEVRA_API void tevra_bitset_free(TEVRA_BitSet *set) {
    if (set == nullptr)
        return;
    tevra_free(set->bytes);
    tevra_free(set);
}

TEVRA_API TEVRA_DataBlob *tevra_bitset_getdata(const TEVRA_BitSet *set, int *unused) {
    if (set == nullptr || unused == nullptr)
        return nullptr;
    TEVRA_DataBlob *blob = tevra_data_blob_new(set->bytes, used_bytes(set->bitcount));
    if (blob == nullptr)
        return nullptr;
    *unused = static_cast<int>(unused_bits(set->bitcount));
    return blob;
}

TEVRA_API int tevra_bitset_set(TEVRA_BitSet *set, long i) {
    if (set == nullptr || i < 0)
        return 0;
    if (i / 8 >= set->bytelen && !grow_for(set, i))
        return 0;
    set->bytes[i / 8] |= mask_of(i);
    if (set->bitcount <= i)
        set->bitcount = i + 1;
    return 1;
}

TEVRA_API int tevra_bitset_clear(TEVRA_BitSet *set, long i) {
    if (set == nullptr || i < 0)
        return 0;
    if (i >= set->bitcount)
        return 1;
    set->bytes[i / 8] &= static_cast<unsigned char>(~mask_of(i));
    if (i == set->bitcount - 1)
        set->bitcount = bitcount_ending_at_set_bit(set, i / 8);
    return 1;
}

TEVRA_API int tevra_bitset_isset(const TEVRA_BitSet *set, long i) {
    if (set == nullptr || i < 0 || i >= set->bitcount)
        return 0;
    return (set->bytes[i / 8] & mask_of(i)) != 0 ? 1 : 0;
}

TEVRA_API TEVRA_BitSet *tevra_bitset_dup(const TEVRA_BitSet *set) {
    if (set == nullptr)
        return nullptr;
    return tevra_bitset_new(static_cast<unsigned int>(unused_bits(set->bitcount)), set->bytes,
                            used_bytes(set->bitcount));
}

TEVRA_API long tevra_bitset_getbitcount(const TEVRA_BitSet *set) {
    return set != nullptr ? set->bitcount : -1;
}

} // extern "C"
