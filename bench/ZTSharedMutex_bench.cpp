// A shared mutex is taken for reading and given back: by one thread, and by two at the same time.

#include "bench/support/Pinning.h"
#include "zt/ZTSharedMutex.h"

#include <benchmark/benchmark.h>

#include <Poco/RWLock.h>
#include <boost/thread/shared_mutex.hpp>

#include <memory>
#include <shared_mutex>

namespace {

using FloorMutex = boost::shared_mutex;
using StdMutex = std::shared_mutex;

class ZtMutex {
public:
    void lock_shared() { mutex->lock_shared(); }
    void unlock_shared() { mutex->unlock_shared(); }

private:
    const std::unique_ptr<ZT::ZTSharedMutex> mutex{ZT::ZTSharedMutex::create()};
};

class PocoMutex {
public:
    void lock_shared() { lock.readLock(); }
    void unlock_shared() { lock.unlock(); }

private:
    Poco::RWLock lock;
};

template <class Mutex>
void sharedMutexShared(benchmark::State& state)
{
    alignas(64) static Mutex mutex;
    pinTo(state.thread_index());
    for ([[maybe_unused]] auto _ : state) {
        mutex.lock_shared();
        mutex.unlock_shared();
    }
}

void threads(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Threads(1)->Threads(2)->UseRealTime();
}

} // namespace

BENCHMARK_TEMPLATE(sharedMutexShared, FloorMutex)->Apply(threads);
BENCHMARK_TEMPLATE(sharedMutexShared, ZtMutex)->Apply(threads);
BENCHMARK_TEMPLATE(sharedMutexShared, StdMutex)->Apply(threads);
BENCHMARK_TEMPLATE(sharedMutexShared, PocoMutex)->Apply(threads);
