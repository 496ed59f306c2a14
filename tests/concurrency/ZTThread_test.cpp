#include "zt/ZTThread.h"

#include "concurrency/BoostThread.h"
#include "support/CapturedStream.h"
#include "support/Event.h"
#include "support/FakeClocks.h"
#include "support/ForeignFormat.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/Layout.h"
#include "support/StartedThread.h"
#include "zt/ZTAutoLock.h"
#include "zt/ZTMutex.h"

#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>

using ZT::ZTThread;

namespace {

std::unique_ptr<ZTThread> newThread(const std::string& name = "worker")
{
    return std::unique_ptr<ZTThread>(ZTThread::create(name));
}

void runBody(void* body)
{
    (*static_cast<std::function<void()>*>(body))();
}

// A thread that waits until it is told to end, which the destructor does at the latest.
class WaitingThread {
public:
    explicit WaitingThread(const std::string& name = "worker") : thread(newThread(name))
    {
        EXPECT_EQ(thread->startThread(runBody, &body), 0);
    }

    ~WaitingThread()
    {
        ending.happen();
        thread->join();
    }

    WaitingThread(const WaitingThread&) = delete;
    WaitingThread& operator=(const WaitingThread&) = delete;

    ZTThread* operator->() { return thread.get(); }
    void end() { ending.happen(); }

    pthread_t native()
    {
        started.await();
        return self;
    }

private:
    pthread_t self{};
    Event started;
    Event ending;
    std::function<void()> body = [this] {
        self = pthread_self();
        started.happen();
        ending.await();
    };
    std::unique_ptr<ZTThread> thread;
};

std::string nameOf(WaitingThread& thread)
{
    char name[16] = {};
    EXPECT_EQ(pthread_getname_np(thread.native(), name, sizeof name), 0);
    return name;
}

std::string ownName()
{
    char name[16] = {};
    EXPECT_EQ(pthread_getname_np(pthread_self(), name, sizeof name), 0);
    return name;
}

int errorOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const boost::thread_resource_error& error) {
        return error.native_error();
    }
    return 0;
}

void nothing(void*) {}

// Calls it in this thread, which Boost did not start, and in one that startThread() started.
void inBothKindsOfThread(const std::function<void()>& call)
{
    call();
    StartedThread(call).join();
}

// The object's first field.
boost::thread* startedThread(const ZTThread& thread)
{
    return fieldAt<boost::thread*>(&thread, sizeof(void*));
}

} // namespace

TEST(ZTThread, CallsTheFunctionOnceWithItsArgument)
{
    const auto thread = newThread();
    int calls = 0;
    EXPECT_EQ(thread->startThread([](void* argument) { ++*static_cast<int*>(argument); }, &calls),
              0);
    EXPECT_EQ(thread->join(), 0);
    EXPECT_EQ(calls, 1);
}

TEST(ZTThread, TheFunctionMayBeginAndEndBeforeStartThreadReturns)
{
    Event ended;
    const Interpose slow(interposed::pthread_create, [&ended](auto... arguments) {
        const int result = interposed::pthread_create.real(arguments...);
        ended.await();
        return result;
    });
    const std::unique_ptr<ZTThread> thread(ZTThread::create("early"));
    EXPECT_EQ(
        thread->startThread([](void* event) { static_cast<Event*>(event)->happen(); }, &ended), 0);
    EXPECT_EQ(thread->join(), 0);
}

TEST(ZTThread, CreateStartsNoThread)
{
    const Interpose noThread(interposed::pthread_create, [](auto...) {
        ADD_FAILURE();
        return EAGAIN;
    });
    newThread();
}

TEST(ZTThread, IsABoostThreadBehindItsInterface)
{
    const auto thread = newThread();
    EXPECT_NE(dynamic_cast<ZT::BoostThread*>(thread.get()), nullptr);
}

TEST(ZTThread, AStartThatTheSystemRefusesThrowsError11AndLeavesTheObjectAsItWas)
{
    const auto thread = newThread();
    {
        const Interpose refused(interposed::pthread_create, [](auto...) { return EAGAIN; });
        EXPECT_EQ(errorOf([&] { thread->startThread(nothing, nullptr); }), 11);
    }
    EXPECT_EQ(startedThread(*thread), nullptr);
    EXPECT_EQ(thread->startThread(nothing, nullptr), 0);
    EXPECT_EQ(thread->join(), 0);
}

