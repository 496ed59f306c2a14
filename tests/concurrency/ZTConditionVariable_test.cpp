#include "zt/ZTConditionVariable.h"

#include "concurrency/BoostConditionVariable.h"
#include "support/CapturedStream.h"
#include "support/Event.h"
#include "support/FakeClocks.h"
#include "support/ForeignFormat.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/Layout.h"
#include "support/Locking.h"
#include "support/StartedThread.h"
#include "zt/ZTAutoLock.h"
#include "zt/ZTLock.h"

#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <chrono>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using ZT::ZTAutoLock;
using ZT::ZTConditionVariable;
using ZT::ZTLock;
using ZT::ZTMutex;

namespace {

const timespec SOME_TIME{1500000000, 123456000};
const char BACKWARDS[] = "Error: Time is going backwards!!\n";

class ZTConditionVariableTest : public testing::Test {
protected:
    std::unique_ptr<ZTLock> newLock()
    {
        return std::unique_ptr<ZTLock>(ZTLock::create(mutex.get()));
    }

    // What a timed wait leaves of 1000 ms.
    unsigned int remainingOf1000()
    {
        const auto lock = newLock();
        unsigned int remaining = 424242;
        EXPECT_EQ(condition->timed_wait(lock.get(), 1000, remaining), 0);
        EXPECT_FALSE(otherThreadCanLock(*mutex));
        return remaining;
    }

    // Lets `count` threads wait, and returns when all of them do.
    void startWaiting(std::vector<std::thread>& threads, int count)
    {
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([this] {
                const auto lock = newLock();
                ++waiting;
                while (!released) {
                    condition->wait(lock.get());
                    ++wakeUps;
                }
            });
        }
        awaitWaiting(count);
    }

    // A thread that counts itself and does not wait yet still holds the mutex.
    void awaitWaiting(int count)
    {
        for (;;) {
            const ZTAutoLock lock(mutex.get());
            if (waiting == count) {
                return;
            }
        }
    }

    const std::unique_ptr<ZTMutex> mutex{ZTMutex::create()};
    std::unique_ptr<ZTConditionVariable> condition{ZTConditionVariable::create()};
    int waiting = 0;
    int wakeUps = 0;
    bool released = false;
};

} // namespace

TEST(ZTConditionVariable, CreateThrowsWhenTheSystemRefuses)
{
    {
        const Interpose refused(interposed::pthread_mutex_init, [](auto...) { return EAGAIN; });
        EXPECT_THROW(ZTConditionVariable::create(), boost::thread_resource_error);
    }
    const Interpose refused(interposed::pthread_cond_init, [](auto...) { return EAGAIN; });
    EXPECT_THROW(ZTConditionVariable::create(), boost::thread_resource_error);
}

TEST_F(ZTConditionVariableTest, IsABoostConditionVariableBehindItsInterface)
{
    EXPECT_NE(dynamic_cast<ZT::BoostConditionVariable*>(condition.get()), nullptr);
}

TEST_F(ZTConditionVariableTest, WaitingWithoutALockReturns20AtOnce)
{
    EXPECT_EQ(condition->wait(nullptr), 20);
    unsigned int remaining = 424242;
    EXPECT_EQ(condition->timed_wait(nullptr, 100, remaining), 20);
    EXPECT_EQ(remaining, 424242U);
}

TEST_F(ZTConditionVariableTest, NotifyingNobodyReturns0)
{
    EXPECT_EQ(condition->notify_one(), 0);
    EXPECT_EQ(condition->notify_all(), 0);
}

TEST_F(ZTConditionVariableTest, WaitReturns0WithTheMutexHeld)
{
    bool notified = false;
    std::thread notifier;
    {
        const auto lock = newLock();
        notifier = std::thread([&] {
            const ZTAutoLock autoLock(mutex.get());
            notified = true;
            EXPECT_EQ(condition->notify_one(), 0);
        });
        while (!notified) {
            EXPECT_EQ(condition->wait(lock.get()), 0);
        }
        EXPECT_FALSE(otherThreadCanLock(*mutex));
    }
    EXPECT_TRUE(otherThreadCanLock(*mutex));
    notifier.join();
}

