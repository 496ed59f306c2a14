// Runs and what other threads do meanwhile: stop them, start new ones, run beside them, go away.

#include "zt/ZTFileHandling.h"

#include "filehandling/CopyListener.h"
#include "support/Event.h"
#include "support/FastClocks.h"
#include "support/Interpose.h"
#include "support/Layout.h"
#include "support/TemporaryFolder.h"

#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/lock_types.hpp>
#include <cerrno>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using testing::ElementsAre;
using ZT::ZTFileHandling;
namespace fs = std::filesystem;

namespace {

class ZTFileHandlingThreadsTest : public testing::Test {
protected:
    ZTFileHandlingThreadsTest()
    {
        fs::create_directory(source);
        fs::create_directory(target);
        writeAll(source + "/a", "1");
    }

    const TemporaryFolder folder;
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    CopyListener listener;
};

// Timed waits that never time out: a notification alone ends them.
struct EndlessTicks {
    const Interpose<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> waiting{
        interposed::pthread_cond_timedwait,
        [](pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec*) {
            return interposed::pthread_cond_wait.real(condition, mutex);
        }};
};

// Counts the folders that are opened and closed.
struct OpenFolders {
    std::atomic<int> opened{0};
    std::atomic<int> closed{0};
    const Interpose<DIR*(const char*)> opening{interposed::opendir, [this](const char* path) {
                                                   ++opened;
                                                   return interposed::opendir.real(path);
                                               }};
    const Interpose<int(DIR*)> closing{interposed::closedir, [this](DIR* stream) {
                                           ++closed;
                                           return interposed::closedir.real(stream);
                                       }};
};

// The client's thread goes on only after the run has ended, for the system calls it names its
// thread with takes so long.
class HeldUpClient {
public:
    explicit HeldUpClient(CopyListener& listener)
        : naming(interposed::pthread_setname_np, [&listener](auto... arguments) {
              listener.finished.await();
              return interposed::pthread_setname_np.real(arguments...);
          })
    {}

private:
    const Interpose<int(pthread_t, const char*)> naming;
};

void awaitStop(const ZTFileHandling& handling)
{
    while (handling.isRunning()) {
        std::this_thread::yield();
    }
}

} // namespace