TEST(ZTThread, AStartThatTheSystemRefusesKeepsTheEarlierThread)
{
    WaitingThread thread;
    {
        const Interpose refused(interposed::pthread_create, [](auto...) { return ENOMEM; });
        EXPECT_EQ(errorOf([&] { thread->startThread(nothing, nullptr); }), 11);
    }
    EXPECT_EQ(thread->timed_join(0), 1);
    thread.end();
    EXPECT_EQ(thread->timed_join(60000), 0);
}

TEST(ZTThread, ASecondStartForgetsTheFirstThread)
{
    const auto thread = newThread();
    EXPECT_EQ(thread->startThread(nothing, nullptr), 0);
    const std::unique_ptr<boost::thread> first(startedThread(*thread));
    Event ending;
    std::function<void()> body = [&] { ending.await(); };
    EXPECT_EQ(thread->startThread(runBody, &body), 0);

    EXPECT_TRUE(first->joinable()) << "neither joined nor detached nor freed";
    first->join();
    EXPECT_EQ(thread->timed_join(0), 1) << "the object stands for the second thread";
    ending.happen();
    EXPECT_EQ(thread->join(), 0);
}

TEST(ZTThread, ANameOf15CharactersIsApplied)
{
    WaitingThread thread("exactly15chars.");
    EXPECT_EQ(nameOf(thread), "exactly15chars.");
}

TEST(ZTThread, ANameOf1CharacterIsApplied)
{
    WaitingThread thread("x");
    EXPECT_EQ(nameOf(thread), "x");
}

TEST(ZTThread, AnEmptyNameAndOneOf16CharactersAreNotApplied)
{
    const Interpose noName(interposed::pthread_setname_np, [](auto...) {
        ADD_FAILURE();
        return 0;
    });
    WaitingThread withoutName("");
    WaitingThread withLongName("sixteen chars...");
    EXPECT_EQ(nameOf(withoutName), ownName());
    EXPECT_EQ(nameOf(withLongName), ownName());
}

TEST(ZTThread, AFailedNamingIsIgnored)
{
    const Interpose refused(interposed::pthread_setname_np, [](auto...) { return ERANGE; });
    WaitingThread thread("named");
    EXPECT_EQ(nameOf(thread), ownName());
}

TEST(ZTThread, StartReturns10WhenNoThreadIsThereAfterTheNaming)
{
    const auto thread = newThread("named");
    char* const handle = reinterpret_cast<char*>(thread.get()) + sizeof(void*);
    std::unique_ptr<boost::thread> taken;
    const Interpose taking(interposed::pthread_setname_np, [&](auto...) {
        taken.reset(startedThread(*thread));
        std::memset(handle, 0, sizeof(boost::thread*));
        return 0;
    });
    EXPECT_EQ(thread->startThread(nothing, nullptr), 10);
    taken->join();
}

TEST(ZTThread, SetThreadNameReturnsTheSystemsResult)
{
    WaitingThread thread("before");
    auto* named = dynamic_cast<ZT::BoostThread*>(thread.operator->());
    EXPECT_EQ(named->setThreadName("after"), 0);
    EXPECT_EQ(nameOf(thread), "after");
    EXPECT_EQ(named->setThreadName("sixteen chars..."), ERANGE);
}

TEST(ZTThread, JoinReturns0AgainAndAgain)
{
    const auto thread = newThread();
    thread->startThread(nothing, nullptr);
    EXPECT_EQ(thread->join(), 0);
    EXPECT_EQ(thread->join(), 0);
}

TEST(ZTThread, TimedJoinOfARunningThreadReturns1)
{
    WaitingThread thread;
    EXPECT_EQ(thread->timed_join(0), 1);
    EXPECT_EQ(thread->timed_join(20), 1);
}

TEST(ZTThread, TimedJoinWaitsForItsTime)
{
    WaitingThread thread;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(thread->timed_join(250), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(249));
}