TEST_F(ZTConditionVariableTest, WaitIsOneWaitAndNoLoop)
{
    const auto lock = newLock();
    int waits = 0;
    const Interpose spurious(interposed::pthread_cond_wait, [&](auto...) {
        ++waits;
        return 0;
    });
    EXPECT_EQ(condition->wait(lock.get()), 0);
    EXPECT_EQ(waits, 1);
}

TEST_F(ZTConditionVariableTest, NotifyOneWakesOneAndNotifyAllTheOthers)
{
    std::vector<std::thread> threads;
    startWaiting(threads, 8);
    {
        const ZTAutoLock lock(mutex.get());
        EXPECT_EQ(wakeUps, 0);
    }
    condition->notify_one();
    for (bool woken = false; !woken;) {
        const ZTAutoLock lock(mutex.get());
        woken = wakeUps >= 1;
    }
    {
        const ZTAutoLock lock(mutex.get());
        released = true;
    }
    condition->notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(wakeUps, 9) << "the one waited again";
}

TEST_F(ZTConditionVariableTest, ATimeoutOf0ExpiresAtOnce)
{
    const auto lock = newLock();
    unsigned int remaining = 424242;
    EXPECT_EQ(condition->timed_wait(lock.get(), 0, remaining), 0);
    EXPECT_EQ(remaining, 0U);
    EXPECT_FALSE(otherThreadCanLock(*mutex));
}

TEST_F(ZTConditionVariableTest, AWaiterThatIsNotNotifiedUsesItsTimeUp)
{
    const auto start = std::chrono::steady_clock::now();
    const auto lock = newLock();
    unsigned int remaining = 200;
    while (remaining > 0) {
        EXPECT_EQ(condition->timed_wait(lock.get(), remaining, remaining), 0);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(195));
    EXPECT_FALSE(otherThreadCanLock(*mutex));
}

TEST_F(ZTConditionVariableTest, AWaiterThatIsNotifiedHasTimeLeft)
{
    const auto lock = newLock();
    bool notified = false;
    std::thread notifier([&] {
        const ZTAutoLock autoLock(mutex.get()); // from here on the other thread waits
        std::this_thread::sleep_for(milliseconds(300));
        notified = true;
        condition->notify_one();
    });
    unsigned int remaining = 600000;
    while (!notified) {
        EXPECT_EQ(condition->timed_wait(lock.get(), remaining, remaining), 0);
    }
    EXPECT_LE(remaining, 599705U);
    EXPECT_GT(remaining, 0U);
    EXPECT_FALSE(otherThreadCanLock(*mutex));
    notifier.join();
}

TEST_F(ZTConditionVariableTest, WhatRemainsIsWholeMillisecondsWithTheFractionDropped)
{
    FakeClocks clocks(SOME_TIME);
    clocks.wakeAfter(milliseconds(300));
    EXPECT_EQ(remainingOf1000(), 700U);
    clocks.wakeAfter(microseconds(300001));
    EXPECT_EQ(remainingOf1000(), 699U);
    clocks.wakeAfter(microseconds(999000));
    EXPECT_EQ(remainingOf1000(), 1U);
    clocks.wakeAfter(microseconds(999001));
    EXPECT_EQ(remainingOf1000(), 0U);
    clocks.wakeAfter(nanoseconds(0));
    EXPECT_EQ(remainingOf1000(), 1000U);
}

TEST_F(ZTConditionVariableTest, NothingRemainsAtTheDeadline)
{
    FakeClocks clocks(SOME_TIME);
    EXPECT_EQ(remainingOf1000(), 0U);
    EXPECT_EQ(clocks.slept() / milliseconds(1), 1000);
    clocks.wakeAfter(milliseconds(1000));
    EXPECT_EQ(remainingOf1000(), 0U);
    clocks.wakeAfter(milliseconds(1500));
    EXPECT_EQ(remainingOf1000(), 0U);
}

TEST_F(ZTConditionVariableTest, NothingRemainsWhenTheDeadlinePassesAfterTheWakeUp)
{
    for (int wake = 950; wake <= 1000; ++wake) {
        FakeClocks clocks(SOME_TIME);
        clocks.passWithEachReading(milliseconds(5));
        clocks.wakeAfter(milliseconds(wake));
        EXPECT_LE(remainingOf1000(), 50U) << wake;
    }
}