TEST_F(ZTFileHandlingThreadsTest, StopWakesARunThatWaits)
{
    const EndlessTicks endless;
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(source, target, false, &listener), 0);
    EXPECT_TRUE(handling.isRunning());
    handling.stop();
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0")) << "the code as it stands";
    EXPECT_FALSE(handling.isRunning());
    EXPECT_TRUE(handling.isThreadEnded());
    EXPECT_TRUE(fs::is_empty(target));
    EXPECT_EQ(handling.copyFile(source + "/a", target + "/a", false, &listener), 0);
    handling.stop();
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0", "finished 0"));
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(ZTFileHandlingThreadsTest, AStopWhoseLockIsRefusedThrowsAndCanBeRepeated)
{
    const EndlessTicks endless;
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
    bool refuses = true; // the client alone
    const Interpose locking(
        interposed::pthread_mutex_lock, [&, client = pthread_self()](pthread_mutex_t* mutex) {
            return pthread_equal(pthread_self(), client) != 0 && refuses && isIn(handling, mutex)
                       ? EINVAL
                       : interposed::pthread_mutex_lock.real(mutex);
        });
    EXPECT_THROW(handling.stop(), boost::lock_error);
    refuses = false;
    EXPECT_FALSE(handling.isRunning());
    handling.stop();
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, AStopJustBeforeARunStartsToWaitIsNotLost)
{
    const EndlessTicks endless;
    std::optional<ZTFileHandling> handling(std::in_place);
    Event stopped;
    std::thread stopper;
    const pthread_t client = pthread_self();
    std::atomic<int> locks{0};
    {
        // The run has taken its lock, seen that it need not stop, and is about to wait.
        const Interpose locking(interposed::pthread_mutex_lock, [&](pthread_mutex_t* mutex) {
            if (isIn(*handling, mutex) && pthread_equal(pthread_self(), client) == 0 &&
                ++locks == 2) {
                stopper = std::thread([&] {
                    handling->stop();
                    stopped.happen();
                });
                stopped.awaitFor(50ms); // it should not get through
            }
            return interposed::pthread_mutex_lock.real(mutex);
        });
        EXPECT_EQ(handling->copyFile(source + "/a", target + "/a", true, &listener), 0);
        handling->join();
        stopper.join();
    }
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, AStopThatHasLetTheThreadGoOnHasToldItWhy)
{
    std::atomic<int> waits{0};
    Event goesOn; // to its end, or to wait again
    const Interpose waiting(interposed::pthread_cond_timedwait,
                            [&](pthread_cond_t* condition, pthread_mutex_t* mutex, auto) {
                                if (++waits == 2) {
                                    goesOn.happen();
                                }
                                return interposed::pthread_cond_wait.real(condition, mutex);
                            });
    listener.onFinished = [&] { goesOn.happen(); };
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
    while (waits == 0) {
        std::this_thread::yield();
    }
    // The condition's mutex is unlocked before the object's own.
    const Interpose unlocking(interposed::pthread_mutex_unlock, [&, client = pthread_self(),
                                                                 unlocks = 0](auto* mutex) mutable {
        const int result = interposed::pthread_mutex_unlock.real(mutex);
        if (pthread_equal(pthread_self(), client) != 0 && isIn(handling, mutex) && ++unlocks == 2) {
            goesOn.await();
        }
        return result;
    });
    handling.stop();
    EXPECT_EQ(waits, 1);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, StopReturnsWhileACallbackRunsAndTakesEffectAfterIt)
{
    const FastClocks clocks;
    Event mayGoOn;
    listener.onProgress = [&] { mayGoOn.await(); };
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
    listener.progressed.await();
    handling.stop();
    EXPECT_FALSE(handling.isRunning());
    mayGoOn.happen();
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "finished 43"));
    EXPECT_EQ(readAll(target + "/a"), "1");
}

TEST_F(ZTFileHandlingThreadsTest, ATargetThatIsAFifoHoldsTheRunUntilItIsReadAlsoAfterAStop)
{
    std::optional<FastClocks> clocks(std::in_place);
    const std::string fifo = target + "/a";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    Event opens;
    const Interpose opening(interposed::open64, [&](const char* path, int flags, mode_t mode) {
        if (path == fifo) {
            opens.happen();
        }
        return interposed::open64.real(path, flags, mode);
    });
    std::optional<ZTFileHandling> handling(std::in_place);
    EXPECT_EQ(handling->copyDir(source, target, true, &listener), 0);
    opens.await();
    clocks.reset();
    handling->stop();
    EXPECT_FALSE(listener.finished.awaitFor(50ms));
    Event destroyed;
    std::thread owner([&] {
        handling.reset();
        destroyed.happen();
    });
    EXPECT_FALSE(destroyed.awaitFor(50ms));
    EXPECT_EQ(readAll(fifo), "1");
    owner.join();
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "finished 43"));
}

