// Thin wrappers over POSIX threads: recursive mutex, reader-preferring
// reader-writer lock, atomics, condition variables and thread-local keys.
#include <cstdlib>
#include <pthread.h>

#include "TEVRA_Lock.h"
#include "TEVRA_Util.h"

// The lock objects use the system allocator: the debug allocator itself
// depends on a TEVRA_Lock.
struct TEVRA_Lock {
    pthread_mutex_t mutex;
};

struct TEVRA_RWLock {
    pthread_mutex_t guard;
    pthread_cond_t readers;
    pthread_cond_t writers;
    int active_readers;
    int writer_active;
    int waiting_readers; // never decremented outside cancellation, see readerlock
    int waiting_writers;
};

struct TEVRA_Condition {
    pthread_cond_t cond;
};

namespace {

constexpr char kFile[] = "unix/lock";

int ok(int rc) {
    return rc == 0 ? 1 : 0;
}

void rwl_readcleanup(void *arg) {
    auto *rw = static_cast<TEVRA_RWLock *>(arg);
    rw->waiting_readers--;
    pthread_mutex_unlock(&rw->guard);
}

void rwl_writecleanup(void *arg) {
    auto *rw = static_cast<TEVRA_RWLock *>(arg);
    rw->waiting_writers--;
    pthread_mutex_unlock(&rw->guard);
}

// Waits for the writer to leave. The waiting-readers count is raised but
// only the cancellation cleanup lowers it again, so it never falls.
int wait_for_reader_turn(TEVRA_RWLock *rw) {
    int rc = 0;
    rw->waiting_readers++;
    pthread_cleanup_push(rwl_readcleanup, rw);
    while (rw->writer_active && rc == 0)
        rc = pthread_cond_wait(&rw->readers, &rw->guard);
    pthread_cleanup_pop(0);
    return rc;
}

int wait_for_writer_turn(TEVRA_RWLock *rw) {
    int rc = 0;
    rw->waiting_writers++;
    pthread_cleanup_push(rwl_writecleanup, rw);
    while ((rw->writer_active || rw->active_readers > 0) && rc == 0)
        rc = pthread_cond_wait(&rw->writers, &rw->guard);
    pthread_cleanup_pop(0);
    rw->waiting_writers--;
    return rc;
}

} // namespace

