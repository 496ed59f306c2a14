#include "bench/costs/Operations.h"
#include "bench/support/require.h"
#include "zt/ZTConditionVariable.h"
#include "zt/ZTLock.h"
#include "zt/ZTMutex.h"
#include "zt/ZTSharedMutex.h"

#include <memory>
#include <pthread.h>

namespace {

void nothing(Meter& meter, std::size_t /*size*/)
{
    meter.count([] {});
}

void mutexByHand(Meter& meter, std::size_t /*size*/)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    meter.count([&] {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    });
}

void mutex(Meter& meter, std::size_t /*size*/)
{
    const std::unique_ptr<ZT::ZTMutex> mutex(ZT::ZTMutex::create());
    meter.count([&] {
        mutex->lock();
        mutex->unlock();
    });
}

void sharedMutexShared(Meter& meter, std::size_t /*size*/)
{
    const std::unique_ptr<ZT::ZTSharedMutex> mutex(ZT::ZTSharedMutex::create());
    meter.count([&] {
        mutex->lock_shared();
        mutex->unlock_shared();
    });
}

void sharedMutexExclusive(Meter& meter, std::size_t /*size*/)
{
    const std::unique_ptr<ZT::ZTSharedMutex> mutex(ZT::ZTSharedMutex::create());
    meter.count([&] {
        mutex->lock();
        mutex->unlock();
    });
}

void notify(Meter& meter, std::size_t /*size*/)
{
    const std::unique_ptr<ZT::ZTConditionVariable> condition(ZT::ZTConditionVariable::create());
    meter.count([&] { condition->notify_one(); });
}

// The time stands still, in the past: a wait that has been done is over at once.
void timedWait(Meter& meter, std::size_t /*size*/)
{
    const std::unique_ptr<ZT::ZTMutex> mutex(ZT::ZTMutex::create());
    const std::unique_ptr<ZT::ZTConditionVariable> condition(ZT::ZTConditionVariable::create());
    const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(mutex.get()));
    meter.count([&] {
        unsigned int remaining = 1;
        condition->timed_wait(lock.get(), 10, remaining);
        require(remaining == 0, "timed_wait");
    });
}

const Operations ADDED({
    {"nothing", nothing, 0},
    {"mutex: lock and unlock", mutex, 0},
    {"mutex: lock and unlock, by hand", mutexByHand, 0},
    {"shared mutex: lock and unlock shared", sharedMutexShared, 0},
    {"shared mutex: lock and unlock", sharedMutexExclusive, 0},
    {"condition: notify nobody", notify, 0},
    {"condition: wait until the deadline", timedWait, 0},
});

} // namespace
