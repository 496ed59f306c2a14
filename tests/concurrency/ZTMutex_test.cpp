#include "zt/ZTMutex.h"

#include "concurrency/BoostMutex.h"
#include "support/Emulation.h"
#include "support/Event.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/Locking.h"

#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <thread>
#include <unistd.h>

using ZT::ZTMutex;

namespace {

std::unique_ptr<ZTMutex> newMutex()
{
    return std::unique_ptr<ZTMutex>(ZTMutex::create());
}

// The system's, which lends its holder the priority of a waiter.
class LendingMutex {
public:
    LendingMutex()
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~LendingMutex() { pthread_mutex_destroy(&mutex); }

    LendingMutex(const LendingMutex&) = delete;
    LendingMutex& operator=(const LendingMutex&) = delete;

    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex{};
};

// What the system says of a thread: its state, and 15 fields later the priority that it runs with.
struct ThreadStatus {
    explicit ThreadStatus(pid_t thread)
    {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        file.ignore(std::numeric_limits<std::streamsize>::max(), ')') >> state;
        for (int field = 0; field < 15; ++field) {
            file >> priority;
        }
    }

    char state = '?';
    long priority = 0;
};

// With which priority the caller runs while it holds the mutex and an urgent thread waits for it; 0
// without the right to have an urgent thread.
template <class Mutex>
long priorityWhileUrgentWaits(Mutex& mutex)
{
    mutex.lock();
    std::promise<pid_t> urgentThread;
    std::thread urgent([&] {
        sched_param parameter{};
        parameter.sched_priority = 2;
        const bool isUrgent = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
        urgentThread.set_value(isUrgent ? gettid() : 0);
        mutex.lock();
        mutex.unlock();
    });
    const pid_t waiter = urgentThread.get_future().get();
    while (waiter != 0 && ThreadStatus(waiter).state != 'S') {
        std::this_thread::yield();
    }
    const long priority = waiter == 0 ? 0 : ThreadStatus(gettid()).priority;
    mutex.unlock();
    urgent.join();
    return priority;
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

TEST(ZTMutex, DoesNotLendItsHolderThePriorityOfAWaiter)
{
    SKIP_UNDER_VALGRIND("its own lock makes threads wait, too");
    LendingMutex lending;
    const long lent = priorityWhileUrgentWaits(lending);
    if (lent == 0) {
        GTEST_SKIP() << "no right to a real-time priority";
    }
    EXPECT_EQ(lent, -3);
    const auto mutex = newMutex();
    EXPECT_EQ(priorityWhileUrgentWaits(*mutex), ThreadStatus(gettid()).priority);
    EXPECT_GE(ThreadStatus(gettid()).priority, 0);
}
