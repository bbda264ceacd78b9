/* Recursive locks, reader-writer locks, atomics, conditions and thread-local keys. */
#ifndef TEVRA_LOCK_H
#define TEVRA_LOCK_H

#include <pthread.h>

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

typedef struct TEVRA_Lock TEVRA_Lock;
typedef struct TEVRA_RWLock TEVRA_RWLock;
typedef struct TEVRA_Condition TEVRA_Condition;

/*
 * None of these functions writes an error context: failure is only the 0 or
 * NULL result. Locks and reader-writer locks are allocated with the system
 * malloc, not tevra_malloc (the debug allocator itself uses a TEVRA_Lock), so
 * allocation hooks never see them; conditions go through tevra_malloc.
 */

/** New recursive mutex, or NULL. */
TEVRA_API TEVRA_Lock *tevra_lock_new(void);
/** Destroys and frees the mutex, which must not be held; NULL is ignored. */
TEVRA_API void tevra_lock_free(TEVRA_Lock *lock);
/**
 * Waits for and takes the lock: 1 on success, 0 for NULL or a failed call.
 * The lock is recursive: its owner may lock it again and must unlock it as
 * many times.
 */
TEVRA_API int tevra_lock_lock(TEVRA_Lock *lock);
/** Releases one hold: 1, or 0 for NULL or when the calling thread does not hold the lock. */
TEVRA_API int tevra_lock_unlock(TEVRA_Lock *lock);
/**
 * Takes the lock if free or already the caller's: 1; 0 at once when another thread holds it, or for
 * NULL.
 */
TEVRA_API int tevra_lock_trylock(TEVRA_Lock *lock);

/** New reader-writer lock preferring readers, or NULL. */
TEVRA_API TEVRA_RWLock *tevra_rwlock_new(void);
/** Destroys and frees the lock, which must not be held; NULL is ignored. */
TEVRA_API void tevra_rwlock_free(TEVRA_RWLock *lock);
/**
 * Takes a shared hold: 1 on success, 0 for NULL or a failed wait. A reader
 * gets in whenever no writer holds the lock, even while writers wait, so a
 * steady stream of readers can starve writers. Not recursive with respect to
 * writers: a thread holding the write side deadlocks here.
 */
TEVRA_API int tevra_rwlock_readerlock(TEVRA_RWLock *lock);
/**
 * Releases a shared hold: 1, or 0 for NULL or a failed wake-up. The last
 * reader out wakes one waiting writer. Call it only while holding a shared
 * hold; an unmatched call corrupts the reader count.
 */
TEVRA_API int tevra_rwlock_readerunlock(TEVRA_RWLock *lock);
/**
 * Takes the exclusive hold, waiting for the writer and all readers: 1, or 0 for NULL or a failed
 * wait.
 */
TEVRA_API int tevra_rwlock_writerlock(TEVRA_RWLock *lock);
/**
 * Releases the exclusive hold: 1, or 0 for NULL or a failed wake-up. Once any
 * reader has ever had to wait on this lock, writer unlock wakes only readers,
 * never a waiting writer: such a writer then waits until a reader unlock
 * leaves no active reader. A program whose writers wait on each other with no
 * readers coming can therefore block for good; use a TEVRA_Lock there.
 */
TEVRA_API int tevra_rwlock_writerunlock(TEVRA_RWLock *lock);

/**
 * Counter operations on a caller-owned, aligned int (NULL is not checked).
 * inc, dec, set and dec_and_test are sequentially consistent; get is a plain
 * relaxed load and orders nothing around it.
 */
/** Adds 1. */
TEVRA_API void tevra_atomic_inc(int *counter);
/** Subtracts 1. */
TEVRA_API void tevra_atomic_dec(int *counter);
/** Stores value (an atomic exchange). */
TEVRA_API void tevra_atomic_set(int *counter, int value);
/** The current value, read without ordering. */
TEVRA_API int tevra_atomic_get(int *counter);
/** Subtracts 1; returns 1 when the counter was 1 before (so it is now 0), else 0. */
TEVRA_API int tevra_atomic_dec_and_test(int *counter);

/** New condition variable, or NULL. */
TEVRA_API TEVRA_Condition *tevra_condition_new(void);
/** Destroys and frees the condition, which no thread may be waiting on; NULL is ignored. */
TEVRA_API void tevra_condition_free(TEVRA_Condition *cond);
/**
 * Releases lock, which the caller must hold exactly once (with a nested hold
 * the lock stays held during the wait), waits, and takes it again.
 * Wake-ups can be spurious: test the awaited state in a loop.
 * 1 on success, 0 for a NULL argument or a failed wait.
 */
TEVRA_API int tevra_condition_wait(TEVRA_Condition *cond, TEVRA_Lock *lock);
/** Wakes one waiting thread, if any: 1, or 0 for NULL or failure. */
TEVRA_API int tevra_condition_signal(TEVRA_Condition *cond);
/** Wakes every waiting thread: 1, or 0 for NULL or failure. */
TEVRA_API int tevra_condition_broadcast(TEVRA_Condition *cond);

/**
 * Thread-local keys: the key is process-wide, its value per thread.
 * alloc stores a new key in *key (0 for a NULL key); destructor, which may be
 * NULL, runs at thread exit on each non-NULL value. 1 on success, 0 on failure.
 */
TEVRA_API int tevra_tls_alloc(pthread_key_t *key, void (*destructor)(void *));
/** Sets the calling thread's value for key: 1, or 0 for an invalid key or no memory. */
TEVRA_API int tevra_tls_setvalue(pthread_key_t key, void *value);
/** The calling thread's value for key; NULL when none was set. */
TEVRA_API void *tevra_tls_getvalue(pthread_key_t key);
/**
 * Deletes key without running any destructor on the values still set: 1, or 0 for an invalid key.
 */
TEVRA_API int tevra_tls_free(pthread_key_t key);

TEVRA_END_DECLS

#endif
