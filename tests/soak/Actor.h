#ifndef ZT_SOAK_ACTOR_H
#define ZT_SOAK_ACTOR_H

#include "Random.h"

#include "zt/ZTThread.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

/// Uses one part of the library, round after round, on a thread of its own between start() and
/// stop().
class Actor {
public:
    explicit Actor(unsigned int seed) : random(seed) {}
    virtual ~Actor() = default;

    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    void start()
    {
        stopped = false;
        thread.reset(ZT::ZTThread::create("soak"));
        thread->startThread([](void* self) { static_cast<Actor*>(self)->run(); }, this);
    }

    void stop()
    {
        stopped = true;
        thread->join();
        thread.reset();
    }

    /// What it has done so far, for people.
    virtual std::string report() const = 0;

protected:
    void pauseUpTo(unsigned int milliseconds)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(random.below(milliseconds + 1)));
    }

    Random random;

private:
    virtual void playRound() = 0;

    /// Whether the last round has been played, once it is to stop.
    virtual bool isDone() const { return true; }

    void run()
    {
        while (!stopped || !isDone()) {
            playRound();
        }
    }

    std::atomic<bool> stopped{false};
    std::unique_ptr<ZT::ZTThread> thread;
};

#endif
