#include "zt/ZTSleep.h"

#include "support/Event.h"
#include "support/Interpose.h"
#include "support/StartedThread.h"

#include <atomic>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::Pair;
using ZT::ZTSleep;

namespace {

using Requests = std::vector<std::pair<time_t, long>>;

// Fails the first calls of nanosleep with `errors`, then succeeds without sleeping.
Requests requestsOf(int seconds, long nanoseconds, std::vector<int> errors)
{
    Requests requests;
    const Interpose recorder(interposed::nanosleep, [&](const timespec* request, timespec* rest) {
        EXPECT_EQ(rest, nullptr);
        requests.emplace_back(request->tv_sec, request->tv_nsec);
        if (requests.size() > errors.size()) {
            return 0;
        }
        errno = errors[requests.size() - 1];
        return -1;
    });
    ZTSleep::sleep(seconds, nanoseconds);
    return requests;
}

} // namespace

TEST(ZTSleep, AsksForExactlyTheGivenTime)
{
    EXPECT_THAT(requestsOf(3, 999999999, {}), ElementsAre(Pair(3, 999999999)));
}

TEST(ZTSleep, StartsTheWholeTimeAnewAfterEachSignal)
{
    EXPECT_THAT(requestsOf(1, 5, {EINTR, EINTR}), ElementsAre(Pair(1, 5), Pair(1, 5), Pair(1, 5)));
}

TEST(ZTSleep, KeepsAskingForAnInvalidTime)
{
    EXPECT_THAT(requestsOf(-1, 1000000000, {EINVAL, EINVAL, EINVAL}),
                ElementsAre(Pair(-1, 1000000000), Pair(-1, 1000000000), Pair(-1, 1000000000),
                            Pair(-1, 1000000000)));
}

TEST(ZTSleep, IsNoInterruptionPoint)
{
    Event interrupting;
    bool slept = false;
    StartedThread thread([&] {
        interrupting.await();
        ZTSleep::sleep(0, 1);
        slept = boost::this_thread::interruption_requested();
    });
    thread.interrupt();
    interrupting.happen();
    thread.join();
    EXPECT_TRUE(slept) << "and the interruption is still to come";
}

TEST(ZTSleep, SleepsTheWholeTimeAfterTheLastRealSignal)
{
    using Clock = std::chrono::steady_clock;
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);

    std::atomic<int> interruptions{0};
    Clock::time_point lastInterruption;
    const Interpose recorder(interposed::nanosleep, [&](const timespec* request, timespec* rest) {
        const int result = interposed::nanosleep.real(request, rest);
        if (result != 0 && request->tv_nsec == 200000000) {
            lastInterruption = Clock::now();
            ++interruptions;
        }
        return result;
    });
    std::thread signaller([&interruptions, sleeper = pthread_self()] {
        while (interruptions < 3) {
            pthread_kill(sleeper, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    });
    Clock::time_point end;
    while (interruptions < 3) {
        ZTSleep::sleep(0, 200000000);
        end = Clock::now();
    }
    signaller.join();
    EXPECT_GE(end - lastInterruption, std::chrono::milliseconds(200));
}