TEST(ZTThread, TimedJoin0OfAnEndedThreadReturns0)
{
    const auto thread = newThread();
    thread->startThread(nothing, nullptr);
    while (thread->timed_join(0) != 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(thread->join(), 0);
}

TEST(ZTThread, JoinAfterTimedJoinReturns0)
{
    const auto thread = newThread();
    thread->startThread(nothing, nullptr);
    EXPECT_EQ(thread->timed_join(60000), 0);
    EXPECT_EQ(thread->join(), 0);
}

TEST(ZTThread, TimedJoinWithNothingToJoinReturns1WithoutWaiting)
{
    const auto thread = newThread();
    thread->startThread(nothing, nullptr);
    thread->join();
    EXPECT_EQ(thread->timed_join(4000000000U), 1);
}

TEST(ZTThread, AThreadThatJoinsItselfGetsError35)
{
    const auto thread = newThread();
    Event startReturned;
    int joinError = 0;
    int timedJoinError = 0;
    std::function<void()> body = [&] {
        startReturned.await();
        joinError = errorOf([&] { thread->join(); });
        timedJoinError = errorOf([&] { thread->timed_join(0); });
    };
    thread->startThread(runBody, &body);
    startReturned.happen();
    thread->join();
    EXPECT_EQ(joinError, 35);
    EXPECT_EQ(timedJoinError, 35);
}

TEST(ZTThread, DeletingARunningThreadLeavesItRunning)
{
    ZTThread* thread = ZTThread::create("worker");
    Event deleted;
    Event ended;
    std::function<void()> body = [&] {
        deleted.await();
        ended.happen();
    };
    thread->startThread(runBody, &body);
    delete thread;
    deleted.happen();
    ended.await();
}

TEST(ZTThread, DeletingAnEndedThreadIsQuiet)
{
    const auto thread = newThread();
    Event ended;
    std::function<void()> body = [&] { ended.happen(); };
    thread->startThread(runBody, &body);
    ended.await();
}

TEST(ZTThread, CanBeDeletedInAForkedChildWhateverTheThreadOfTheParentHolds)
{
    auto thread = newThread(""); // a name would wait for what is held
    Event holding;
    Event ending;
    std::function<void()> body = [&] {
        const boost::lock_guard<boost::mutex> lock(
            boost::detail::get_current_thread_data()->data_mutex);
        holding.happen();
        ending.await();
    };
    thread->startThread(runBody, &body);
    holding.await();
    EXPECT_TRUE(succeedsInForkedChild([&] { thread.reset(); }));
    ending.happen();
    thread->join();
}

TEST(ZTThreadDeathTest, AnExceptionThatLeavesTheFunctionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const auto thread = newThread();
            thread->startThread([](void*) { throw std::runtime_error("leave"); }, nullptr);
            thread->join();
        },
        "terminate called after throwing an instance of 'std::runtime_error'");
}

TEST(ZTThreadDeathTest, ANullFunctionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const auto thread = newThread();
            thread->startThread(nullptr, nullptr);
            thread->join();
        },
        "");
}

TEST(ZTThreadDeathTest, ASignalWithoutAHandlerHitsTheWholeProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            WaitingThread thread;
            thread->sendSignal(SIGUSR2);
        },
        testing::KilledBySignal(SIGUSR2), "");
}

TEST(ZTThread, AnInterruptionThatLeavesTheFunctionEndsTheThreadAlone)
{
    StartedThread thread([] { ZTThread::sleep(0); });
    thread.interrupt();
    thread.join();
}

TEST(ZTThread, AForkedChildDetachesTheThreadsOfItsOwn)
{
    EXPECT_TRUE(succeedsInForkedChild([] {
        auto thread = newThread();
        thread->startThread(
            [](void*) {
                for (;;) {
                    pause();
                }
            },
            nullptr);
        const pthread_t native = startedThread(*thread)->native_handle();
        thread.reset();
        pthread_attr_t attributes;
        EXPECT_EQ(pthread_getattr_np(native, &attributes), 0);
        int state = -1;
        pthread_attr_getdetachstate(&attributes, &state);
        EXPECT_EQ(state, PTHREAD_CREATE_DETACHED);
    }));
}