TEST_F(ZTFileHandlingThreadsTest, OthersReadTheCode43FromTheFirstEntryToTheEndOfTheListing)
{
    const FastClocks clocks;
    ZTFileHandling handling;
    std::vector<int> codes;
    {
        const Interpose reading(interposed::readdir64, [&](DIR* stream) {
            codes.push_back(
                std::async(std::launch::async, [&] { return handling.getErrorCode(); }).get());
            return interposed::readdir64.real(stream);
        });
        EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
        handling.join();
    }
    EXPECT_THAT(codes, ElementsAre(0, 43, 43, 43, 43, 43, 43, 43)) << "it is listed twice";
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, CallbacksComeOnTheThreadFileCopyThread)
{
    const FastClocks clocks;
    ZTFileHandling handling;
    for (const bool ofAFolder : {true, false}) {
        CopyListener own;
        Event named; // by the thread that starts the run
        std::string name(15, '\0');
        own.onProgress = [&] { named.await(); };
        own.onFinished = [&] { pthread_getname_np(pthread_self(), name.data(), 16); };
        EXPECT_EQ(ofAFolder ? handling.copyDir(source, target, true, &own)
                            : handling.copyFile(source + "/a", target + "/a", true, &own),
                  0);
        named.happen();
        handling.join();
        EXPECT_STREQ(name.c_str(), "FileCopyThread");
    }
}

TEST_F(ZTFileHandlingThreadsTest, AClientThatIsHeldUpDoesNotTurnACopyOfAFolderIntoAMove)
{
    const FastClocks clocks;
    const HeldUpClient heldUp(listener);
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
    EXPECT_EQ(readAll(source + "/a"), "1");
    EXPECT_EQ(readAll(target + "/a"), "1");
    EXPECT_FALSE(handling.isRunning());
    EXPECT_TRUE(handling.isThreadEnded());
}

TEST_F(ZTFileHandlingThreadsTest, AClientThatIsHeldUpDoesNotTurnACopyOfAFileIntoAMove)
{
    const FastClocks clocks;
    const HeldUpClient heldUp(listener);
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyFile(source + "/a", target + "/a", true, &listener), 0);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
    EXPECT_EQ(readAll(source + "/a"), "1");
    EXPECT_FALSE(handling.isRunning());
    EXPECT_TRUE(handling.isThreadEnded());
}

TEST_F(ZTFileHandlingThreadsTest, ANewRunEndsTheOneBefore)
{
    std::optional<EndlessTicks> endless(std::in_place);
    CopyListener second;
    CopyListener third;
    ZTFileHandling handling;
    EXPECT_EQ(handling.copyDir(source, target, false, &listener), 0);
    EXPECT_EQ(handling.copyFile(source + "/a", target + "/a", false, &second), 0);
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0"));
    EXPECT_EQ(handling.copyFile(source + "/a", target + "/a", false, &third), 0);
    EXPECT_THAT(second.calls(), ElementsAre("finished 0"));
    handling.release();
    EXPECT_THAT(third.calls(), ElementsAre("finished 0"));
    endless.reset();

    const FastClocks clocks;
    CopyListener last;
    EXPECT_EQ(handling.copyDir(source, target, true, &last), 0);
    handling.join();
    EXPECT_THAT(last.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
    EXPECT_EQ(readAll(source + "/a"), "1");
}

TEST_F(ZTFileHandlingThreadsTest, ANewRunWaitsForTheFileThatIsBeingCopied)
{
    const FastClocks clocks;
    ZTFileHandling handling;
    listener.onProgress = [&] { awaitStop(handling); };
    EXPECT_EQ(handling.copyDir(source, target, false, &listener), 0);
    listener.progressed.await();
    EXPECT_EQ(handling.copyFile(source + "/a", target + "/b", true, &listener), 16);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "finished 43"));
    EXPECT_EQ(readAll(target + "/a"), "1");
}

TEST_F(ZTFileHandlingThreadsTest, CreateInitAndResetEndTheRunBefore)
{
    const EndlessTicks endless;
    ZTFileHandling handling;
    for (const auto& end : {std::function<void()>([&] { handling.create(true, nullptr); }),
                            std::function<void()>([&] { handling.init(); }),
                            std::function<void()>([&] { handling.reset(); })}) {
        CopyListener own;
        EXPECT_EQ(handling.copyDir(source, target, false, &own), 0);
        end();
        EXPECT_THAT(own.calls(), ElementsAre("finished 0"));
    }
}

