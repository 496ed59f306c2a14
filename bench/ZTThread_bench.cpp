// A thread with a name is started, does nothing, and is joined.

#include "bench/support/Pinning.h"
#include "zt/ZTThread.h"

#include <benchmark/benchmark.h>

#include <Poco/Thread.h>
#include <boost/thread/thread.hpp>

#include <memory>
#include <pthread.h>
#include <thread>

namespace {

const char* const NAME = "worker";

void work(void* /*argument*/) {}

// Names it as the library does.
template <class Thread>
struct Plain {
    static void startAndJoin()
    {
        Thread thread(work, nullptr);
        pthread_setname_np(thread.native_handle(), NAME);
        thread.join();
    }
};

using FloorThread = Plain<boost::thread>;
using StdThread = Plain<std::thread>;

struct ZtThread {
    static void startAndJoin()
    {
        const std::unique_ptr<ZT::ZTThread> thread(ZT::ZTThread::create(NAME));
        thread->startThread(work, nullptr);
        thread->join();
    }
};

struct PocoThread {
    static void startAndJoin()
    {
        Poco::Thread thread(NAME);
        thread.start(work, nullptr);
        thread.join();
    }
};

template <class Thread>
void threadStartAndJoin(benchmark::State& state)
{
    pinTo(0);
    for ([[maybe_unused]] auto _ : state) {
        Thread::startAndJoin();
    }
}

} // namespace

BENCHMARK_TEMPLATE(threadStartAndJoin, FloorThread)->UseRealTime();
BENCHMARK_TEMPLATE(threadStartAndJoin, ZtThread)->UseRealTime();
BENCHMARK_TEMPLATE(threadStartAndJoin, StdThread)->UseRealTime();
BENCHMARK_TEMPLATE(threadStartAndJoin, PocoThread)->UseRealTime();
