// Hands numbers from one thread to another through a queue of at most three, each side waiting for
// the other, and gives up when nothing comes for a second.

#include "zt/ZTConditionVariable.h"
#include "zt/ZTLock.h"
#include "zt/ZTMutex.h"
#include "zt/ZTThread.h"

#include <cstdio>
#include <deque>
#include <memory>

namespace {

const std::size_t CAPACITY = 3;
const int ITEMS = 10;
const unsigned int PATIENCE_MS = 1000;

class BoundedQueue {
public:
    void put(int item)
    {
        const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(mutex.get()));
        while (items.size() == CAPACITY) {
            changed->wait(lock.get());
        }
        items.push_back(item);
        changed->notify_all();
    }

    // False when nothing has come within PATIENCE_MS.
    bool take(int& item)
    {
        const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(mutex.get()));
        unsigned int remaining = PATIENCE_MS;
        while (items.empty() && remaining > 0) {
            changed->timed_wait(lock.get(), remaining, remaining);
        }
        if (items.empty()) {
            return false;
        }
        item = items.front();
        items.pop_front();
        changed->notify_all();
        return true;
    }

private:
    const std::unique_ptr<ZT::ZTMutex> mutex{ZT::ZTMutex::create()};
    const std::unique_ptr<ZT::ZTConditionVariable> changed{ZT::ZTConditionVariable::create()};
    std::deque<int> items;
};

void produce(void* queue)
{
    for (int item = 1; item <= ITEMS; ++item) {
        static_cast<BoundedQueue*>(queue)->put(item * item);
    }
}

} // namespace

int main()
{
    BoundedQueue queue;
    const std::unique_ptr<ZT::ZTThread> producer(ZT::ZTThread::create("producer"));
    producer->startThread(produce, &queue);
    int item = 0;
    while (queue.take(item)) {
        std::printf("%d\n", item);
    }
    std::puts("nothing more comes");
    producer->join();
}