TEST(ZTThread, SetPriorityMapsTheLibrarysPolicyNumbers)
{
    WaitingThread thread;
    int policy = -1;
    int priority = -1;
    const Interpose allowed(interposed::pthread_setschedparam,
                            [&](pthread_t native, int systemPolicy, const sched_param* parameter) {
                                EXPECT_NE(pthread_equal(native, thread.native()), 0);
                                policy = systemPolicy;
                                priority = parameter->sched_priority;
                                return 0;
                            });
    EXPECT_EQ(thread->setPriority(0, 0), 0);
    EXPECT_EQ(policy, SCHED_OTHER);
    EXPECT_EQ(thread->setPriority(1, 7), 0);
    EXPECT_EQ(policy, SCHED_RR);
    EXPECT_EQ(priority, 7);
    EXPECT_EQ(thread->setPriority(2, 1000), 0);
    EXPECT_EQ(policy, SCHED_FIFO);
    EXPECT_EQ(priority, 1000);
}

TEST(ZTThread, SetPriorityRefusesUnknownPolicies)
{
    WaitingThread thread;
    const Interpose untouched(interposed::pthread_setschedparam, [](auto...) {
        ADD_FAILURE();
        return 0;
    });
    for (const int unknown : {3, -1}) {
        const CapturedStream cerr(std::cerr);
        EXPECT_EQ(thread->setPriority(unknown, 1), 20);
        EXPECT_EQ(cerr.text(), "BoostThread::setScheduleParameter(): error: unknown scheduler!\n");
    }
}

TEST(ZTThread, SetPriorityThatTheSystemRefusesReturns1AndWarnsOnStandardOutput)
{
    WaitingThread thread;
    const Interpose refused(interposed::pthread_setschedparam, [](auto...) { return EPERM; });
    const CapturedStream cout(std::cout);
    const CapturedStream cerr(std::cerr);
    EXPECT_EQ(thread->setPriority(2, 10), 1);
    EXPECT_EQ(cout.text(),
              "BoostThread::setScheduleParameter(): warning: cannot set thread parameter!\n"
              "  Make sure we have the right to change priorities (e.g. running as root).\n");
    EXPECT_EQ(cout.flushes(), 2);
    EXPECT_EQ(cerr.text(), "");
}

TEST(ZTThread, LinesLookTheSameWhateverFormatTheStreamHas)
{
    WaitingThread thread;
    const Interpose refused(interposed::pthread_setschedparam, [](auto...) { return EPERM; });
    const CapturedStream cout(std::cout);
    const CapturedStream cerr(std::cerr);
    const ForeignFormat ofOutput(std::cout);
    const ForeignFormat ofErrors(std::cerr);
    EXPECT_EQ(thread->setPriority(3, 1), 20);
    EXPECT_EQ(thread->setPriority(2, 1), 1);
    EXPECT_EQ(cerr.text(), "BoostThread::setScheduleParameter(): error: unknown scheduler!\n");
    EXPECT_EQ(cout.text(),
              "BoostThread::setScheduleParameter(): warning: cannot set thread parameter!\n"
              "  Make sure we have the right to change priorities (e.g. running as root).\n");
    EXPECT_TRUE(ofOutput.isKept());
    EXPECT_TRUE(ofErrors.isKept());
}

TEST(ZTThread, AStreamThatThrowsChangesNoResult)
{
    WaitingThread thread;
    const Interpose refused(interposed::pthread_setschedparam, [](auto...) { return EPERM; });
    const ThrowingOutput output(std::cout);
    const ThrowingOutput errors(std::cerr);
    EXPECT_EQ(thread->setPriority(3, 1), 20);
    EXPECT_EQ(thread->setPriority(2, 1), 1);
}

TEST(ZTThread, SetPriorityOfARealThreadReachesTheSystem)
{
    WaitingThread thread;
    EXPECT_EQ(thread->setPriority(0, 0), 0);
    const CapturedStream cout(std::cout);
    EXPECT_EQ(thread->setPriority(0, 1), 1) << "the ordinary policy has no priorities";
}

