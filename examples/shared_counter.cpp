// Four threads count together: a lock lets one of them at a time do so.

#include "zt/ZTAutoLock.h"
#include "zt/ZTMutex.h"
#include "zt/ZTThread.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace {

const int THREADS = 4;
const int TIMES = 10000;

struct Counter {
    const std::unique_ptr<ZT::ZTMutex> mutex{ZT::ZTMutex::create()};
    int value = 0;
};

void count(void* argument)
{
    Counter& counter = *static_cast<Counter*>(argument);
    for (int i = 0; i < TIMES; ++i) {
        const ZT::ZTAutoLock lock(counter.mutex.get()); // until the end of this turn
        ++counter.value;
    }
}

} // namespace

int main()
{
    Counter counter;
    std::vector<std::unique_ptr<ZT::ZTThread>> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back(ZT::ZTThread::create("counter"));
        threads.back()->startThread(count, &counter);
    }
    for (const auto& thread : threads) {
        thread->join();
    }
    std::printf("counted to %d\n", counter.value);
}
