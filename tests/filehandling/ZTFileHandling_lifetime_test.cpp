// What the owner of a run does, while its thread is in the middle of each thing that it does.

#include "zt/ZTFileHandling.h"

#include "filehandling/CopyListener.h"
#include "support/Diagnostics.h"
#include "support/Event.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/Layout.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using testing::IsEmpty;
using ZT::ZTFileHandling;
namespace fs = std::filesystem;

namespace {

enum class Moment {
    BEFORE_ITS_FIRST_WAIT,
    HOLDS_THE_MUTEX,
    HOLDS_THE_CONDITIONS_MUTEX,
    WAITS,
    LISTS,
    OPENS_THE_SOURCE,
    IN_COPY_PROGRESS,
    IN_COPY_FINISHED,
    AFTER_SET_THREAD_END
};

using Calls = std::vector<std::string>;

const Calls WHOLE{"progress 100", "progress 100", "finished 0"};

// Of a thread of the test's, as opposed to that of a run.
thread_local bool isTests = false;

timespec inAMillisecond()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    time.tv_nsec += 1000000;
    if (time.tv_nsec >= 1000000000) {
        time.tv_nsec -= 1000000000;
        ++time.tv_sec;
    }
    return time;
}

// A copy of a folder with one file, or of that file, whose thread is held at a moment.
class HeldRun {
public:
    HeldRun(Moment moment, bool isOfAFolder) : isOfAFolder(isOfAFolder), moment(moment)
    {
        isTests = true;
        fs::create_directory(source);
        fs::create_directory(target);
        writeAll(source + "/a", "1");
        listener.onProgress = [this] { holdAt(Moment::IN_COPY_PROGRESS); };
        listener.onFinished = [this] {
            holdAt(Moment::IN_COPY_FINISHED);
            if (this->moment == Moment::WAITS) {
                mayGoOn.await(); // what ends the wait does not end the run at once
            }
        };
        EXPECT_EQ(isOfAFolder ? copyDir(listener) : copyFile(listener), 0);
        reached.await();
    }

    ~HeldRun()
    {
        letGo();
        handling.reset();
    }

    HeldRun(const HeldRun&) = delete;
    HeldRun& operator=(const HeldRun&) = delete;

    const bool isOfAFolder;

    bool isHeldAfterItsEnd() const { return moment == Moment::AFTER_SET_THREAD_END; }

    int copyDir(CopyListener& hearer) { return handling->copyDir(source, target, true, &hearer); }

    int copyFile(CopyListener& hearer)
    {
        return handling->copyFile(source + "/a", target + "/a", true, &hearer);
    }

    // The run goes on, and if nobody has ended it, step by step.
    void letGo()
    {
        ticking = true;
        mayGoOn.happen();
    }

    // Lets the run go on once `act` has asked it to end. It makes no further step of its own.
    void endBy(const std::function<void()>& act)
    {
        const ZTFileHandling& present = *handling;
        std::thread owner([&act] {
            isTests = true;
            act();
        });
        while (present.isRunning()) {
            std::this_thread::yield();
        }
        mayGoOn.happen();
        owner.join();
        ticking = true;
    }

    // What comes of the run if it is asked to end at that moment.
    Calls stopped() const
    {
        switch (moment) {
        case Moment::BEFORE_ITS_FIRST_WAIT:
        case Moment::HOLDS_THE_MUTEX:
        case Moment::HOLDS_THE_CONDITIONS_MUTEX:
        case Moment::WAITS:
            return {"finished 0"};
        case Moment::LISTS:
            return {"finished 43"};
        case Moment::OPENS_THE_SOURCE:
        case Moment::IN_COPY_PROGRESS:
            return {"progress 100", isOfAFolder ? "finished 43" : "finished 0"};
        default:
            return WHOLE;
        }
    }

    // What getErrorCode() says at that moment.
    int code() const
    {
        const bool isAmongEntries =
            moment == Moment::OPENS_THE_SOURCE || moment == Moment::IN_COPY_PROGRESS;
        return isOfAFolder && isAmongEntries ? 43 : 0;
    }

private:
    void reach(Moment present)
    {
        if (present == moment && !isReached.exchange(true)) {
            ticking = false;
            reached.happen();
        }
    }

    void holdAt(Moment present)
    {
        if (present == moment && !isReached) {
            reach(present);
            mayGoOn.await();
        }
    }