TEST(ZTThread, GetPriorityMapsThePolicyBack)
{
    WaitingThread thread;
    const std::pair<int, int> systemAndCode[] = {{SCHED_OTHER, 0}, {SCHED_RR, 1}, {SCHED_FIFO, 2}};
    for (const auto& [system, code] : systemAndCode) {
        const Interpose reported(
            interposed::pthread_getschedparam,
            [&, system = system](pthread_t native, int* policy, sched_param* parameter) {
                EXPECT_NE(pthread_equal(native, thread.native()), 0);
                *policy = system;
                parameter->sched_priority = 42;
                return 0;
            });
        int policy = -1;
        int priority = -1;
        EXPECT_EQ(thread->getPriority(policy, priority), 0);
        EXPECT_EQ(policy, code);
        EXPECT_EQ(priority, 42);
    }
}

TEST(ZTThread, GetPriorityOfAnUnknownPolicyStoresThePriorityAndReturns0)
{
    WaitingThread thread;
    const Interpose reported(interposed::pthread_getschedparam,
                             [](pthread_t, int* policy, sched_param* parameter) {
                                 *policy = SCHED_BATCH;
                                 parameter->sched_priority = 9;
                                 return 0;
                             });
    int policy = 77;
    int priority = -1;
    const CapturedStream cerr(std::cerr);
    EXPECT_EQ(thread->getPriority(policy, priority), 0);
    EXPECT_EQ(policy, 77);
    EXPECT_EQ(priority, 9);
    EXPECT_EQ(cerr.text(), "BoostThread::getScheduleParameter(): error: unknown scheduler!\n");
}

TEST(ZTThread, GetPriorityThatTheSystemRefusesReturns1AndChangesNothing)
{
    WaitingThread thread;
    const Interpose refused(interposed::pthread_getschedparam, [](auto...) { return ESRCH; });
    int policy = 77;
    int priority = 78;
    const CapturedStream cerr(std::cerr);
    EXPECT_EQ(thread->getPriority(policy, priority), 1);
    EXPECT_EQ(policy, 77);
    EXPECT_EQ(priority, 78);
    EXPECT_EQ(cerr.text(),
              "BoostThread::getScheduleParameter(): error: cannot read thread parameter!\n");
}

TEST(ZTThread, GetPriorityOfARealThreadReportsTheOrdinaryPolicy)
{
    WaitingThread thread;
    int policy = -1;
    int priority = -1;
    EXPECT_EQ(thread->getPriority(policy, priority), 0);
    EXPECT_EQ(policy, 0);
    EXPECT_EQ(priority, 0);
}

