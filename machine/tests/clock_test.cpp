#include "MachineClock.h"
#include "zt/ZTSleep.h"
#include "zt/ZTThread.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

using namespace ZT;

namespace {

const std::int64_t END_OF_SLEEP_0 = 2077252342; // 2035-10-29 06:32:22 UTC

/// One that does an action when the main thread waits.
class Meanwhile {
public:
    explicit Meanwhile(std::function<void()> action) : action(std::move(action))
    {
        thread->startThread(
            [](void* self) {
                ZTSleep::sleep(1, 0);
                static_cast<Meanwhile*>(self)->action();
            },
            this);
    }

    ~Meanwhile() { thread->join(); }
    Meanwhile(const Meanwhile&) = delete;
    Meanwhile& operator=(const Meanwhile&) = delete;

private:
    const std::function<void()> action;
    const std::unique_ptr<ZTThread> thread{ZTThread::create("meanwhile")};
};

/// A thread that runs until the end of the test.
class Endless {
public:
    Endless()
    {
        thread->startThread(
            [](void* self) {
                while (!static_cast<Endless*>(self)->isOver) {
                    ZTSleep::sleep(0, 10000000);
                }
            },
            this);
    }

    ~Endless()
    {
        isOver = true;
        thread->join();
    }
    Endless(const Endless&) = delete;
    Endless& operator=(const Endless&) = delete;

    ZTThread& get() { return *thread; }

private:
    std::atomic<bool> isOver{false};
    const std::unique_ptr<ZTThread> thread{ZTThread::create("endless")};
};

const int HOUR = 3600;
const std::int64_t TWO_HOURS = 7200;

} // namespace

TEST_F(Clock, AStepForwardEndsASleep)
{
    const Meanwhile forward([] { step(TWO_HOURS); });
    EXPECT_LT(duration([] { ZTThread::sleep(HOUR * 1000); }), HOUR * 1000);
}

TEST_F(Clock, AStepForwardEndsATimedJoin)
{
    Endless endless;
    const Meanwhile forward([] { step(TWO_HOURS); });
    EXPECT_EQ(endless.get().timed_join(HOUR * 1000), 1);
}

TEST_F(Clock, AStepBackLengthensASleepByTheStep)
{
    const Meanwhile back([] { step(-5); });
    EXPECT_GE(duration([] { ZTThread::sleep(2000); }), 5500);
}

TEST_F(Clock, AStepBackLengthensATimedJoinByTheStep)
{
    Endless endless;
    const Meanwhile back([] { step(-5); });
    EXPECT_GE(duration([&] { endless.get().timed_join(2000); }), 5500);
}

TEST_F(Clock, AStepMovesNoSleepOfTheSystem)
{
    const Meanwhile forward([] { step(HOUR); });
    EXPECT_GE(duration([] { ZTSleep::sleep(3, 0); }), 3000);
}

TEST_F(Clock, ASleepOf0Ends2035)
{
    set(END_OF_SLEEP_0 - 2);
    ZTThread::sleep(0);
    EXPECT_GE(clockTime(CLOCK_REALTIME).seconds, END_OF_SLEEP_0);
}
