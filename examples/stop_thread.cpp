// Stops a thread that works on and on: it looks at a flag between two pieces of work, and a
// condition variable ends its waiting at once.

#include "zt/ZTConditionVariable.h"
#include "zt/ZTLock.h"
#include "zt/ZTMutex.h"
#include "zt/ZTThread.h"

#include <cstdio>
#include <memory>

namespace {

const unsigned int AN_HOUR_MS = 3600 * 1000;

class Worker {
public:
    void start() { thread->startThread(run, this); }

    // When it returns, the thread has ended.
    void stop()
    {
        {
            const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(mutex.get()));
            stopped = true;
        }
        changed->notify_one();
        thread->join();
    }

private:
    static void run(void* argument)
    {
        Worker& worker = *static_cast<Worker*>(argument);
        const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(worker.mutex.get()));
        std::puts("the thread has begun");
        while (!worker.stopped) {
            // Here is a piece of work, once an hour.
            unsigned int remaining = AN_HOUR_MS;
            while (!worker.stopped && remaining > 0) {
                worker.changed->timed_wait(lock.get(), remaining, remaining);
            }
        }
        std::puts("the thread ends");
    }

    const std::unique_ptr<ZT::ZTMutex> mutex{ZT::ZTMutex::create()};
    const std::unique_ptr<ZT::ZTConditionVariable> changed{ZT::ZTConditionVariable::create()};
    const std::unique_ptr<ZT::ZTThread> thread{ZT::ZTThread::create("worker")};
    bool stopped = false;
};

} // namespace

int main()
{
    Worker worker;
    worker.start();
    worker.stop();
    std::puts("the thread has ended");
}
