#ifndef ZT_TESTS_EVENT_H
#define ZT_TESTS_EVENT_H

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Something that one thread makes happen and others wait for.
class Event {
public:
    void happen()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        happened = true;
        condition.notify_all();
    }

    void await()
    {
        std::unique_lock<std::mutex> lock(mutex);
        condition.wait(lock, [this] { return happened; });
    }

    bool awaitFor(std::chrono::milliseconds limit)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return condition.wait_for(lock, limit, [this] { return happened; });
    }

private:
    std::mutex mutex;
    std::condition_variable condition;
    bool happened = false;
};

#endif