TEST_F(ZTFileHandlingThreadsTest, MayBeDestroyedBeforeTheFirstStep)
{
    const EndlessTicks endless;
    {
        ZTFileHandling handling;
        EXPECT_EQ(handling.copyDir(source, target, false, &listener), 0);
    }
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, MayBeDestroyedInTheMiddleOfACopy)
{
    const FastClocks clocks;
    {
        ZTFileHandling handling;
        listener.onProgress = [&] { awaitStop(handling); };
        EXPECT_EQ(handling.copyDir(source, target, false, &listener), 0);
        listener.progressed.await();
    }
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "finished 43"));
    EXPECT_EQ(readAll(target + "/a"), "1");
}

TEST_F(ZTFileHandlingThreadsTest, MayBeDestroyedInTheLastCallbackAndAfterIt)
{
    const FastClocks clocks;
    {
        ZTFileHandling handling;
        listener.onFinished = [&] { awaitStop(handling); };
        EXPECT_EQ(handling.copyDir(source, target, false, &listener), 0);
        listener.finished.await();
    }
    CopyListener second;
    {
        ZTFileHandling handling;
        EXPECT_EQ(handling.copyFile(target + "/a", source + "/a", false, &second), 0);
        second.finished.await();
    }
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
    EXPECT_THAT(second.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, ACallbackCannotJoinItsOwnThread)
{
    const FastClocks clocks;
    ZTFileHandling handling;
    int error = 0;
    Event tried;
    listener.onFinished = [&] {
        try {
            handling.join();
        } catch (const boost::thread_resource_error& refused) {
            error = refused.native_error();
        }
        tried.happen();
    };
    {
        // The run comes to its end before the client's thread has what it waits for the run with.
        const Interpose starting(interposed::pthread_create, [&tried](auto... arguments) {
            const int result = interposed::pthread_create.real(arguments...);
            tried.await();
            return result;
        });
        EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
    }
    handling.release();
    EXPECT_EQ(error, 35);
}

TEST_F(ZTFileHandlingThreadsTest, AThreadWithTheNumberOfARunThatHasEndedMayWaitForIt)
{
    const FastClocks clocks;
    ZTFileHandling handling;
    std::thread::id number;
    listener.onFinished = [&number] { number = std::this_thread::get_id(); };
    EXPECT_EQ(handling.copyDir(source, target, true, &listener), 0);
    handling.join();
    // The system gives numbers again, though it need not.
    bool isAgain = false;
    for (int i = 0; i < 100 && !isAgain; ++i) {
        std::thread([&] {
            isAgain = std::this_thread::get_id() == number;
            handling.join();
        }).join();
    }
    std::thread([&handling] { handling.release(); }).join();
}

TEST_F(ZTFileHandlingThreadsTest, ACallbackThatThrowsOrReleasesItsObjectEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto runWith = [this](const std::function<void(ZTFileHandling&)>& callback) {
        const FastClocks clocks;
        ZTFileHandling handling;
        listener.onFinished = [&] { callback(handling); };
        handling.copyDir(source, target, true, &listener);
        handling.join();
    };
    EXPECT_DEATH(runWith([](ZTFileHandling& handling) { handling.release(); }),
                 "boost::thread_resource_error|trying joining itself");
    EXPECT_DEATH(runWith([](ZTFileHandling&) { throw std::runtime_error("a callback's own"); }),
                 "a callback's own");
}

TEST_F(ZTFileHandlingThreadsTest, AWaitThatFailsEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const Interpose failing(interposed::pthread_cond_timedwait,
                                    [](auto...) { return EINVAL; });
            ZTFileHandling handling;
            handling.copyDir(source, target, true, nullptr);
            handling.join();
        },
        "boost::condition_error");
}