    int lock(pthread_mutex_t* mutex)
    {
        if (isTests || isReached) {
            return interposed::pthread_mutex_lock.real(mutex);
        }
        if (isHeldAfterItsEnd() && handling->isThreadEnded()) {
            holdAt(Moment::AFTER_SET_THREAD_END);
        }
        const bool isOwn = isIn(handling, mutex);
        if (isOwn) {
            holdAt(Moment::BEFORE_ITS_FIRST_WAIT);
        }
        const int result = interposed::pthread_mutex_lock.real(mutex);
        if (isOwn) {
            holdAt(Moment::HOLDS_THE_MUTEX);
        }
        return result;
    }

    int wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
    {
        holdAt(Moment::HOLDS_THE_CONDITIONS_MUTEX);
        reach(Moment::WAITS);
        const timespec deadline = inAMillisecond();
        const int result = interposed::pthread_cond_timedwait.real(condition, mutex, &deadline);
        return result == ETIMEDOUT && !ticking ? 0 : result; // as if woken by nobody
    }

    const Moment moment;
    std::atomic<bool> isReached{false};
    std::atomic<bool> ticking{true};
    Event reached;
    Event mayGoOn;
    const TemporaryFolder folder;

public:
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    CopyListener listener;
    std::optional<ZTFileHandling> handling{std::in_place};

private:
    const Interpose<int(pthread_mutex_t*)> locking{
        interposed::pthread_mutex_lock, [this](pthread_mutex_t* mutex) { return lock(mutex); }};
    const Interpose<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> waiting{
        interposed::pthread_cond_timedwait,
        [this](pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec*) {
            return wait(condition, mutex);
        }};
    const Interpose<dirent64*(DIR*)> listing{interposed::readdir64, [this](DIR* stream) {
                                                 holdAt(Moment::LISTS);
                                                 return interposed::readdir64.real(stream);
                                             }};
    const Interpose<int(const char*, int, mode_t)> opening{
        interposed::open64, [this](const char* path, int flags, mode_t mode) {
            if (path == source + "/a") {
                holdAt(Moment::OPENS_THE_SOURCE);
            }
            return interposed::open64.real(path, flags, mode);
        }};
};

using Check = std::function<void(HeldRun&)>;

void atEach(const std::vector<Moment>& moments, const Check& check)
{
    for (const Moment moment : moments) {
        for (const bool isOfAFolder : {true, false}) {
            if (isOfAFolder || moment != Moment::LISTS) {
                SCOPED_TRACE("moment " + std::to_string(static_cast<int>(moment)) +
                             (isOfAFolder ? " of a folder" : " of a file"));
                HeldRun run(moment, isOfAFolder);
                check(run);
            }
        }
    }
}

// A stop() waits for each of the mutexes, so where the thread holds one, the test must not wait for
// a stop().
void atEachWithoutAMutex(const Check& check)
{
    atEach({Moment::BEFORE_ITS_FIRST_WAIT, Moment::WAITS, Moment::LISTS, Moment::OPENS_THE_SOURCE,
            Moment::IN_COPY_PROGRESS, Moment::IN_COPY_FINISHED, Moment::AFTER_SET_THREAD_END},
           check);
}

void atEach(const Check& check)
{
    atEachWithoutAMutex(check);
    atEach({Moment::HOLDS_THE_MUTEX, Moment::HOLDS_THE_CONDITIONS_MUTEX}, check);
}

void expectFlags(const ZTFileHandling& handling, bool isRunning, bool isThreadEnded)
{
    EXPECT_EQ(handling.isRunning(), isRunning);
    EXPECT_EQ(handling.isThreadEnded(), isThreadEnded);
}

// Expects that the object has forgotten the run.
void expectEmpty(const ZTFileHandling& handling)
{
    expectFlags(handling, false, false);
    EXPECT_EQ(handling.getErrorCode(), 0);
}

} // namespace

TEST(ZTFileHandlingLifetime, GettersTellWhatTheRunIsDoing)
{
    atEach([](HeldRun& run) {
        expectFlags(*run.handling, !run.isHeldAfterItsEnd(), run.isHeldAfterItsEnd());
        EXPECT_EQ(run.handling->getErrorCode(), run.code());
        EXPECT_NE(run.handling->getDebugSection(), 0U);
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), WHOLE);
    });
}