TEST(ZTThread, SendSignalReachesTheThreadAndReturns0)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &signals, &before);

    const auto thread = newThread();
    int received = 0;
    std::function<void()> body = [&] { sigwait(&signals, &received); };
    thread->startThread(runBody, &body);
    EXPECT_EQ(thread->sendSignal(SIGUSR1), 0);
    thread->join();
    EXPECT_EQ(received, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(ZTThread, SendSignalReturnsTheSystemsError)
{
    WaitingThread thread;
    EXPECT_EQ(thread->sendSignal(100000), EINVAL);
}

TEST(ZTThread, AJoinedThreadIsNoneToTheSystem)
{
    const auto thread = newThread();
    thread->startThread(nothing, nullptr);
    thread->join();
    EXPECT_EQ(thread->sendSignal(0), ESRCH);
    EXPECT_EQ(dynamic_cast<ZT::BoostThread&>(*thread).setThreadName("late"), ESRCH);

    const CapturedStream cerr(std::cerr);
    const CapturedStream cout(std::cout);
    int policy = 77;
    int priority = 78;
    EXPECT_EQ(thread->getPriority(policy, priority), 1);
    EXPECT_EQ(thread->setPriority(0, 0), 1);
    EXPECT_EQ(cerr.text(),
              "BoostThread::getScheduleParameter(): error: cannot read thread parameter!\n");
}

TEST(ZTThread, TheCurrentThreadsIDIsItsNativeHandle)
{
    EXPECT_EQ(ZTThread::getCurrentThreadID(), pthread_self());
    const auto thread = newThread();
    unsigned long id = 0;
    pthread_t native{};
    std::function<void()> body = [&] {
        id = ZTThread::getCurrentThreadID();
        native = pthread_self();
    };
    thread->startThread(runBody, &body);
    thread->join();
    EXPECT_EQ(id, native);
    EXPECT_NE(id, ZTThread::getCurrentThreadID());
}

TEST(ZTThread, SleepReturns0AfterItsTime)
{
    const auto start = std::chrono::system_clock::now();
    EXPECT_EQ(ZTThread::sleep(1), 0);
    EXPECT_EQ(ZTThread::sleep(120), 0);
    EXPECT_GE(std::chrono::system_clock::now() - start, std::chrono::milliseconds(120));
}

TEST(ZTThread, SleepAndJoinsAreInterruptionPointsInAStartedThread)
{
    WaitingThread joined;
    const std::function<void()> waits[] = {
        [] { ZTThread::sleep(0); },
        [&] { joined->join(); },
        [&] { joined->timed_join(4000000000U); },
    };
    for (const auto& wait : waits) {
        const auto thread = newThread();
        bool interrupted = false;
        std::function<void()> body = [&] {
            try {
                wait();
            } catch (const boost::thread_interrupted&) {
                interrupted = true;
            }
        };
        thread->startThread(runBody, &body);
        startedThread(*thread)->interrupt();
        thread->join();
        EXPECT_TRUE(interrupted);
    }
}

TEST(ZTThread, LocksAreNoInterruptionPoints)
{
    const std::unique_ptr<ZT::ZTMutex> mutex(ZT::ZTMutex::create());
    const auto thread = newThread();
    Event interrupting;
    bool interrupted = false;
    std::function<void()> body = [&] {
        interrupting.await();
        mutex->lock();
        mutex->unlock();
        mutex->try_lock();
        mutex->unlock();
        const ZT::ZTAutoLock autoLock(mutex.get());
        interrupted = boost::this_thread::interruption_requested();
    };
    thread->startThread(runBody, &body);
    startedThread(*thread)->interrupt();
    interrupting.happen();
    thread->join();
    EXPECT_TRUE(interrupted) << "and still is to be";
}

TEST(ZTThread, Sleep0EndsAtItsFarDeadlineToTheNanosecond)
{
    inBothKindsOfThread([] {
        const FakeClocks clocks({2077252339, 100200300});
        EXPECT_EQ(ZTThread::sleep(0), 0);
        EXPECT_EQ(clocks.now(), FakeClocks::nanoseconds({2077252342, 775807000}));
    });
}

TEST(ZTThread, Sleep0ReturnsAtOnceAfterItsFarDeadline)
{
    const FakeClocks clocks({2077252342, 775807000});
    EXPECT_EQ(ZTThread::sleep(0), 0);
    EXPECT_EQ(clocks.now(), FakeClocks::nanoseconds({2077252342, 775807000}));
}

TEST(ZTThread, Sleep0DoesNotReadTheClock)
{
    FakeClocks clocks({2077252339, 775807000});
    clocks.passWithEachReading(std::chrono::seconds(4));
    EXPECT_EQ(ZTThread::sleep(0), 0);
    EXPECT_EQ(clocks.slept(), std::chrono::seconds(3));
}

TEST(ZTThread, SleepEndsOnTheWallClockToTheMicrosecond)
{
    inBothKindsOfThread([] {
        const FakeClocks clocks({1500000000, 999999123});
        EXPECT_EQ(ZTThread::sleep(7295), 0);
        EXPECT_EQ(clocks.now(), FakeClocks::nanoseconds({1500000008, 294999000}));
    });
}

TEST(ZTThread, SleepEndsOnTheWallClockInEachTimeZone)
{
    setenv("TZ", "UTC-5", 1);
    tzset();
    {
        const FakeClocks clocks({1500000000, 0});
        EXPECT_EQ(ZTThread::sleep(1000), 0);
        EXPECT_EQ(clocks.slept(), std::chrono::seconds(1));
    }
    unsetenv("TZ");
    tzset();
}

TEST(ZTThread, ALongSleepIsNotCutTo32BitsOfMicroseconds)
{
    const FakeClocks clocks({1500000000, 0});
    EXPECT_EQ(ZTThread::sleep(4300000), 0);
    EXPECT_EQ(clocks.now(), FakeClocks::nanoseconds({1500004300, 0}));
    EXPECT_EQ(ZTThread::sleep(4294967295U), 0);
    EXPECT_EQ(clocks.now(), FakeClocks::nanoseconds({1504299267, 295000000}));
}

TEST(ZTThread, ASleepIsOneWait)
{
    inBothKindsOfThread([] {
        const FakeClocks clocks({1500000000, 0});
        EXPECT_EQ(ZTThread::sleep(60000), 0);
        EXPECT_EQ(clocks.waits(), 1);
    });
}

TEST(ZTThread, AWakeUpThatNobodyAskedForDoesNotEndASleep)
{
    inBothKindsOfThread([] {
        FakeClocks clocks({1500000000, 0});
        clocks.wakeAfter(std::chrono::milliseconds(10));
        EXPECT_EQ(ZTThread::sleep(60000), 0);
        EXPECT_EQ(clocks.slept(), std::chrono::seconds(60));
    });
}

TEST(ZTThread, NoSignalEndsASleep)
{
    static std::atomic<int> signals;
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    inBothKindsOfThread([] {
        std::atomic<bool> ended{false};
        std::thread signaller([&ended, sleeper = pthread_self()] {
            while (!ended) {
                pthread_kill(sleeper, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        do {
            signals = 0;
            const auto start = std::chrono::system_clock::now();
            EXPECT_EQ(ZTThread::sleep(200), 0);
            EXPECT_GE(std::chrono::system_clock::now() - start, std::chrono::milliseconds(199));
        } while (signals < 20);
        ended = true;
        signaller.join();
    });
}

TEST(ZTThread, ASleepThatTheSystemRefusesThrows)
{
    inBothKindsOfThread([] {
        FakeClocks clocks({1500000000, 0});
        clocks.failWith(EINVAL);
        EXPECT_THROW(ZTThread::sleep(1000), boost::condition_error);
    });
}

TEST(ZTThread, SettingTheWallClockForwardShortensASleep)
{
    inBothKindsOfThread([] {
        FakeClocks clocks({1500000000, 0});
        clocks.stepDuringWait(std::chrono::milliseconds(59999));
        EXPECT_EQ(ZTThread::sleep(60000), 0);
        EXPECT_EQ(clocks.slept(), std::chrono::milliseconds(1));
    });
}

TEST(ZTThread, SettingTheWallClockBackLengthensASleep)
{
    inBothKindsOfThread([] {
        FakeClocks clocks({1500000000, 0});
        clocks.stepDuringWait(-std::chrono::seconds(30));
        EXPECT_EQ(ZTThread::sleep(1000), 0);
        EXPECT_EQ(clocks.slept(), std::chrono::seconds(31));
    });
}

TEST(ZTThread, TimedJoinEndsOnTheWallClockToTheMicrosecond)
{
    WaitingThread thread;
    thread.native();
    const FakeClocks clocks({1500000000, 999999123});
    EXPECT_EQ(thread->timed_join(7295), 1);
    EXPECT_EQ(clocks.now(), FakeClocks::nanoseconds({1500000008, 294999000}));
}

TEST(ZTThread, TimedJoinLooksAtTheWallClockEvery100msOrWaitsOnIt)
{
    WaitingThread thread;
    thread.native();
    FakeClocks clocks({1500000000, 0});
    EXPECT_EQ(thread->timed_join(60000), 1);
    EXPECT_LE(clocks.waits(), 600);
    clocks.stepDuringWait(std::chrono::hours(1));
    const auto before = clocks.slept();
    EXPECT_EQ(thread->timed_join(60000), 1);
    EXPECT_LE(clocks.slept() - before, std::chrono::milliseconds(100));
}

TEST(ZTThread, SettingTheWallClockBackLengthensATimedJoin)
{
    WaitingThread thread;
    thread.native();
    FakeClocks clocks({1500000000, 0});
    clocks.stepDuringWait(-std::chrono::seconds(30));
    EXPECT_EQ(thread->timed_join(1000), 1);
    EXPECT_EQ(clocks.slept(), std::chrono::seconds(31));
}
