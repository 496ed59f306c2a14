#include "zt/ZTSharedMutex.h"

#include "concurrency/BoostSharedMutex.h"
#include "support/Event.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/Locking.h"
#include "support/StartedThread.h"
#include "zt/ZTAutoLock.h"

#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/thread_only.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

using ZT::ZTAutoLock;
using ZT::ZTMutex;
using ZT::ZTSharedMutex;

namespace {

class ZTSharedMutexTest : public testing::Test {
protected:
    bool otherThreadCanShare()
    {
        bool shared = false;
        std::thread([&] {
            shared = mutex->try_lock_shared();
            if (shared) {
                mutex->unlock_shared();
            }
        }).join();
        return shared;
    }

    // Returns when a thread waits in lock(): it stops new shared holders.
    void awaitWriter()
    {
        while (otherThreadCanShare()) {
            std::this_thread::yield();
        }
    }

    std::unique_ptr<ZTSharedMutex> mutex{ZTSharedMutex::create()};
};

} // namespace

TEST(ZTSharedMutex, CreateThrowsWhenTheSystemRefuses)
{
    {
        const Interpose refused(interposed::pthread_mutex_init, [](auto...) { return EAGAIN; });
        EXPECT_THROW(ZTSharedMutex::create(), boost::thread_resource_error);
    }
    const Interpose refused(interposed::pthread_cond_init, [](auto...) { return EAGAIN; });
    EXPECT_THROW(ZTSharedMutex::create(), boost::thread_resource_error);
}

TEST_F(ZTSharedMutexTest, IsABoostSharedMutexBehindItsInterfaces)
{
    const ZTMutex* asMutex = mutex.get();
    EXPECT_NE(dynamic_cast<const ZT::BoostSharedMutex*>(asMutex), nullptr);
}

TEST_F(ZTSharedMutexTest, ManyHoldItSharedAtOnce)
{
    EXPECT_EQ(mutex->lock_shared(), 0);
    StartedThread second([this] {
        EXPECT_EQ(mutex->lock_shared(), 0);
        EXPECT_FALSE(otherThreadCanLock(*mutex));
        EXPECT_TRUE(otherThreadCanShare());
        EXPECT_EQ(mutex->unlock_shared(), 0);
    });
    second.join();
    EXPECT_FALSE(otherThreadCanLock(*mutex)) << "one holder is left";
    EXPECT_EQ(mutex->unlock_shared(), 0);
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}

TEST_F(ZTSharedMutexTest, OneHoldsItExclusively)
{
    EXPECT_EQ(mutex->lock(), 0);
    EXPECT_FALSE(otherThreadCanLock(*mutex));
    EXPECT_FALSE(otherThreadCanShare());
    EXPECT_EQ(mutex->unlock(), 0);
    EXPECT_TRUE(mutex->try_lock());
    EXPECT_FALSE(otherThreadCanShare());
    mutex->unlock();
    EXPECT_TRUE(mutex->try_lock_shared());
    EXPECT_FALSE(otherThreadCanLock(*mutex));
    mutex->unlock_shared();
}

TEST_F(ZTSharedMutexTest, AWaitingWriterStopsNewReaders)
{
    std::atomic<bool> hasRead{false};
    mutex->lock_shared();
    StartedThread writer([this] {
        mutex->lock();
        mutex->unlock();
    });
    awaitWriter();
    EXPECT_FALSE(mutex->try_lock_shared());
    Event reading;
    StartedThread reader([&] {
        reading.happen();
        mutex->lock_shared();
        hasRead = true;
        mutex->unlock_shared();
    });
    reading.await();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(hasRead);
    mutex->unlock_shared();
    writer.join();
    reader.join();
    EXPECT_TRUE(hasRead);
}

TEST_F(ZTSharedMutexTest, TheLastReaderLetsTheWriterIn)
{
    bool written = false;
    mutex->lock_shared();
    mutex->lock_shared();
    StartedThread writer([&] {
        mutex->lock();
        written = true;
        mutex->unlock();
    });
    awaitWriter();
    mutex->unlock_shared();
    EXPECT_FALSE(otherThreadCanShare()) << "the writer still waits for the last one";
    mutex->unlock_shared();
    writer.join();
    EXPECT_TRUE(written);
}

TEST_F(ZTSharedMutexTest, AWaitingWriterHasItsChanceButNoGuaranteedTurn)
{
    Event readerIsIn;
    static thread_local bool isWriter = false;
    // The writer wakes up late, as it may.
    const Interpose late(interposed::pthread_cond_wait,
                         [&](pthread_cond_t* condition, pthread_mutex_t* stateMutex) {
                             if (!std::exchange(isWriter, false)) {
                                 return interposed::pthread_cond_wait.real(condition, stateMutex);
                             }
                             pthread_mutex_unlock(stateMutex);
                             readerIsIn.await();
                             return pthread_mutex_lock(stateMutex);
                         });
    bool written = false;
    mutex->lock_shared();
    StartedThread writer([&] {
        isWriter = true;
        mutex->lock();
        written = true;
        mutex->unlock();
    });
    awaitWriter();
    StartedThread reader([&] {
        mutex->lock_shared();
        EXPECT_FALSE(written);
        readerIsIn.happen();
        mutex->unlock_shared();
    });
    mutex->unlock_shared();
    reader.join();
    writer.join();
    EXPECT_TRUE(written);
}

