/* Recursive locks, reader-writer locks, atomics, conditions and thread-local keys. */
#ifndef TEVRA_LOCK_H
#define TEVRA_LOCK_H

#include <pthread.h>

#include "TEVRA_Export.h"

TEVRA_BEGIN_DECLS

typedef struct TEVRA_Lock TEVRA_Lock;
typedef struct TEVRA_RWLock TEVRA_RWLock;
typedef struct TEVRA_Condition TEVRA_Condition;

/** New recursive mutex, or NULL. */
TEVRA_API TEVRA_Lock *tevra_lock_new(void);
TEVRA_API void tevra_lock_free(TEVRA_Lock *lock);
/** 1 when the underlying call succeeded, 0 otherwise or for NULL. */
TEVRA_API int tevra_lock_lock(TEVRA_Lock *lock);
TEVRA_API int tevra_lock_unlock(TEVRA_Lock *lock);
TEVRA_API int tevra_lock_trylock(TEVRA_Lock *lock);

/** New reader-writer lock preferring readers, or NULL. */
TEVRA_API TEVRA_RWLock *tevra_rwlock_new(void);
TEVRA_API void tevra_rwlock_free(TEVRA_RWLock *lock);
TEVRA_API int tevra_rwlock_readerlock(TEVRA_RWLock *lock);
TEVRA_API int tevra_rwlock_readerunlock(TEVRA_RWLock *lock);
TEVRA_API int tevra_rwlock_writerlock(TEVRA_RWLock *lock);
TEVRA_API int tevra_rwlock_writerunlock(TEVRA_RWLock *lock);

/** Sequentially consistent counter operations on a caller-owned int. */
TEVRA_API void tevra_atomic_inc(int *counter);
TEVRA_API void tevra_atomic_dec(int *counter);
TEVRA_API void tevra_atomic_set(int *counter, int value);
TEVRA_API int tevra_atomic_get(int *counter);
/** Subtracts 1; returns 1 when the counter reached 0. */
TEVRA_API int tevra_atomic_dec_and_test(int *counter);

/** New condition variable, or NULL. */
TEVRA_API TEVRA_Condition *tevra_condition_new(void);
TEVRA_API void tevra_condition_free(TEVRA_Condition *cond);
TEVRA_API int tevra_condition_wait(TEVRA_Condition *cond, TEVRA_Lock *lock);
TEVRA_API int tevra_condition_signal(TEVRA_Condition *cond);
TEVRA_API int tevra_condition_broadcast(TEVRA_Condition *cond);

/** Thread-local keys: 1 on success, 0 on failure. */
TEVRA_API int tevra_tls_alloc(pthread_key_t *key, void (*destructor)(void *));
TEVRA_API int tevra_tls_setvalue(pthread_key_t key, void *value);
TEVRA_API void *tevra_tls_getvalue(pthread_key_t key);
TEVRA_API int tevra_tls_free(pthread_key_t key);

TEVRA_END_DECLS

#endif