TEST(ZTFileHandlingLifetime, StopEndsTheRunAndIsThreadEndedStaysFalseIfItCameTooLate)
{
    atEachWithoutAMutex([](HeldRun& run) {
        run.handling->stop();
        expectFlags(*run.handling, false, false);
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), run.stopped());
        expectFlags(*run.handling, false, !run.isHeldAfterItsEnd());
    });
}

TEST(ZTFileHandlingLifetime, StopFollowedAtOnceByStartEndsTheRun)
{
    atEachWithoutAMutex([](HeldRun& run) {
        run.handling->stop();
        run.handling->start();
        expectFlags(*run.handling, true, false);
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), run.stopped());
        expectFlags(*run.handling, run.isHeldAfterItsEnd(), !run.isHeldAfterItsEnd());
    });
}

TEST(ZTFileHandlingLifetime, StopFollowedAtOnceBySetThreadEndEndsTheRun)
{
    atEachWithoutAMutex([](HeldRun& run) {
        run.handling->stop();
        run.handling->setThreadEnd(false);
        expectFlags(*run.handling, false, false);
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), run.stopped());
        expectFlags(*run.handling, false, !run.isHeldAfterItsEnd());
    });
}

TEST(ZTFileHandlingLifetime, StartAndSetThreadEndChangeFlagsAndEndNothing)
{
    atEach([](HeldRun& run) {
        run.handling->setThreadEnd(true);
        expectFlags(*run.handling, false, true);
        run.handling->setThreadEnd(false);
        expectFlags(*run.handling, false, false);
        run.handling->start();
        expectFlags(*run.handling, true, false);
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), WHOLE);
        expectFlags(*run.handling, run.isHeldAfterItsEnd(), !run.isHeldAfterItsEnd());
    });
}

TEST(ZTFileHandlingLifetime, JoinWaitsForTheEndOfTheRun)
{
    atEach([](HeldRun& run) {
        std::atomic<bool> isJoined{false};
        std::thread owner([&] {
            isTests = true;
            run.handling->join();
            isJoined = true;
        });
        std::this_thread::yield();
        EXPECT_FALSE(isJoined);
        run.letGo();
        owner.join();
        EXPECT_EQ(run.listener.calls(), WHOLE);
    });
}

