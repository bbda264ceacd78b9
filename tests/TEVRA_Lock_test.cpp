// Locks, reader-writer locks, atomics, conditions and thread-local keys.
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "TEVRA_Lock.h"
#include "test_support.h"

using tevra_test::LeakCheck;
using namespace std::chrono_literals;

class Lock : public LeakCheck {};

namespace {

// Waits (bounded) until flag becomes true.
bool eventually(const std::atomic<bool> &flag) {
    for (int i = 0; i < 2000 && !flag.load(); ++i)
        std::this_thread::sleep_for(5ms);
    return flag.load();
}

} // namespace

TEST_F(Lock, RecursiveLockExcludesOtherThreadsAndProtectsACounter) {
    TEVRA_Lock *lock = tevra_lock_new();
    ASSERT_NE(lock, nullptr);
    EXPECT_EQ(tevra_lock_lock(lock), 1);
    EXPECT_EQ(tevra_lock_lock(lock), 1);
    EXPECT_EQ(tevra_lock_trylock(lock), 1);
    int other = -1;
    std::thread([&] { other = tevra_lock_trylock(lock); }).join();
    EXPECT_EQ(other, 0);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(tevra_lock_unlock(lock), 1);
    std::thread([&] {
        other = tevra_lock_trylock(lock);
        tevra_lock_unlock(lock);
    }).join();
    EXPECT_EQ(other, 1);
    long counter = 0;
    auto work = [&] {
        for (int i = 0; i < 20000; ++i) {
            tevra_lock_lock(lock);
            ++counter;
            tevra_lock_unlock(lock);
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    EXPECT_EQ(counter, 40000);
    tevra_lock_free(lock);
    tevra_lock_free(nullptr);
    for (auto op : {tevra_lock_lock, tevra_lock_unlock, tevra_lock_trylock})
        EXPECT_EQ(op(nullptr), 0);
}

TEST_F(Lock, ReaderGetsInWhileAWriterWaits) {
    TEVRA_RWLock *rw = tevra_rwlock_new();
    ASSERT_NE(rw, nullptr);
    ASSERT_EQ(tevra_rwlock_readerlock(rw), 1);
    std::atomic<bool> writer_in{false};
    std::thread writer([&] {
        EXPECT_EQ(tevra_rwlock_writerlock(rw), 1);
        writer_in = true;
        EXPECT_EQ(tevra_rwlock_writerunlock(rw), 1);
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(writer_in.load());
    // Readers are preferred: a second reader enters although a writer waits.
    EXPECT_EQ(tevra_rwlock_readerlock(rw), 1);
    EXPECT_EQ(tevra_rwlock_readerunlock(rw), 1);
    EXPECT_FALSE(writer_in.load());
    EXPECT_EQ(tevra_rwlock_readerunlock(rw), 1);
    EXPECT_TRUE(eventually(writer_in));
    writer.join();
    tevra_rwlock_free(rw);
}

TEST_F(Lock, OnceAReaderWaitedWriterUnlockWakesOnlyReaders) {
    TEVRA_RWLock *rw = tevra_rwlock_new();
    // A reader waits behind a writer until its unlock; the waiting count
    // never falls again.
    ASSERT_EQ(tevra_rwlock_writerlock(rw), 1);
    std::atomic<bool> reader_done{false};
    std::thread reader([&] {
        EXPECT_EQ(tevra_rwlock_readerlock(rw), 1);
        EXPECT_EQ(tevra_rwlock_readerunlock(rw), 1);
        reader_done = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(reader_done.load());
    EXPECT_EQ(tevra_rwlock_writerunlock(rw), 1);
    ASSERT_TRUE(eventually(reader_done));
    reader.join();

    // Now a writer waiting behind another writer is not woken by its unlock...
    ASSERT_EQ(tevra_rwlock_writerlock(rw), 1);
    std::atomic<bool> second_in{false};
    std::thread second([&] {
        tevra_rwlock_writerlock(rw);
        second_in = true;
        tevra_rwlock_writerunlock(rw);
    });
    std::this_thread::sleep_for(50ms);
    tevra_rwlock_writerunlock(rw);
    std::this_thread::sleep_for(100ms);
    EXPECT_FALSE(second_in.load());
    // ...only by a reader unlock that brings the active readers to zero.
    EXPECT_EQ(tevra_rwlock_readerlock(rw), 1);
    EXPECT_EQ(tevra_rwlock_readerunlock(rw), 1);
    EXPECT_TRUE(eventually(second_in));
    second.join();
    tevra_rwlock_free(rw);
    for (auto op : {tevra_rwlock_readerlock, tevra_rwlock_readerunlock, tevra_rwlock_writerlock,
                    tevra_rwlock_writerunlock})
        EXPECT_EQ(op(nullptr), 0);
    tevra_rwlock_free(nullptr);
}

TEST_F(Lock, Atomics) {
    int counter = 2;
    EXPECT_EQ(tevra_atomic_dec_and_test(&counter), 0);
    EXPECT_EQ(counter, 1);
    EXPECT_EQ(tevra_atomic_dec_and_test(&counter), 1);
    EXPECT_EQ(counter, 0);
    tevra_atomic_set(&counter, 10);
    EXPECT_EQ(tevra_atomic_get(&counter), 10);
    auto work = [&] {
        for (int i = 0; i < 50000; ++i) {
            tevra_atomic_inc(&counter);
            tevra_atomic_inc(&counter);
            tevra_atomic_dec(&counter);
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    EXPECT_EQ(tevra_atomic_get(&counter), 100010);
}

TEST_F(Lock, ConditionWakesAWaiter) {
    TEVRA_Lock *lock = tevra_lock_new();
    TEVRA_Condition *cond = tevra_condition_new();
    ASSERT_NE(cond, nullptr);
    bool ready = false;
    std::thread waiter([&] {
        tevra_lock_lock(lock);
        while (!ready)
            EXPECT_EQ(tevra_condition_wait(cond, lock), 1);
        tevra_lock_unlock(lock);
    });
    tevra_lock_lock(lock);
    ready = true;
    EXPECT_EQ(tevra_condition_signal(cond), 1);
    tevra_lock_unlock(lock);
    waiter.join();
    EXPECT_EQ(tevra_condition_broadcast(cond), 1);
    EXPECT_EQ(tevra_condition_wait(nullptr, lock), 0);
    EXPECT_EQ(tevra_condition_wait(cond, nullptr), 0);
    for (auto op : {tevra_condition_signal, tevra_condition_broadcast})
        EXPECT_EQ(op(nullptr), 0);
    tevra_condition_free(cond);
    tevra_condition_free(nullptr);
    tevra_lock_free(lock);
    tevra_test::fail_allocations_after(0);
    EXPECT_EQ(tevra_condition_new(), nullptr);
    tevra_test::fail_allocations_after(-1);
}

namespace {
std::atomic<int> g_destroyed{0};
void count_destroy(void *) {
    ++g_destroyed;
}
} // namespace

TEST_F(Lock, ThreadLocalKeysHoldPerThreadValues) {
    pthread_key_t key;
    ASSERT_EQ(tevra_tls_alloc(&key, count_destroy), 1);
    int mine = 1;
    int theirs = 2;
    EXPECT_EQ(tevra_tls_setvalue(key, &mine), 1);
    std::thread([&] {
        EXPECT_EQ(tevra_tls_getvalue(key), nullptr);
        tevra_tls_setvalue(key, &theirs);
        EXPECT_EQ(tevra_tls_getvalue(key), &theirs);
    }).join();
    EXPECT_EQ(g_destroyed.load(), 1);
    EXPECT_EQ(tevra_tls_getvalue(key), &mine);
    tevra_tls_setvalue(key, nullptr);
    EXPECT_EQ(tevra_tls_free(key), 1);
    EXPECT_EQ(tevra_tls_alloc(nullptr, nullptr), 0);
}
