/*
 * Allocation hooks, the debug allocator, the version banner, data blobs and
 * binary search.
 */
#ifndef TEVRA_UTIL_H
#define TEVRA_UTIL_H

#include "TEVRA_Export.h"
#include "TEVRA_Version.h"

TEVRA_BEGIN_DECLS

/** Allocation hook: receives the size and the caller's source file name and line. */
typedef void *(*TEVRA_MallocFunc)(long size, const char *file, int line);
/** Release hook matching a TEVRA_MallocFunc. */
typedef void (*TEVRA_FreeFunc)(void *p);

/**
 * Allocates size bytes through the current hook. A negative size returns NULL
 * without calling the hook; any other call freezes the hooks.
 */
TEVRA_API void *tevra_malloc(long size, const char *file, int line);
/** Releases a block from tevra_malloc; NULL is ignored. */
TEVRA_API void tevra_free(void *p);
/**
 * Installs a pair of hooks. Returns 1, or 0 (nothing changed) when either is
 * NULL or an allocation already happened. Two kinds of storage never pass
 * through the hooks (nor the debug allocator): TEVRA_Lock and TEVRA_RWLock
 * objects, and GMP's digit storage behind big integers.
 */
TEVRA_API int tevra_setallocfunc(TEVRA_MallocFunc malloc_func, TEVRA_FreeFunc free_func);
/** The current allocation hook (the system allocator's adapter until one is set). */
TEVRA_API TEVRA_MallocFunc tevra_getmallocfunc(void);
/** The current release hook. */
TEVRA_API TEVRA_FreeFunc tevra_getfreefunc(void);
/**
 * Switches on the debug allocator (guard words, live-block list, statistics).
 * Returns 1, or 0 when an allocation already happened or set-up fails.
 * TEVRA_DEBUG_MEMORY_NUMBER=N makes allocation number N sleep for an hour.
 */
TEVRA_API int tevra_setdebugalloc(void);
/**
 * Writes the debug allocator's report to the file at path (truncated).
 * Returns 0 when the file cannot be opened, 1 after a complete report.
 */
TEVRA_API int tevra_printdebugalloc(const char *path);
/** The constant version banner. */
TEVRA_API const char *tevra_util_version(void);
/** The JSON nesting limit read from TEVRA_RECURSIVE_LEVEL at load (default 200, at least 8). */
TEVRA_API int tevra_get_recursive_level(void);

/** An owned byte buffer; release it with tevra_data_blob_free. */
typedef struct TEVRA_DataBlob {
    unsigned char *data; /**< the bytes, owned by the blob */
    long length;         /**< number of bytes */
} TEVRA_DataBlob;

/** Copies length bytes into a new blob; NULL for NULL data, a negative length or no memory. */
TEVRA_API TEVRA_DataBlob *tevra_data_blob_new(const unsigned char *data, long length);
/** Releases the blob and its bytes; NULL is ignored. */
TEVRA_API void tevra_data_blob_free(TEVRA_DataBlob *blob);

/**
 * Binary search over a sorted array of count elements of size bytes.
 * Returns 1 with *index at the first equal element, or 0 with *index at the
 * insertion point (-1 when count < 1). Bad arguments return 0 and leave *index.
 */
TEVRA_API int tevra_bsearch(const void *key, const void *base, long count, long size,
                            int (*compare)(const void *key, const void *element), long *index);

TEVRA_END_DECLS

#endif