TEST_F(ZTFileHandlingThreadsTest, ARunThatAnotherSetsBackClosesEachFolderThatItOpens)
{
    std::atomic<pthread_t> firstThread{};
    Event secondWaits;
    Event secondMayGo;
    const FastClocks clocks([&] {
        const pthread_t known = firstThread;
        if (known != pthread_t() && pthread_equal(known, pthread_self()) == 0) {
            secondWaits.happen();
            secondMayGo.await();
        }
    });
    OpenFolders folders;
    Event firstIsKnown;
    Event firstMayGo;
    listener.onProgress = [&] {
        firstThread = pthread_self();
        firstIsKnown.happen();
        firstMayGo.await();
    };
    ZTFileHandling first;
    EXPECT_EQ(first.copyDir(source, target, true, &listener), 0);
    firstIsKnown.await();

    CopyListener secondListener;
    ZTFileHandling second;
    const std::string secondTarget = folder / "second";
    fs::create_directory(secondTarget);
    EXPECT_EQ(second.copyDir(source, secondTarget, true, &secondListener), 0);
    secondWaits.await();
    firstMayGo.happen();
    first.join();
    EXPECT_THAT(listener.calls(),
                ElementsAre("progress 100", "progress 100", "progress 100", "finished 0"))
        << "it copied the file twice";
    EXPECT_EQ(folders.opened, 2);
    EXPECT_EQ(folders.closed, 2);

    secondMayGo.happen();
    second.join();
    EXPECT_THAT(secondListener.calls(), ElementsAre("progress 100", "finished 0"));
    EXPECT_TRUE(fs::is_empty(secondTarget)) << "it went on from where the first one stood";
}

TEST_F(ZTFileHandlingThreadsTest, ARunThatAnotherLeavesWithoutAFolderWaitsForItsStop)
{
    thread_local bool hasClosed = false;
    std::atomic<int> waitsAfterwards{0};
    Event firstHasClosed;
    Event firstMayGo;
    Event firstIdles;
    const FastClocks clocks([&] {
        if (!hasClosed) {
            return;
        }
        firstHasClosed.happen();
        firstMayGo.await();
        if (++waitsAfterwards == 20) {
            firstIdles.happen();
        }
    });
    ZTFileHandling first;
    ZTFileHandling second;
    CopyListener secondListener;
    Event secondMayGo;
    secondListener.onProgress = [&] { secondMayGo.await(); };
    {
        const Interpose closing(interposed::closedir, [&](DIR* stream) {
            hasClosed = true;
            return interposed::closedir.real(stream);
        });
        EXPECT_EQ(first.copyDir(source, target, true, &listener), 0);
        firstHasClosed.await();
    }
    EXPECT_EQ(second.copyDir(source, target, true, &secondListener), 0);
    secondListener.progressed.await(); // it stands where entries are copied, and so does the first
    firstMayGo.happen();
    firstIdles.await();
    EXPECT_TRUE(first.isRunning());
    first.stop();
    first.join();
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100", "finished 0"));
    secondMayGo.happen();
    second.join();
    EXPECT_THAT(secondListener.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingThreadsTest, ManyRunsAtOnceLoseNothingAndEndWhenTheyAreStopped)
{
    const FastClocks clocks;
    OpenFolders folders;
    const std::size_t together = 4;
    for (int round = 0; round < 10; ++round) {
        CopyListener listeners[together];
        ZTFileHandling runs[together];
        for (std::size_t i = 0; i < together; ++i) {
            const std::string number = std::to_string(i);
            if (i % 2 == 0) {
                EXPECT_EQ(runs[i].copyDir(source, target, true, &listeners[i]), 0);
            } else {
                EXPECT_EQ(
                    runs[i].copyFile(source + "/a", target + "/" + number, true, &listeners[i]), 0);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(round % 5)); // ticks are 2 ms
        }
        for (std::size_t i = 0; i < together; ++i) {
            runs[i].stop();
            runs[i].join();
            EXPECT_THAT(listeners[i].calls().back(), testing::StartsWith("finished "));
        }
    }
    EXPECT_EQ(folders.opened, folders.closed);
}
