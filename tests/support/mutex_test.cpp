#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <type_traits>

#include "codrelay/utils/threads.h"

namespace {

using utils::ThreadMutex;

static_assert(!std::is_copy_constructible_v<ThreadMutex> && !std::is_copy_assignable_v<ThreadMutex>);
static_assert(!std::is_copy_constructible_v<CMutexLocker> && !std::is_copy_assignable_v<CMutexLocker>);
static_assert(!std::is_copy_constructible_v<CThread> && !std::is_copy_assignable_v<CThread>);
static_assert(sizeof(ThreadMutex) == sizeof(void*));
static_assert(sizeof(CMutexLocker) == 2 * sizeof(void*));

/// Whether another thread could take the mutex now.
bool FreeForOthers(ThreadMutex& mutex) {
    return std::async(std::launch::async,
                      [&mutex] {
                          const bool taken = mutex.TryLock();
                          if (taken) {
                              mutex.Unlock();
                          }
                          return taken;
                      })
        .get();
}

TEST(ThreadMutexTest, IsFreeWhenMadeAndAfterItWasGivenBack) {
    ThreadMutex mutex;
    EXPECT_TRUE(FreeForOthers(mutex));
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_FALSE(FreeForOthers(mutex));
    EXPECT_EQ(mutex.Unlock(), 0);
    EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(ThreadMutexTest, IsRecursive) {
    ThreadMutex mutex;
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_EQ(mutex.Lock(), 0);
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
    mutex.Unlock();
    EXPECT_FALSE(FreeForOthers(mutex)) << "one level is still held";
    mutex.Unlock();
    EXPECT_TRUE(FreeForOthers(mutex));
}

#ifndef __SANITIZE_THREAD__  // which ends a program for what this test does
TEST(ThreadMutexTest, UnlockPassesThePlatformsRefusalOn) {
    ThreadMutex mutex;
    EXPECT_EQ(mutex.Unlock(), EPERM);
}
#endif

TEST(MutexLockerTest, HoldsTheMutexForItsScope) {
    ThreadMutex mutex;
    {
        CMutexLocker locker(&mutex, true);
        EXPECT_TRUE(locker.IsLocked());
        EXPECT_FALSE(FreeForOthers(mutex));
    }
    EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(MutexLockerTest, MadeUnlockedItHoldsNothingAndItsDestructorDoesNotUnlock) {
    ThreadMutex mutex;
    mutex.Lock();
    {
        CMutexLocker locker(&mutex, false);
        EXPECT_FALSE(locker.IsLocked());
    }
    EXPECT_FALSE(FreeForOthers(mutex)) << "the destructor gave back a level that was not its own";
    mutex.Unlock();
}

TEST(MutexLockerTest, LockAndUnlockMayBeRepeatedWhateverTheDepth) {
    ThreadMutex mutex;
    CMutexLocker locker(&mutex, true);
    locker.Lock();
    locker.Lock();
    EXPECT_TRUE(locker.IsLocked());
    locker.Unlock();
    EXPECT_FALSE(locker.IsLocked());
    EXPECT_TRUE(FreeForOthers(mutex)) << "more than one level was taken";
    mutex.Lock();
    locker.Unlock();
    EXPECT_FALSE(FreeForOthers(mutex)) << "a level was given back that the locker did not hold";
    mutex.Unlock();
}

TEST(MutexLockerTest, MayGiveTheMutexBackEarlyAndTakeItAgain) {
    ThreadMutex mutex;
    {
        CMutexLocker locker(&mutex, true);
        locker.Unlock();
        EXPECT_TRUE(FreeForOthers(mutex));
        locker.Lock();
        EXPECT_FALSE(FreeForOthers(mutex));
    }
    EXPECT_TRUE(FreeForOthers(mutex));
}

TEST(MutexLockerTest, OnAThreadThatHoldsTheMutexItReleasesItsOwnLevelOnly) {
    ThreadMutex mutex;
    CMutexLocker outer(&mutex, true);
    { CMutexLocker inner(&mutex, true); }
    EXPECT_TRUE(outer.IsLocked());
    EXPECT_FALSE(FreeForOthers(mutex));
}

}  // namespace