TEST_F(ZTConditionVariableTest, TheLongestTimeoutIsNotCutShort)
{
    const FakeClocks clocks(SOME_TIME);
    const auto lock = newLock();
    unsigned int remaining = 0;
    EXPECT_EQ(condition->timed_wait(lock.get(), 4294967295U, remaining), 0);
    EXPECT_EQ(remaining, 0U);
    EXPECT_EQ(clocks.slept() / milliseconds(1), 4294967295);
}

TEST_F(ZTConditionVariableTest, ATimedWaitIsOneWaitAndNoLoop)
{
    FakeClocks clocks(SOME_TIME);
    clocks.wakeAfter(milliseconds(300));
    EXPECT_EQ(remainingOf1000(), 700U);
    EXPECT_EQ(clocks.waits(), 1);
    EXPECT_EQ(remainingOf1000(), 0U);
    EXPECT_EQ(clocks.waits(), 2);
}

TEST_F(ZTConditionVariableTest, SettingTheWallClockForwardEndsTheWaitEarly)
{
    FakeClocks clocks(SOME_TIME);
    clocks.stepDuringWait(milliseconds(999));
    EXPECT_EQ(remainingOf1000(), 0U);
    EXPECT_EQ(clocks.slept(), milliseconds(1));
}

TEST_F(ZTConditionVariableTest, SettingTheWallClockBackLengthensTheWaitAndLeavesNothingOfIt)
{
    FakeClocks clocks(SOME_TIME);
    const CapturedStream cerr(std::cerr);
    clocks.stepDuringWait(-seconds(2));
    EXPECT_EQ(remainingOf1000(), 0U);
    EXPECT_EQ(clocks.slept(), seconds(3));
    EXPECT_EQ(cerr.text(), "");
}

TEST_F(ZTConditionVariableTest, NothingRemainsWhenTheSystemSaysThatTheTimeIsUpWhateverTheClockSays)
{
    for (const seconds step : {-seconds(2), seconds(0)}) {
        FakeClocks clocks(SOME_TIME);
        const CapturedStream cerr(std::cerr);
        clocks.stepDuringWait(step);
        clocks.failWith(ETIMEDOUT);
        EXPECT_EQ(remainingOf1000(), 0U);
        EXPECT_EQ(cerr.text(), "");
    }
}

TEST_F(ZTConditionVariableTest, NothingRemainsWhenTheWallClockStepsPastTheDeadline)
{
    FakeClocks clocks(SOME_TIME);
    clocks.wakeAfter(milliseconds(300));
    clocks.stepDuringWait(seconds(3600));
    EXPECT_EQ(remainingOf1000(), 0U);
}

TEST_F(ZTConditionVariableTest, SaysThatTimeIsGoingBackwardsAndKeepsWhatRemains)
{
    FakeClocks clocks(SOME_TIME);
    const CapturedStream cerr(std::cerr);
    clocks.wakeAfter(milliseconds(300));
    clocks.stepDuringWait(-seconds(10));
    EXPECT_EQ(remainingOf1000(), 10700U);
    EXPECT_EQ(cerr.text(), BACKWARDS);
}

TEST_F(ZTConditionVariableTest, SaysSoWhateverFormatTheStreamHas)
{
    FakeClocks clocks(SOME_TIME);
    const CapturedStream cerr(std::cerr);
    const ForeignFormat format(std::cerr);
    clocks.wakeAfter(milliseconds(300));
    clocks.stepDuringWait(-seconds(10));
    EXPECT_EQ(remainingOf1000(), 10700U);
    EXPECT_EQ(cerr.text(), BACKWARDS);
    EXPECT_TRUE(format.isKept());
}

TEST_F(ZTConditionVariableTest, AStepBackThatLeavesNoMoreThanTheTimeoutIsQuiet)
{
    FakeClocks clocks(SOME_TIME);
    const CapturedStream cerr(std::cerr);
    clocks.wakeAfter(milliseconds(300));
    clocks.stepDuringWait(-milliseconds(300));
    EXPECT_EQ(remainingOf1000(), 1000U);
    EXPECT_EQ(cerr.text(), "");
    clocks.wakeAfter(milliseconds(300));
    clocks.stepDuringWait(-milliseconds(301));
    EXPECT_EQ(remainingOf1000(), 1001U);
    EXPECT_EQ(cerr.text(), BACKWARDS);
}