TEST_F(ZTSharedMutexTest, IsRecursiveInNeitherMode)
{
    mutex->lock();
    EXPECT_FALSE(mutex->try_lock());
    EXPECT_FALSE(mutex->try_lock_shared());
    mutex->unlock();
    mutex->lock_shared();
    EXPECT_FALSE(mutex->try_lock()) << "a shared holder cannot become the exclusive one";
    mutex->unlock_shared();
}

TEST_F(ZTSharedMutexTest, StaysLockedInAForkedChildAndCanBeDeletedThere)
{
    mutex->lock_shared();
    StartedThread writer([this] {
        mutex->lock();
        mutex->unlock();
    });
    awaitWriter();
    EXPECT_TRUE(succeedsInForkedChild([this] {
        EXPECT_FALSE(mutex->try_lock());
        mutex.reset();
    }));
    mutex->unlock_shared();
    writer.join();
}

TEST_F(ZTSharedMutexTest, AnAutoLockTakesItSharedOrExclusivelyByTheStaticType)
{
    {
        const ZTAutoLock shared(mutex.get());
        EXPECT_TRUE(otherThreadCanShare());
        EXPECT_FALSE(otherThreadCanLock(*mutex));
    }
    {
        const ZTAutoLock exclusive(static_cast<ZTMutex*>(mutex.get()));
        EXPECT_FALSE(otherThreadCanShare());
        EXPECT_FALSE(otherThreadCanLock(*mutex));
    }
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}

TEST_F(ZTSharedMutexTest, NoOperationIsAnInterruptionPoint)
{
    bool isStillToCome = false;
    Event interrupting;
    StartedThread thread([&] {
        interrupting.await();
        mutex->lock();
        mutex->unlock();
        EXPECT_TRUE(mutex->try_lock());
        mutex->unlock();
        mutex->lock_shared();
        mutex->unlock_shared();
        EXPECT_TRUE(mutex->try_lock_shared());
        mutex->unlock_shared();
        isStillToCome = boost::this_thread::interruption_requested();
    });
    thread.interrupt();
    interrupting.happen();
    thread.join();
    EXPECT_TRUE(isStillToCome);
}

TEST_F(ZTSharedMutexTest, NoInterruptionComesOutOfALockThatWaits)
{
    int held = 0;
    std::atomic<int> waiting{0};
    const Interpose counting(interposed::pthread_cond_wait,
                             [&](pthread_cond_t* condition, pthread_mutex_t* stateMutex) {
                                 ++waiting;
                                 return interposed::pthread_cond_wait.real(condition, stateMutex);
                             });
    mutex->lock();
    const auto shared = std::make_unique<StartedThread>([&] {
        EXPECT_NO_THROW(mutex->lock_shared());
        mutex->unlock_shared();
    });
    StartedThread exclusive([&] {
        EXPECT_NO_THROW(mutex->lock());
        ++held;
        mutex->unlock();
    });
    while (waiting < 2) {
        std::this_thread::yield();
    }
    shared->interrupt();
    exclusive.interrupt();
    mutex->unlock();
    shared->join();
    exclusive.join();
    EXPECT_EQ(held, 1);
}

TEST_F(ZTSharedMutexTest, EveryOperationThrowsWhenTheSystemRefusesItsMutex)
{
    const auto begin = reinterpret_cast<std::uintptr_t>(mutex.get());
    bool refuse = true;
    const Interpose refused(interposed::pthread_mutex_lock, [&](pthread_mutex_t* locked) {
        const auto address = reinterpret_cast<std::uintptr_t>(locked);
        const bool own = address >= begin && address < begin + sizeof(ZT::BoostSharedMutex);
        return own && refuse ? EINVAL : interposed::pthread_mutex_lock.real(locked);
    });
    EXPECT_THROW(mutex->lock(), boost::lock_error);
    EXPECT_THROW(mutex->try_lock(), boost::lock_error);
    EXPECT_THROW(mutex->unlock(), boost::lock_error);
    EXPECT_THROW(mutex->lock_shared(), boost::lock_error);
    EXPECT_THROW(mutex->try_lock_shared(), boost::lock_error);
    EXPECT_THROW(mutex->unlock_shared(), boost::lock_error);
    refuse = false;
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}

TEST_F(ZTSharedMutexTest, ReadersNeverSeeAHalfWrittenPair)
{
    const int rounds = 3000;
    int first = 0;
    int second = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const ZTAutoLock lock(static_cast<ZTMutex*>(mutex.get()));
                ++first;
                ++second;
            }
        });
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const ZTAutoLock lock(mutex.get());
                EXPECT_EQ(first, second);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(first, 2 * rounds);
}