extern "C" {

TEVRA_API TEVRA_Lock *tevra_lock_new(void) {
    auto *lock = static_cast<TEVRA_Lock *>(std::malloc(sizeof(TEVRA_Lock)));
    if (lock == nullptr)
        return nullptr;
    pthread_mutexattr_t attr;
    if (pthread_mutexattr_init(&attr) != 0) {
        std::free(lock);
        return nullptr;
    }
    int rc = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    if (rc == 0)
        rc = pthread_mutex_init(&lock->mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    if (rc != 0) {
        std::free(lock);
        return nullptr;
    }
    return lock;
}

TEVRA_API void tevra_lock_free(TEVRA_Lock *lock) {
    if (lock == nullptr)
        return;
    pthread_mutex_destroy(&lock->mutex);
    std::free(lock);
}

TEVRA_API int tevra_lock_lock(TEVRA_Lock *lock) {
    return lock != nullptr ? ok(pthread_mutex_lock(&lock->mutex)) : 0;
}

TEVRA_API int tevra_lock_unlock(TEVRA_Lock *lock) {
    return lock != nullptr ? ok(pthread_mutex_unlock(&lock->mutex)) : 0;
}

TEVRA_API int tevra_lock_trylock(TEVRA_Lock *lock) {
    return lock != nullptr ? ok(pthread_mutex_trylock(&lock->mutex)) : 0;
}

TEVRA_API TEVRA_RWLock *tevra_rwlock_new(void) {
    auto *rw = static_cast<TEVRA_RWLock *>(std::malloc(sizeof(TEVRA_RWLock)));
    if (rw == nullptr)
        return nullptr;
    if (pthread_mutex_init(&rw->guard, nullptr) != 0) {
        std::free(rw);
        return nullptr;
    }
    if (pthread_cond_init(&rw->readers, nullptr) != 0) {
        pthread_mutex_destroy(&rw->guard);
        std::free(rw);
        return nullptr;
    }
    if (pthread_cond_init(&rw->writers, nullptr) != 0) {
        pthread_cond_destroy(&rw->readers);
        pthread_mutex_destroy(&rw->guard);
        std::free(rw);
        return nullptr;
    }
    rw->active_readers = 0;
    rw->writer_active = 0;
    rw->waiting_readers = 0;
    rw->waiting_writers = 0;
    return rw;
}

TEVRA_API void tevra_rwlock_free(TEVRA_RWLock *rw) {
    if (rw == nullptr)
        return;
    pthread_cond_destroy(&rw->readers);
    pthread_cond_destroy(&rw->writers);
    pthread_mutex_destroy(&rw->guard);
    std::free(rw);
}

TEVRA_API int tevra_rwlock_readerlock(TEVRA_RWLock *rw) {
    if (rw == nullptr || pthread_mutex_lock(&rw->guard) != 0)
        return 0;
    // Readers are let in whenever no writer holds the lock, waiting writers or not.
    int result = 1;
    if (rw->writer_active && wait_for_reader_turn(rw) != 0)
        result = 0;
    if (result == 1)
        rw->active_readers++;
    pthread_mutex_unlock(&rw->guard);
    return result;
}

TEVRA_API int tevra_rwlock_readerunlock(TEVRA_RWLock *rw) {
    if (rw == nullptr || pthread_mutex_lock(&rw->guard) != 0)
        return 0;
    int result = 1;
    if (--rw->active_readers == 0 && rw->waiting_writers > 0)
        result = ok(pthread_cond_signal(&rw->writers));
    pthread_mutex_unlock(&rw->guard);
    return result;
}

TEVRA_API int tevra_rwlock_writerlock(TEVRA_RWLock *rw) {
    if (rw == nullptr || pthread_mutex_lock(&rw->guard) != 0)
        return 0;
    int result = 1;
    if ((rw->writer_active || rw->active_readers > 0) && wait_for_writer_turn(rw) != 0)
        result = 0;
    if (result == 1)
        rw->writer_active = 1;
    pthread_mutex_unlock(&rw->guard);
    return result;
}

TEVRA_API int tevra_rwlock_writerunlock(TEVRA_RWLock *rw) {
    if (rw == nullptr || pthread_mutex_lock(&rw->guard) != 0)
        return 0;
    rw->writer_active = 0;
    int result = 1;
    if (rw->waiting_readers >= 1)
        result = ok(pthread_cond_broadcast(&rw->readers));
    else if (rw->waiting_writers > 0)
        result = ok(pthread_cond_signal(&rw->writers));
    pthread_mutex_unlock(&rw->guard);
    return result;
}

TEVRA_API void tevra_atomic_inc(int *counter) {
    __atomic_add_fetch(counter, 1, __ATOMIC_SEQ_CST);
}

TEVRA_API void tevra_atomic_dec(int *counter) {
    __atomic_sub_fetch(counter, 1, __ATOMIC_SEQ_CST);
}

TEVRA_API void tevra_atomic_set(int *counter, int value) {
    __atomic_exchange_n(counter, value, __ATOMIC_SEQ_CST);
}

// A plain aligned load; relaxed ordering keeps it a single mov and race-free.
TEVRA_API int tevra_atomic_get(int *counter) {
    return __atomic_load_n(counter, __ATOMIC_RELAXED);
}

TEVRA_API int tevra_atomic_dec_and_test(int *counter) {
    return __atomic_fetch_sub(counter, 1, __ATOMIC_SEQ_CST) == 1 ? 1 : 0;
}

TEVRA_API TEVRA_Condition *tevra_condition_new(void) {
    auto *cond =
        static_cast<TEVRA_Condition *>(tevra_malloc(sizeof(TEVRA_Condition), kFile, __LINE__));
    if (cond == nullptr)
        return nullptr;
    if (pthread_cond_init(&cond->cond, nullptr) != 0) {
        tevra_free(cond);
        return nullptr;
    }
    return cond;
}

TEVRA_API void tevra_condition_free(TEVRA_Condition *cond) {
    if (cond == nullptr)
        return;
    pthread_cond_destroy(&cond->cond);
    tevra_free(cond);
}

TEVRA_API int tevra_condition_wait(TEVRA_Condition *cond, TEVRA_Lock *lock) {
    if (cond == nullptr || lock == nullptr)
        return 0;
    return ok(pthread_cond_wait(&cond->cond, &lock->mutex));
}

TEVRA_API int tevra_condition_signal(TEVRA_Condition *cond) {
    return cond != nullptr ? ok(pthread_cond_signal(&cond->cond)) : 0;
}

TEVRA_API int tevra_condition_broadcast(TEVRA_Condition *cond) {
    return cond != nullptr ? ok(pthread_cond_broadcast(&cond->cond)) : 0;
}

TEVRA_API int tevra_tls_alloc(pthread_key_t *key, void (*destructor)(void *)) {
    return key != nullptr ? ok(pthread_key_create(key, destructor)) : 0;
}

TEVRA_API int tevra_tls_setvalue(pthread_key_t key, void *value) {
    return ok(pthread_setspecific(key, value));
}

TEVRA_API void *tevra_tls_getvalue(pthread_key_t key) {
    return pthread_getspecific(key);
}

TEVRA_API int tevra_tls_free(pthread_key_t key) {
    return ok(pthread_key_delete(key));
}

} // extern "C"