TEST_F(ZTConditionVariableTest, WhatRemainsNeverExceedsItsWidth)
{
    FakeClocks clocks(SOME_TIME);
    const CapturedStream cerr(std::cerr);
    clocks.wakeAfter(milliseconds(300));
    clocks.stepDuringWait(-std::chrono::hours(24 * 365));
    EXPECT_EQ(remainingOf1000(), 4294967295U);
    EXPECT_EQ(cerr.text(), BACKWARDS);
}

TEST_F(ZTConditionVariableTest, AFailedWaitThrowsAndKeepsWhatRemained)
{
    const auto lock = newLock();
    {
        const Interpose failing(interposed::pthread_cond_wait, [](auto...) { return EINVAL; });
        EXPECT_THROW(condition->wait(lock.get()), boost::condition_error);
    }
    FakeClocks clocks(SOME_TIME);
    clocks.failWith(EINVAL);
    unsigned int remaining = 424242;
    EXPECT_THROW(condition->timed_wait(lock.get(), 1000, remaining), boost::condition_error);
    EXPECT_EQ(remaining, 424242U);
    EXPECT_FALSE(otherThreadCanLock(*mutex));
}

TEST_F(ZTConditionVariableTest, AnInterruptionComesOutOfTheWaitsWithTheMutexHeld)
{
    unsigned int remaining = 424242;
    const std::function<int(ZTLock*)> waits[] = {
        [&](ZTLock* lock) { return condition->wait(lock); },
        [&](ZTLock* lock) { return condition->timed_wait(lock, 4000000000U, remaining); },
    };
    for (const auto& wait : waits) {
        waiting = 0;
        bool interrupted = false;
        StartedThread thread([&] {
            const auto lock = newLock();
            ++waiting;
            try {
                for (;;) {
                    wait(lock.get());
                }
            } catch (const boost::thread_interrupted&) {
                interrupted = true;
                EXPECT_FALSE(otherThreadCanLock(*mutex));
            }
        });
        awaitWaiting(1);
        thread.interrupt();
        thread.join();
        EXPECT_TRUE(interrupted);
        EXPECT_TRUE(otherThreadCanLock(*mutex));
    }
}

TEST_F(ZTConditionVariableTest, AnInterruptedTimedWaitKeepsWhatRemained)
{
    unsigned int remaining = 424242;
    Event interrupting;
    StartedThread thread([&] {
        interrupting.await();
        const auto lock = newLock();
        EXPECT_THROW(condition->timed_wait(lock.get(), 1000, remaining), boost::thread_interrupted);
    });
    thread.interrupt();
    interrupting.happen();
    thread.join();
    EXPECT_EQ(remaining, 424242U);
}

TEST_F(ZTConditionVariableTest, CanBeDeletedInAForkedChildWhileThreadsOfTheParentWait)
{
    std::vector<std::thread> threads;
    startWaiting(threads, 2);
    EXPECT_TRUE(succeedsInForkedChild([this] { condition.reset(); }));
    {
        const ZTAutoLock lock(mutex.get());
        released = true;
    }
    condition->notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(ZTConditionVariableTest, ABoundedQueueHandsEverythingOverInOrder)
{
    const int items = 5000;
    const std::unique_ptr<ZTConditionVariable> taken(ZTConditionVariable::create());
    std::deque<int> queue;
    std::thread producer([&] {
        for (int item = 0; item < items; ++item) {
            const auto lock = newLock();
            while (queue.size() == 3) {
                taken->wait(lock.get());
            }
            queue.push_back(item);
            condition->notify_one();
        }
    });
    for (int item = 0; item < items; ++item) {
        const auto lock = newLock();
        unsigned int remaining = 600000;
        while (queue.empty() && remaining > 0) {
            condition->timed_wait(lock.get(), remaining, remaining);
        }
        ASSERT_FALSE(queue.empty());
        EXPECT_EQ(queue.front(), item);
        queue.pop_front();
        taken->notify_one();
    }
    producer.join();
}
