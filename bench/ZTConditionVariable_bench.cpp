// Two threads hand a turn to each other, each on a core of its own: there and back.

#include "bench/support/Pinning.h"
#include "zt/ZTConditionVariable.h"
#include "zt/ZTLock.h"
#include "zt/ZTMutex.h"

#include <benchmark/benchmark.h>

#include <Poco/Condition.h>
#include <Poco/Mutex.h>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace {

struct FloorCondition {
    using Lock = boost::unique_lock<boost::mutex>;

    void wait(Lock& lock) { condition.wait(lock); }
    void notify() { condition.notify_one(); }

    boost::mutex mutex;
    boost::condition_variable condition;
};

struct ZtCondition {
    struct Lock {
        explicit Lock(const std::unique_ptr<ZT::ZTMutex>& mutex)
            : lock(ZT::ZTLock::create(mutex.get()))
        {}
        const std::unique_ptr<ZT::ZTLock> lock;
    };

    void wait(const Lock& lock) const { condition->wait(lock.lock.get()); }
    void notify() const { condition->notify_one(); }

    const std::unique_ptr<ZT::ZTMutex> mutex{ZT::ZTMutex::create()};
    const std::unique_ptr<ZT::ZTConditionVariable> condition{ZT::ZTConditionVariable::create()};
};

struct StdCondition {
    using Lock = std::unique_lock<std::mutex>;

    void wait(Lock& lock) { condition.wait(lock); }
    void notify() { condition.notify_one(); }

    std::mutex mutex;
    std::condition_variable condition;
};

struct PocoCondition {
    using Lock = Poco::FastMutex::ScopedLock;

    void wait(Lock&) { condition.wait(mutex); }
    void notify() { condition.signal(); }

    Poco::FastMutex mutex;
    Poco::Condition condition;
};

enum class Turn { MINE, YOURS, NOBODYS };

// Waits until it is the one's turn and makes it the other's. False once it is nobody's.
template <class Contender>
bool passOn(Contender& contender, Turn& turn, Turn from, Turn to)
{
    typename Contender::Lock lock(contender.mutex);
    while (turn != from && turn != Turn::NOBODYS) {
        contender.wait(lock);
    }
    if (turn == Turn::NOBODYS) {
        return false;
    }
    turn = to;
    contender.notify();
    return true;
}

template <class Contender>
void conditionHandOver(benchmark::State& state)
{
    pinTo(0);
    Contender contender;
    Turn turn = Turn::MINE;
    std::thread other([&] {
        pinTo(1);
        while (passOn(contender, turn, Turn::YOURS, Turn::MINE)) {
        }
    });
    for ([[maybe_unused]] auto _ : state) {
        passOn(contender, turn, Turn::MINE, Turn::YOURS);
    }
    passOn(contender, turn, Turn::MINE, Turn::NOBODYS);
    other.join();
}

} // namespace

BENCHMARK_TEMPLATE(conditionHandOver, FloorCondition)->UseRealTime();
BENCHMARK_TEMPLATE(conditionHandOver, ZtCondition)->UseRealTime();
BENCHMARK_TEMPLATE(conditionHandOver, StdCondition)->UseRealTime();
BENCHMARK_TEMPLATE(conditionHandOver, PocoCondition)->UseRealTime();
