#include "zt/ZTLock.h"

#include "concurrency/BoostUniqueLock.h"
#include "support/Event.h"
#include "support/Interpose.h"
#include "support/Locking.h"
#include "zt/ZTMutex.h"

#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

using ZT::ZTLock;
using ZT::ZTMutex;

namespace {

class ZTLockTest : public testing::Test {
protected:
    const std::unique_ptr<ZTMutex> mutex{ZTMutex::create()};
};

} // namespace

TEST_F(ZTLockTest, HoldsTheMutexUntilItIsDeleted)
{
    ZTLock* lock = ZTLock::create(mutex.get());
    EXPECT_FALSE(otherThreadCanLock(*mutex));
    delete lock;
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}

TEST_F(ZTLockTest, DeletingItLetsABlockedThreadProceed)
{
    ZTLock* lock = ZTLock::create(mutex.get());
    bool deleted = false;
    Event waiting;
    std::thread waiter([&] {
        waiting.happen();
        mutex->lock();
        EXPECT_TRUE(deleted);
        mutex->unlock();
    });
    waiting.await();
    deleted = true;
    delete lock;
    waiter.join();
}

TEST_F(ZTLockTest, CreateWaitsForTheMutex)
{
    mutex->lock();
    bool unlocked = false;
    Event waiting;
    std::thread waiter([&] {
        waiting.happen();
        const std::unique_ptr<ZTLock> lock(ZTLock::create(mutex.get()));
        EXPECT_TRUE(unlocked);
    });
    waiting.await();
    unlocked = true;
    mutex->unlock();
    waiter.join();
}

TEST_F(ZTLockTest, IsABoostUniqueLockBehindItsInterface)
{
    const std::unique_ptr<ZTLock> lock(ZTLock::create(mutex.get()));
    auto* boostLock = dynamic_cast<ZT::BoostUniqueLock*>(lock.get());
    ASSERT_NE(boostLock, nullptr);
    EXPECT_TRUE(boostLock->getBoostLock().owns_lock());
}

TEST_F(ZTLockTest, CreateThrowsWhenTheSystemRefusesAndHoldsNothing)
{
    bool refuse = false;
    const Interpose refused(interposed::pthread_mutex_lock, [&](pthread_mutex_t* locked) {
        return refuse ? EINVAL : interposed::pthread_mutex_lock.real(locked);
    });
    refuse = true;
    EXPECT_THROW(
        {
            try {
                ZTLock::create(mutex.get());
            } catch (...) {
                refuse = false;
                throw;
            }
        },
        boost::lock_error);
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}
