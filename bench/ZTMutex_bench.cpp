// Counting under a mutex: by one thread, and by two at the same time.

#include "bench/support/Pinning.h"
#include "zt/ZTMutex.h"

#include <benchmark/benchmark.h>

#include <Poco/Mutex.h>
#include <boost/thread/mutex.hpp>

#include <memory>
#include <mutex>

namespace {

using FloorMutex = boost::mutex;
using StdMutex = std::mutex;
using PocoMutex = Poco::FastMutex;

class ZtMutex {
public:
    void lock() { mutex->lock(); }
    void unlock() { mutex->unlock(); }

private:
    const std::unique_ptr<ZT::ZTMutex> mutex{ZT::ZTMutex::create()};
};

// Not beside the mutex, where not every contender has room for it.
alignas(64) volatile long counted;

template <class Mutex>
void count(benchmark::State& state, Mutex& mutex)
{
    pinTo(state.thread_index());
    for ([[maybe_unused]] auto _ : state) {
        mutex.lock();
        counted = counted + 1;
        mutex.unlock();
    }
}

template <class Mutex>
void mutexFree(benchmark::State& state)
{
    Mutex mutex;
    count(state, mutex);
}

template <class Mutex>
void mutexContended(benchmark::State& state)
{
    alignas(64) static Mutex mutex;
    count(state, mutex);
}

} // namespace

BENCHMARK_TEMPLATE(mutexFree, FloorMutex)->UseRealTime();
BENCHMARK_TEMPLATE(mutexFree, ZtMutex)->UseRealTime();
BENCHMARK_TEMPLATE(mutexFree, StdMutex)->UseRealTime();
BENCHMARK_TEMPLATE(mutexFree, PocoMutex)->UseRealTime();

BENCHMARK_TEMPLATE(mutexContended, FloorMutex)->Threads(2)->MinTime(0.2)->UseRealTime();
BENCHMARK_TEMPLATE(mutexContended, ZtMutex)->Threads(2)->MinTime(0.2)->UseRealTime();
BENCHMARK_TEMPLATE(mutexContended, StdMutex)->Threads(2)->MinTime(0.2)->UseRealTime();
BENCHMARK_TEMPLATE(mutexContended, PocoMutex)->Threads(2)->MinTime(0.2)->UseRealTime();