TEST(ZTFileHandlingLifetime, ReleaseInitAndResetEndTheRunAndForgetIt)
{
    atEach([](HeldRun& run) {
        run.endBy([&] { run.handling->release(); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        expectEmpty(*run.handling);
    });
    atEach([](HeldRun& run) {
        run.endBy([&] { run.handling->init(); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        expectEmpty(*run.handling);
    });
    atEach([](HeldRun& run) {
        run.endBy([&] { run.handling->reset(); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        expectEmpty(*run.handling);
    });
}

TEST(ZTFileHandlingLifetime, TheDestructorEndsTheRun)
{
    atEach([](HeldRun& run) {
        run.endBy([&] { run.handling.reset(); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
    });
}

TEST(ZTFileHandlingLifetime, ANewRunOnAFolderEndsTheOneBeforeAndIsWholeItself)
{
    atEach([](HeldRun& run) {
        CopyListener second;
        run.endBy([&] { EXPECT_EQ(run.copyDir(second), 0); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        run.handling->join();
        EXPECT_EQ(second.calls(), WHOLE);
        expectFlags(*run.handling, false, true);
    });
}

TEST(ZTFileHandlingLifetime, ANewRunOnAFileEndsTheOneBeforeAndIsWholeItself)
{
    atEach([](HeldRun& run) {
        CopyListener second;
        run.endBy([&] { EXPECT_EQ(run.copyFile(second), 0); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        run.handling->join();
        EXPECT_EQ(second.calls(), WHOLE);
        expectFlags(*run.handling, false, true);
    });
}

TEST(ZTFileHandlingLifetime, ANewRunThatIsRefusedEndsTheOneBefore)
{
    atEach([](HeldRun& run) {
        CopyListener second;
        run.endBy([&] { EXPECT_EQ(run.handling->copyDir("", "", true, &second), 41); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        run.handling->join();
        EXPECT_THAT(second.calls(), IsEmpty());
        expectFlags(*run.handling, false, false);
    });
}

TEST(ZTFileHandlingLifetime, CreateEndsTheRunBeforeAndStartsAWholeOne)
{
    atEach([](HeldRun& run) {
        CopyListener second;
        run.endBy([&] { EXPECT_EQ(run.handling->create(true, &second), 0); });
        EXPECT_EQ(run.listener.calls(), run.stopped());
        EXPECT_FALSE(run.handling->isRunning());
        run.handling->join();
        EXPECT_EQ(second.calls(), run.isOfAFolder ? WHOLE : Calls{"finished 41"});
        expectFlags(*run.handling, false, true);
    });
}

TEST(ZTFileHandlingLifetime, SettersMayBeCalledOnceTheThreadIsMarkedAsEnded)
{
    atEach({Moment::AFTER_SET_THREAD_END}, [](HeldRun& run) {
        EXPECT_EQ(run.handling->setSourceDirectory(""), 41);
        EXPECT_EQ(run.handling->setTargetDirectory(run.target), 0);
        EXPECT_EQ(run.handling->setCurrentSourceFile(run.source + "/a"), 0);
        EXPECT_EQ(run.handling->setCurrentTargetFile(""), 16);
        EXPECT_EQ(run.handling->getErrorCode(), 16);
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), WHOLE);
        EXPECT_EQ(run.handling->getErrorCode(), 16);
    });
}

TEST(ZTFileHandlingLifetime, OthersMayStopAndLookWhileTheOwnerStartsAndReleases)
{
    HeldRun run(Moment::WAITS, true);
    run.letGo();
    std::atomic<bool> isOver{false};
    std::vector<std::thread> others;
    for (int i = 0; i < 2; ++i) {
        others.emplace_back([&] {
            isTests = true;
            while (!isOver) {
                run.handling->stop();
                EXPECT_THAT(run.handling->getErrorCode(), testing::AnyOf(0, 43));
                run.handling->isRunning();
                run.handling->isThreadEnded();
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        CopyListener listener;
        EXPECT_EQ(i % 2 == 0 ? run.copyDir(listener) : run.copyFile(listener), 0);
        run.handling->join();
        EXPECT_THAT(listener.calls().back(), testing::StartsWith("finished "));
        run.handling->release();
    }
    isOver = true;
    for (std::thread& other : others) {
        other.join();
    }
}

namespace {

// In a child of fork().
void releaseAndDestroy(std::optional<ZTFileHandling>& handling)
{
    const auto* object = reinterpret_cast<const char*>(&*handling);
    const std::string before(object, sizeof *handling);
    handling->release();
    EXPECT_EQ(std::string(object, sizeof *handling), before) << "it is left alone";
    handling.reset();
}

} // namespace

TEST(ZTFileHandlingLifetime, AForkedChildMayReleaseAndDestroyWhatRunsInTheParent)
{
    atEach([](HeldRun& run) {
        EXPECT_TRUE(succeedsInForkedChild([&] { releaseAndDestroy(run.handling); }));
        expectFlags(*run.handling, !run.isHeldAfterItsEnd(), run.isHeldAfterItsEnd());
        run.letGo();
        run.handling->join();
        EXPECT_EQ(run.listener.calls(), WHOLE);
        EXPECT_TRUE(succeedsInForkedChild([&] { releaseAndDestroy(run.handling); }));
    });
}

TEST(ZTFileHandlingLifetime, AForkedChildMayDestroyItWithoutReleasingItBefore)
{
    atEach([](HeldRun& run) { EXPECT_TRUE(succeedsInForkedChild([&] { run.handling.reset(); })); });
}

TEST(ZTFileHandlingLifetime, ACallbacksForkedChildMayDestroyTheObject)
{
    HeldRun run(Moment::WAITS, true);
    std::vector<bool> successes;
    run.listener.onProgress = run.listener.onFinished = [&] {
        successes.push_back(succeedsInForkedChild([&] { releaseAndDestroy(run.handling); }));
    };
    run.letGo();
    run.handling->join();
    EXPECT_THAT(successes, testing::ElementsAre(true, true, true));
    EXPECT_EQ(run.listener.calls(), WHOLE);
}

TEST(ZTFileHandlingLifetime, AForkedChildTracesNothingOfWhatRunsInTheParent)
{
    HeldRun run(Moment::WAITS, true);
    Diagnostics diagnostics(4);
    EXPECT_TRUE(succeedsInForkedChild([&] {
        releaseAndDestroy(run.handling);
        EXPECT_THAT(diagnostics.take(), IsEmpty());
    }));
}
