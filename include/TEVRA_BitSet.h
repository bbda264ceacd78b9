/* Growable bit string, bit 0 being the most significant bit of the first byte. */
#ifndef TEVRA_BITSET_H
#define TEVRA_BITSET_H

#include "TEVRA_Export.h"
#include "TEVRA_Util.h"

TEVRA_BEGIN_DECLS

typedef struct TEVRA_BitSet {
    unsigned char *bytes; /**< bit storage, owned */
    long bitcount;        /**< number of significant bits */
    long bytelen;         /**< bytes allocated */
} TEVRA_BitSet;

/** Empty set with 4 zeroed bytes, or NULL. */
TEVRA_API TEVRA_BitSet *tevra_bitset_empty(void);
/**
 * Set of length * 8 - unused bits copied from data (the unused low bits of
 * the last byte are cleared); NULL for unused > 7, NULL data, negative or
 * huge length, length 0 with unused bits, or no memory. data may not be NULL even when
 * length is 0.
 */
TEVRA_API TEVRA_BitSet *tevra_bitset_new(unsigned int unused, const unsigned char *data,
                                         long length);
/** Releases the set; NULL is ignored. */
TEVRA_API void tevra_bitset_free(TEVRA_BitSet *set);
/**
 * New blob with the used bytes (free with tevra_data_blob_free); the number of unused low bits of
 * the last byte goes to *unused. NULL for NULL arguments or no memory.
 */
TEVRA_API TEVRA_DataBlob *tevra_bitset_getdata(const TEVRA_BitSet *set, int *unused);
/**
 * Sets bit i, growing the storage to i / 8 + 4 bytes when needed. 1, or 0 for NULL, i < 0 or no
 * memory (set unchanged).
 */
TEVRA_API int tevra_bitset_set(TEVRA_BitSet *set, long i);
/**
 * Clears bit i. Clearing the last bit shrinks bitcount to end just after the
 * last bit still set (0 when none is); bits at or past bitcount are already
 * clear and give 1. 0 for NULL or i < 0.
 */
TEVRA_API int tevra_bitset_clear(TEVRA_BitSet *set, long i);
/** 1 if bit i is set, else 0 (also for NULL, i < 0 or i >= bitcount). */
TEVRA_API int tevra_bitset_isset(const TEVRA_BitSet *set, long i);
/** Copy holding exactly the used bytes, or NULL for NULL or no memory. */
TEVRA_API TEVRA_BitSet *tevra_bitset_dup(const TEVRA_BitSet *set);
/** Number of significant bits, -1 for NULL. */
TEVRA_API long tevra_bitset_getbitcount(const TEVRA_BitSet *set);

TEVRA_END_DECLS

#endif
