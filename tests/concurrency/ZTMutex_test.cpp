#include "zt/ZTMutex.h"

#include "concurrency/BoostMutex.h"
#include "support/Event.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/Locking.h"

#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using ZT::ZTMutex;

namespace {

std::unique_ptr<ZTMutex> newMutex()
{
    return std::unique_ptr<ZTMutex>(ZTMutex::create());
}

} // namespace

TEST(ZTMutex, LockReturns0AndKeepsOthersOut)
{
    const auto mutex = newMutex();
    EXPECT_EQ(mutex->lock(), 0);
    EXPECT_FALSE(otherThreadCanLock(*mutex));
    EXPECT_EQ(mutex->unlock(), 0);
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}

TEST(ZTMutex, TryLockTakesAFreeMutex)
{
    const auto mutex = newMutex();
    EXPECT_TRUE(mutex->try_lock());
    EXPECT_FALSE(otherThreadCanLock(*mutex));
    mutex->unlock();
}

TEST(ZTMutex, LockWaitsUntilTheHolderUnlocks)
{
    const auto mutex = newMutex();
    mutex->lock();
    bool unlocked = false;
    Event waiting;
    std::thread waiter([&] {
        waiting.happen();
        mutex->lock();
        EXPECT_TRUE(unlocked);
        mutex->unlock();
    });
    waiting.await();
    unlocked = true;
    mutex->unlock();
    waiter.join();
}

TEST(ZTMutex, ExcludesManyThreadsFromEachOther)
{
    const auto mutex = newMutex();
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < 10000; ++i) {
            mutex->lock();
            ++counter;
            mutex->unlock();
        }
    };
    std::thread first(count);
    std::thread second(count);
    first.join();
    second.join();
    EXPECT_EQ(counter, 20000);
}

TEST(ZTMutex, IsNotRecursive)
{
    const auto mutex = newMutex();
    mutex->lock();
    EXPECT_FALSE(mutex->try_lock());
    mutex->unlock();
}

TEST(ZTMutex, DeletingItDestroysTheSystemsMutex)
{
    auto mutex = newMutex();
    int destroyed = 0;
    const Interpose counting(interposed::pthread_mutex_destroy, [&](pthread_mutex_t* native) {
        ++destroyed;
        return interposed::pthread_mutex_destroy.real(native);
    });
    mutex.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(ZTMutex, StaysLockedInAForkedChildAndCanBeDeletedThere)
{
    auto mutex = newMutex();
    Event locked;
    Event unlocking;
    std::thread holder([&] {
        mutex->lock();
        locked.happen();
        unlocking.await();
        mutex->unlock();
    });
    locked.await();
    EXPECT_TRUE(succeedsInForkedChild([&] {
        EXPECT_FALSE(mutex->try_lock());
        mutex.reset();
    }));
    unlocking.happen();
    holder.join();
    EXPECT_TRUE(mutex->try_lock());
    mutex->unlock();
}

TEST(ZTMutex, IsABoostMutexBehindItsInterface)
{
    const auto mutex = newMutex();
    EXPECT_NE(dynamic_cast<ZT::BoostMutex*>(mutex.get()), nullptr);
}

TEST(ZTMutex, CreateThrowsWhenTheSystemRefuses)
{
    const Interpose refused(interposed::pthread_mutex_init, [](auto...) { return EAGAIN; });
    EXPECT_THROW(ZTMutex::create(), boost::thread_resource_error);
}

TEST(ZTMutex, LockThrowsWhenTheSystemRefuses)
{
    const auto mutex = newMutex();
    bool refuse = false;
    const Interpose refused(interposed::pthread_mutex_lock, [&](pthread_mutex_t* locked) {
        return refuse ? EINVAL : interposed::pthread_mutex_lock.real(locked);
    });
    refuse = true;
    EXPECT_THROW(
        {
            try {
                mutex->lock();
            } catch (...) {
                refuse = false;
                throw;
            }
        },
        boost::lock_error);
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}
