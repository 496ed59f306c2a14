#include "zt/ZTMutex.h"
#include "zt/ZTThread.h"

#include <atomic>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <sched.h>
#include <semaphore.h>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;
using namespace ZT;

namespace {

const int OTHER = 0;
const int ROUND_ROBIN = 1;
const int FIFO = 2;

/// Something that a thread waits for.
class Gate {
public:
    Gate() { ::sem_init(&semaphore, 0, 0); }
    ~Gate() { ::sem_destroy(&semaphore); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    void open() { ::sem_post(&semaphore); }
    void pass() { ::sem_wait(&semaphore); }

private:
    sem_t semaphore{};
};

/// What happened, in its order.
class Record {
public:
    void add(const std::string& event)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        events.push_back(event);
    }

    std::vector<std::string> all()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return events;
    }

private:
    std::mutex mutex;
    std::vector<std::string> events;
};

/// A thread that begins its work, in the given policy, once it is let go.
class Worker {
public:
    Worker(int policy, int priority, std::function<void()> work) : work(std::move(work))
    {
        thread->startThread([](void* self) { static_cast<Worker*>(self)->run(); }, this);
        EXPECT_EQ(thread->setPriority(policy, priority), 0);
    }

    ~Worker() { thread->join(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void go() { start.open(); }

    ZTThread& get() { return *thread; }

private:
    void run()
    {
        start.pass();
        work();
    }

    const std::function<void()> work;
    Gate start;
    const std::unique_ptr<ZTThread> thread{ZTThread::create("worker")};
};

/// All threads on one processor, on which this one is the most urgent, and of which ordinary ones
/// get no share.
class OneProcessor : public testing::Test {
protected:
    OneProcessor()
    {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(0, &one);
        EXPECT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
        sched_param urgent{};
        urgent.sched_priority = 90;
        EXPECT_EQ(::sched_setscheduler(0, SCHED_FIFO, &urgent), 0);
        std::ofstream("/proc/sys/kernel/sched_rt_runtime_us") << -1;
    }

    /// Long enough for a scheduler to give turns: 100 ms are a turn of SCHED_RR.
    static void compute()
    {
        timespec now{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        const auto end = milliseconds(now) + 350;
        while (milliseconds(now) < end) {
            ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        }
    }

    Record record;

private:
    static long long milliseconds(const timespec& time)
    {
        return time.tv_sec * 1000LL + time.tv_nsec / 1000000;
    }
};

} // namespace

TEST_F(OneProcessor, AThreadOfHigherPriorityRunsAtTheMomentWhenALowerOneLetsItGo)
{
    for (int round = 0; round < 100; ++round) {
        Record order;
        Worker high(FIFO, 20, [&] { order.add("high"); });
        {
            Worker low(FIFO, 10, [&] {
                high.go();
                order.add("low");
            });
            low.go();
        }
        ASSERT_THAT(order.all(), ElementsAre("high", "low"));
    }
}

TEST_F(OneProcessor, AThreadOfLowerPriorityWaitsUntilTheHigherOneRests)
{
    Worker low(FIFO, 10, [&] { record.add("low"); });
    {
        Worker high(ROUND_ROBIN, 20, [&] {
            low.go();
            compute();
            record.add("high");
        });
        high.go();
    }
    low.get().join();
    EXPECT_THAT(record.all(), ElementsAre("high", "low"));
}

TEST_F(OneProcessor, AnOrdinaryThreadWaitsForOneOfTheLowestRealTimePriority)
{
    Worker ordinary(OTHER, 0, [&] { record.add("ordinary"); });
    Worker urgent(FIFO, 1, [&] {
        ordinary.go();
        compute();
        record.add("urgent");
    });
    urgent.go();
    urgent.get().join();
    ordinary.get().join();
    EXPECT_THAT(record.all(), ElementsAre("urgent", "ordinary"));
}

TEST_F(OneProcessor, ThreadsOfOneFifoPriorityRunOneAfterTheOther)
{
    const auto work = [&](const std::string& name) {
        record.add(name + " begins");
        compute();
        record.add(name + " ends");
    };
    Worker second(FIFO, 10, [&] { work("second"); });
    Worker first(FIFO, 10, [&] {
        second.go();
        work("first");
    });
    first.go();
    first.get().join();
    second.get().join();
    EXPECT_THAT(record.all(),
                ElementsAre("first begins", "first ends", "second begins", "second ends"));
}

// It would wait for ever if they did not.
TEST_F(OneProcessor, ThreadsOfOneRoundRobinPriorityTakeTurns)
{
    std::atomic<bool> secondHasBegun{false};
    Worker second(ROUND_ROBIN, 10, [&] { secondHasBegun = true; });
    Worker first(ROUND_ROBIN, 10, [&] {
        second.go();
        while (!secondHasBegun) {
        }
    });
    first.go();
    first.get().join();
    EXPECT_TRUE(secondHasBegun);
}

TEST_F(OneProcessor, AMutexLendsItsHolderNoPriority)
{
    const std::unique_ptr<ZTMutex> mutex(ZTMutex::create());
    Worker high(FIFO, 30, [&] {
        mutex->lock();
        record.add("high has the mutex");
        mutex->unlock();
    });
    Worker middle(FIFO, 20, [&] {
        compute();
        record.add("middle ends");
    });
    Worker low(FIFO, 10, [&] {
        mutex->lock();
        high.go();
        middle.go();
        mutex->unlock();
    });
    low.go();
    high.get().join();
    EXPECT_THAT(record.all(), ElementsAre("middle ends", "high has the mutex"));
}
