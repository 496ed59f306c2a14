// The listener thread, and everything that can be done to it from everywhere.

#include "zt/ZTIPCEndPoint.h"

#include "ipc/ListenerTest.h"
#include "support/Event.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"

#include <boost/thread/exceptions.hpp>
#include <boost/thread/thread.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <fcntl.h>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ZT::ZTIPCEndPoint;

namespace {

// That a thread waits at the gate.
class AtTheGate {
public:
    /// From now on the caller is that thread.
    void isCaller() { thread = std::this_thread::get_id(); }

    void await() { waits.await(); }

private:
    std::atomic<std::thread::id> thread{};
    Event waits;
    const Interpose<int(pthread_cond_t*, pthread_mutex_t*)> waiting{
        interposed::pthread_cond_wait, [this](auto... arguments) {
            if (std::this_thread::get_id() == thread.load()) {
                waits.happen();
            }
            return interposed::pthread_cond_wait.real(arguments...);
        }};
};

// What a thread does when it ends.
struct Lingering {
    ~Lingering() { atEnd(); }
    std::function<void()> atEnd = [] {};
};
thread_local Lingering lingering;

// That a thread waits for the rest of a frame.
class WaitsForRest {
public:
    int count()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return begun;
    }

    /// Waits until there have been more.
    void awaitMoreThan(int before)
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return begun > before; });
    }

    /// Of all of them, in ms.
    int shortestTimeout = INT_MAX;

private:
    int begin(int poller, epoll_event* events, int size, int timeout)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            ++begun;
            shortestTimeout = std::min(shortestTimeout, timeout);
            changed.notify_all();
        }
        return interposed::epoll_wait.real(poller, events, size, timeout);
    }

    std::mutex mutex;
    std::condition_variable changed;
    int begun = 0;
    const Interpose<int(int, epoll_event*, int, int)> waiting{
        interposed::epoll_wait, [this](auto... arguments) { return begin(arguments...); }};
};

} // namespace

TEST_F(ListenerTest, ItsThreadHasANameAndDeliversWhatArrives)
{
    char name[16] = {};
    std::vector<std::uint32_t> headers;
    listener.action = [&](IPCMessage* message) {
        pthread_getname_np(pthread_self(), name, sizeof name);
        headers.insert(headers.end(), {message->header1, message->header2});
    };
    listen();
    EXPECT_EQ(endPoint->getMessageArrivalListener(), &listener);
    peer->write(frameBytes(1, 2, 5, "hello") + frameBytes(3, 4, 1, "w"));
    EXPECT_THAT(listener.await(2), ElementsAre("hello", "w"));
    endPoint->deinitialize();
    EXPECT_STREQ(name, "MsgArrivalLstnr");
    EXPECT_THAT(headers, ElementsAre(1, 2, 3, 4));
}

TEST_F(ListenerTest, ItsThreadGetsTheOrdinaryPriority)
{
    int calls = 0;
    const Interpose setting(interposed::pthread_setschedparam,
                            [&](pthread_t, int policy, const sched_param* parameter) {
                                ++calls;
                                EXPECT_EQ(policy, SCHED_OTHER);
                                EXPECT_EQ(parameter->sched_priority, 0);
                                return 0;
                            });
    listen();
    EXPECT_EQ(calls, 1);
}

TEST_F(ListenerTest, ItExpectsAMessageOfOneByteAfterTheWords255And0)
{
    std::atomic<int> mark{0};
    const Interpose setting(interposed::setsockopt,
                            [&](int, int, int option, const void* value, socklen_t) {
                                EXPECT_EQ(option, SO_RCVLOWAT);
                                mark = *static_cast<const int*>(value);
                                return 0;
                            });
    // A wait that ends without anything ready counts as a message that has been received.
    const Interpose waiting(interposed::select, [](int, fd_set* in, auto...) {
        FD_ZERO(in);
        return 1;
    });
    listener.action = [](IPCMessage* message) {
        EXPECT_EQ(message->header1, 255U);
        EXPECT_EQ(message->header2, 0U);
        EXPECT_EQ(message->dataLength, 1U);
        EXPECT_EQ(message->data[0], 0U);
        message->data[0] = 'x'; // the next message has a buffer of its own
    };
    listen();
    listener.await(2);
    EXPECT_EQ(mark, 10);
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, ACallbackMayKeepTheDataOrReplaceIt)
{
    std::unique_ptr<unsigned char[]> kept;
    listener.action = [&](IPCMessage* message) {
        kept.reset(message->data);
        message->data = message->dataLength == 4 ? nullptr : new unsigned char[100];
    };
    listen();
    peer->write(frameBytes("kept") + frameBytes("other"));
    listener.await(2);
    endPoint->deinitialize();
    EXPECT_EQ(kept[0], 'o');
}

TEST_F(ListenerTest, ItReceivesWithTheReceiveTimeout)
{
    std::atomic<long> seconds{-1};
    const Interpose waiting(interposed::select, [&](int, fd_set*, fd_set*, fd_set*, timeval* time) {
        seconds = time == nullptr ? -1 : time->tv_sec;
        return 0;
    });
    listen(7000);
    while (seconds != 7) {
        std::this_thread::yield();
    }
    endPoint->setReceiveTimeout(8000);
    while (seconds != 8) {
        std::this_thread::yield();
    }
    endPoint->setMessageArrivalListener(nullptr);
    EXPECT_THAT(diagnostics.take(), Each(failure(EXPIRED)));
}

TEST_F(ListenerTest, WithoutAReceiveTimeoutItPollsAndSaysSoEachTime)
{
    listen(0);
    std::vector<Line> lines;
    while (lines.size() < 3) {
        for (const Line& line : diagnostics.take()) {
            lines.push_back(line);
        }
    }
    EXPECT_THAT(lines, Each(failure(EXPIRED)));
    peer->write(frameBytes("hello"));
    EXPECT_THAT(listener.await(1), ElementsAre("hello"));
    endPoint->setMessageArrivalListener(nullptr);
    diagnostics.take();
}

TEST_F(ListenerTest, RemovingWhereThereIsNoneReturns0)
{
    EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
    EXPECT_EQ(threads(), 0);
}

TEST_F(ListenerTest, ReplacingStartsNoSecondThread)
{
    NotingListener second;
    listen();
    peer->write(frameBytes("one"));
    listener.await(1);
    EXPECT_EQ(endPoint->setMessageArrivalListener(&second), 0);
    EXPECT_EQ(endPoint->getMessageArrivalListener(), &second);
    EXPECT_EQ(threads(), 1);
    peer->write(frameBytes("two"));
    EXPECT_THAT(second.await(1), ElementsAre("two"));
    EXPECT_THAT(listener.arrived(), ElementsAre("one"));
    endPoint->deinitialize();
}

TEST_F(ListenerTest, AThreadThatTheSystemRefusesThrowsAndLeavesNoListener)
{
    const auto before = openDescriptors();
    {
        const Interpose refused(interposed::pthread_create, [](auto...) { return EAGAIN; });
        EXPECT_THROW(endPoint->setMessageArrivalListener(&listener), boost::thread_resource_error);
    }
    EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
    EXPECT_EQ(openDescriptors(), before);
    endPoint->setMessageArrivalListenerActive(false);
    listen();
    peer->write(frameBytes("hello"));
    EXPECT_THAT(listener.await(1), ElementsAre("hello"));
}

TEST_F(ListenerTest, WithoutADescriptorToWakeItByReturns10AndLeavesNoListener)
{
    const auto before = openDescriptors();
    {
        const Interpose refused(interposed::eventfd, [](auto...) { return -1; });
        EXPECT_EQ(endPoint->setMessageArrivalListener(&listener), 10);
    }
    {
        const Interpose refused(interposed::epoll_create1, [](auto...) { return -1; });
        EXPECT_EQ(endPoint->setMessageArrivalListener(&listener), 10);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
    EXPECT_EQ(threads(), 0);
    listen();
    peer->write(frameBytes("hello"));
    EXPECT_THAT(listener.await(1), ElementsAre("hello"));
}

TEST_F(ListenerTest, WithoutAConnectionItsThreadEndsAtOnce)
{
    endPoint->deinitialize();
    EXPECT_EQ(endPoint->setMessageArrivalListener(&listener), 0);
    awaitEndOfThreads();
    EXPECT_EQ(endPoint->getMessageArrivalListener(), &listener);
    EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
}

TEST_F(ListenerTest, ItsFunctionSaysThatItGotNoEndPoint)
{
    ZTIPCEndPoint::messageArrivalListenerThreadFunc(nullptr);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("messageArrivalListenerThreadFunc() args is nullptr")));
}

TEST_F(ListenerTest, ItsFunctionReturnsWhereThereIsNoListener)
{
    ZTIPCEndPoint::messageArrivalListenerThreadFunc(endPoint.get());
}

// The peer hangs up

TEST_F(ListenerTest, AHangUpLosesTheConnectionAndEndsTheThreadButKeepsTheListener)
{
    WaitsForRest rest;
    listen();
    peer->hangUp();
    awaitEndOfThreads();
    EXPECT_EQ(rest.count(), 0);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure(HUNG_UP)));
    EXPECT_FALSE(endPoint->isConnected());
    EXPECT_EQ(endPoint->getReadEndPointID(), -1);
    EXPECT_EQ(endPoint->getMessageArrivalListener(), &listener);
    const LocalPeer next(*endPoint);
    EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    listen();
    next.write(frameBytes("again"));
    EXPECT_THAT(listener.await(1), ElementsAre("again"));
    endPoint->deinitialize();
}

TEST_F(ListenerTest, AHangUpInTheMiddleOfAFrameIsFoundOut)
{
    listen();
    peer->write(frameBytes("hello").substr(0, 12));
    peer->hangUp();
    awaitEndOfThreads();
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("receiveMessage() Incomplete message data bytes received."),
                            failure(HUNG_UP)));
    EXPECT_THAT(listener.arrived(), IsEmpty());
}

TEST_F(ListenerTest, APeerThatSendsNoMoreInTheMiddleOfAFrameIsFoundOut)
{
    WaitsForRest rest;
    listen();
    peer->write(frameBytes("hello").substr(0, 12));
    rest.awaitMoreThan(1);
    peer->writeNoMore();
    awaitEndOfThreads();
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("receiveMessage() Incomplete message data bytes received."),
                            failure(HUNG_UP)));
}

TEST_F(ListenerTest, ASignalWhileItWaitsForTheRestOfAFrameLosesNothing)
{
    Event twice;
    std::atomic<int> waits{0};
    const Interpose waiting(interposed::epoll_wait, [&](auto...) {
        if (++waits == 2) {
            twice.happen();
        }
        errno = EINTR;
        return -1;
    });
    listen();
    peer->write(frameBytes("hello").substr(0, 12));
    twice.await();
    peer->write(frameBytes("hello").substr(12));
    EXPECT_THAT(listener.await(1), ElementsAre("hello"));
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, ANonBlockingSocketTooGetsItsFramesWhole)
{
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    listen();
    const std::string frame = frameBytes("hello");
    WaitsForRest rest;
    for (const std::size_t size : {4U, 8U, 12U}) {
        const std::size_t before = listener.arrived().size();
        const int waits = rest.count();
        peer->write(frame.substr(0, size));
        rest.awaitMoreThan(waits);
        peer->write(frame.substr(size));
        EXPECT_EQ(listener.await(before + 1).back(), "hello");
    }
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, NothingWakesItWhileItWaitsForTheRestOfAFrame)
{
    listen(1);
    const std::string frame = frameBytes("hello");
    WaitsForRest rest;
    for (std::size_t sent = 1; sent < frame.size(); ++sent) {
        const int waits = rest.count();
        peer->write(frame.substr(sent - 1, 1));
        rest.awaitMoreThan(waits);
    }
    peer->write(frame.substr(frame.size() - 1));
    listener.await(1);
    EXPECT_EQ(rest.shortestTimeout, -1);
    endPoint->setMessageArrivalListener(nullptr);
    EXPECT_THAT(diagnostics.take(), Each(failure(EXPIRED)));
}

TEST_F(ListenerTest, ItSleepsUntilMoreOfAFrameComes)
{
    listen();
    const std::string frame = frameBytes("hello");
    WaitsForRest rest;
    for (std::size_t sent = 0; sent + 1 < frame.size(); ++sent) {
        peer->write(frame.substr(sent, 1));
        rest.awaitMoreThan(static_cast<int>(sent) + 1); // the first one tells how things are
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_EQ(rest.count(), static_cast<int>(sent) + 2);
    }
    peer->write(frame.substr(frame.size() - 1));
    listener.await(1);
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, AWholeFrameIsReceivedWithoutAWaitForItsRest)
{
    WaitsForRest rest;
    listen();
    for (const std::size_t size : {0U, 1U, 254U, 255U}) {
        const std::size_t before = listener.arrived().size();
        peer->write(frameBytes(std::string(size, 'x')));
        EXPECT_EQ(listener.await(before + 1).back(), std::string(size, 'x'));
    }
    EXPECT_EQ(rest.count(), 0);
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, ItDoesNotWaitForWhatSomebodyElseHasReceived)
{
    Event received;
    std::atomic<bool> isFirst{true};
    const Interpose selecting(interposed::select, [&](int count, fd_set* in, auto... others) {
        if (isFirst.exchange(false)) {
            FD_CLR(count - 1, in); // the descriptor that wakes it
            return 1;
        }
        received.happen();
        return interposed::select.real(count, in, others...);
    });
    const Interpose receiving(interposed::recv, [](int from, void* data, size_t size, int flags) {
        EXPECT_TRUE((flags & MSG_DONTWAIT) != 0);
        return interposed::recv.real(from, data, size, flags);
    });
    listen();
    received.await();
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("receiveMessage() failed due to unknown error.")));
    peer->write(frameBytes("hello"));
    EXPECT_THAT(listener.await(1), ElementsAre("hello"));
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, ProgramsThatAreStartedInheritNothingThatItWaitsWith)
{
    std::vector<int> before;
    for (int number = 0; number < 64; ++number) {
        before.push_back(fcntl(number, F_GETFD));
    }
    listen();
    int opened = 0;
    for (int number = 0; number < 64; ++number) {
        if (before[static_cast<std::size_t>(number)] == -1 && fcntl(number, F_GETFD) != -1) {
            ++opened;
            EXPECT_EQ(fcntl(number, F_GETFD), FD_CLOEXEC);
        }
    }
    EXPECT_EQ(opened, 2);
}

TEST_F(ListenerTest, ADuplicateOfAnEarlierConnectionDoesNotDisturbTheOneThatHasItsNumber)
{
    WaitsForRest rest;
    listen();
    const int duplicate = dup(descriptor);
    peer->write(frameBytes("first").substr(0, 12));
    rest.awaitMoreThan(1);
    const LocalPeer second(*endPoint);
    while (fcntl(descriptor, F_GETFD) != -1) {
        std::this_thread::yield();
    }
    const LocalPeer third(*endPoint);
    ASSERT_EQ(endPoint->getReadEndPointID(), descriptor);
    const int before = rest.count();
    third.write(frameBytes("third").substr(0, 12));
    rest.awaitMoreThan(before + 1);
    peer->hangUp();
    EXPECT_THAT(diagnostics.take(), IsEmpty());
    third.write(frameBytes("third").substr(12));
    EXPECT_THAT(listener.await(1), ElementsAre("third"));
    endPoint->deinitialize();
    close(duplicate);
}

TEST_F(ListenerTest, AFrameWithoutDataIsDeliveredBeforeMoreComes)
{
    listen();
    peer->write(frameBytes(""));
    EXPECT_THAT(listener.await(1), ElementsAre(""));
}

TEST_F(ListenerTest, AFrameWithoutDataHasAnArrayOfOneByte)
{
    listener.action = [](IPCMessage* message) {
        ASSERT_NE(message->data, nullptr);
        EXPECT_EQ(message->data[0], 0U);
    };
    listen();
    peer->write(frameBytes(""));
    listener.await(1);
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_F(ListenerTest, AHangUpWhileTheOwnerSendsLeavesTheDescriptorsNumberTaken)
{
    listen();
    OwnedMessage message(std::string("hello"));
    const Interpose sending(interposed::send,
                            [&](int to, const void* data, size_t size, int flags) {
                                peer->hangUp();
                                while (endPoint->getReadEndPointID() != -1) {
                                    std::this_thread::yield();
                                }
                                const int other = dup(STDIN_FILENO);
                                EXPECT_NE(other, to);
                                close(other);
                                EXPECT_EQ(to, descriptor);
                                return interposed::send.real(to, data, size, flags);
                            });
    EXPECT_EQ(endPoint->sendMessage(&message), 7);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    EXPECT_FALSE(endPoint->isConnected());
    awaitEndOfThreads();
    EXPECT_THAT(diagnostics.take(),
                UnorderedElementsAre(failure(HUNG_UP),
                                     failure("sendMessage() The other end of the connection is "
                                             "closed. (EPIPE)")));
}

TEST_F(ListenerTest, AConnectionThatIsLostTwiceLeavesTheNextOneAlone)
{
    std::unique_ptr<LocalPeer> next;
    OwnedMessage message(std::string("hello"));
    const Interpose sending(
        interposed::send, [&](int to, const void* data, size_t size, int flags) {
            if (next == nullptr) {
                peer->hangUp();
                OwnedMessage none;
                EXPECT_EQ(endPoint->receiveMessage(&none, -1), 8); // it is lost for the first time
                next = std::make_unique<LocalPeer>(*endPoint);
            }
            return interposed::send.real(to, data, size, flags);
        });
    EXPECT_EQ(endPoint->sendMessage(&message), 7);
    EXPECT_TRUE(endPoint->isConnected());
    EXPECT_EQ(endPoint->sendMessage(&message), 0);
    EXPECT_EQ(next->read(14), frameBytes(0, 0, 5, "hello"));
    diagnostics.take();
}

TEST_F(ListenerTest, AThreadThatHasRemovedItsListenerEndsBeforeTheNextBegins)
{
    Event lingers;
    Event mayEnd;
    std::atomic<bool> ended{false};
    listener.action = [&](IPCMessage*) {
        lingering.atEnd = [&] {
            lingers.happen();
            mayEnd.await();
            ended = true;
        };
        EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    };
    listen();
    peer->write(frameBytes("hello"));
    lingers.await();
    std::thread releasing([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        mayEnd.happen();
    });
    const Interpose creating(interposed::pthread_create, [&](auto... arguments) {
        EXPECT_TRUE(ended);
        return interposed::pthread_create.real(arguments...);
    });
    NotingListener second;
    EXPECT_EQ(endPoint->setMessageArrivalListener(&second), 0);
    peer->write(frameBytes("again"));
    EXPECT_THAT(second.await(1), ElementsAre("again"));
    endPoint->deinitialize();
    releasing.join();
}

TEST_F(ListenerTest, AnOwnerThatIsInterruptedStillWaitsForTheCallback)
{
    Event inside;
    Event release;
    std::atomic<bool> returned{false};
    listener.action = [&](IPCMessage*) {
        inside.happen();
        release.await();
        returned = true;
    };
    listen();
    peer->write(frameBytes("hello"));
    inside.await();
    boost::thread owner([&] {
        endPoint->deinitialize();
        EXPECT_TRUE(returned);
        EXPECT_TRUE(boost::this_thread::interruption_requested());
    });
    owner.interrupt();
    while (endPoint->getMessageArrivalListener() != nullptr) {
        std::this_thread::yield();
    }
    release.happen();
    owner.join();
    EXPECT_EQ(endPoint->getReadEndPointID(), -1);
}

TEST_F(ListenerTest, ACallbackHasTheConnectionUntilItReturnsWhileTheOwnerDeinitializes)
{
    Event inside;
    Event release;
    listener.action = [&](IPCMessage* message) {
        inside.happen();
        release.await();
        EXPECT_TRUE(endPoint->isConnected());
        EXPECT_EQ(endPoint->sendMessage(message), 0);
    };
    listen();
    peer->write(frameBytes("hello"));
    inside.await();
    auto owner = std::async(std::launch::async, [this] { endPoint->deinitialize(); });
    while (endPoint->getMessageArrivalListener() != nullptr) {
        std::this_thread::yield();
    }
    release.happen();
    owner.get();
    EXPECT_EQ(peer->read(14), frameBytes("hello"));
}

// The gate

TEST_F(ListenerTest, WhileItIsInactiveTheOwnerReceives)
{
    listen(1);
    endPoint->setMessageArrivalListenerActive(false);
    peer->write(frameBytes("mine"));
    EXPECT_EQ(receive(), "mine");
    peer->write(frameBytes("yours"));
    endPoint->setMessageArrivalListenerActive(true);
    EXPECT_THAT(listener.await(1), ElementsAre("yours"));
    endPoint->setMessageArrivalListener(nullptr);
    diagnostics.take();
}

TEST_F(ListenerTest, ActivatingAnActiveOneChangesNothing)
{
    Event inside;
    Event release;
    listener.action = [&](IPCMessage*) {
        inside.happen();
        release.await();
    };
    endPoint->setMessageArrivalListenerActive(true);
    endPoint->setMessageArrivalListenerActive(false);
    listen();
    endPoint->setMessageArrivalListenerActive(true);
    endPoint->setMessageArrivalListenerActive(true);
    peer->write(frameBytes("one") + frameBytes("two"));
    inside.await();
    endPoint->setMessageArrivalListenerActive(true);
    release.happen();
    EXPECT_THAT(listener.await(2), ElementsAre("one", "two"));
}

TEST_F(ListenerTest, DeactivatingWaitsForTheCallback)
{
    Event inside;
    Event release;
    listener.action = [&](IPCMessage*) {
        inside.happen();
        release.await();
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    inside.await();
    AtTheGate owner;
    auto deactivated = std::async(std::launch::async, [&] {
        owner.isCaller();
        endPoint->setMessageArrivalListenerActive(false);
    });
    owner.await();
    EXPECT_EQ(deactivated.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    release.happen();
    deactivated.get();
    const auto arrived = listener.arrived();
    EXPECT_GE(arrived.size(), 1U);
    endPoint->setMessageArrivalListener(nullptr);
    EXPECT_EQ(listener.arrived(), arrived);
}

TEST_F(ListenerTest, ADeactivationThatWaitsComesBeforeTheNextMessage)
{
    Event inside;
    Event release;
    Event deactivating;
    Event afterTheCallback;
    std::atomic<std::thread::id> owner{};
    std::atomic<std::thread::id> itsThread{};
    // The owner notices only late that the callback has ended.
    const Interpose waiting(interposed::pthread_cond_wait,
                            [&](pthread_cond_t* condition, pthread_mutex_t* mutex) {
                                const std::thread::id caller = std::this_thread::get_id();
                                if (caller == owner.load()) {
                                    owner = std::thread::id();
                                    pthread_mutex_unlock(mutex);
                                    deactivating.happen();
                                    afterTheCallback.await();
                                    return pthread_mutex_lock(mutex);
                                }
                                if (caller == itsThread.load()) {
                                    itsThread = std::thread::id();
                                    afterTheCallback.happen();
                                }
                                return interposed::pthread_cond_wait.real(condition, mutex);
                            });
    listener.action = [&](IPCMessage* message) {
        if (message->dataLength == 3) {
            inside.happen();
            release.await();
            itsThread = std::this_thread::get_id();
        } else {
            afterTheCallback.happen();
        }
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("second"));
    inside.await();
    auto deactivated = std::async(std::launch::async, [&] {
        owner = std::this_thread::get_id();
        endPoint->setMessageArrivalListenerActive(false);
    });
    deactivating.await();
    release.happen();
    deactivated.get();
    ASSERT_THAT(listener.arrived(), ElementsAre("one"));
    EXPECT_EQ(receive(), "second");
}

TEST_F(ListenerTest, AThreadThatFindsTheGateClosedFromTheStartCanBeEnded)
{
    struct Delayed {
        void* (*start)(void*) = nullptr;
        void* argument = nullptr;
        Event mayStart;
        AtTheGate thread;
    } delayed;
    const auto startLate = [](void* argument) {
        auto* late = static_cast<Delayed*>(argument);
        late->mayStart.await();
        late->thread.isCaller();
        return late->start(late->argument);
    };
    const Interpose creating(
        interposed::pthread_create, [&](pthread_t* thread, const pthread_attr_t* attributes,
                                        void* (*start)(void*), void* argument) {
            delayed.start = start;
            delayed.argument = argument;
            return interposed::pthread_create.real(thread, attributes, startLate, &delayed);
        });
    listen();
    endPoint->setMessageArrivalListenerActive(false);
    delayed.mayStart.happen();
    delayed.thread.await();
    peer->write(frameBytes("one"));
    EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    EXPECT_EQ(receive(), "one");
    EXPECT_THAT(listener.arrived(), IsEmpty());
}

TEST_F(ListenerTest, DeactivatingWaitsNoLongerOnceTheListenerIsRemoved)
{
    Event inside;
    Event release;
    AtTheGate owner;
    listener.action = [&](IPCMessage*) {
        inside.happen();
        release.await();
    };
    listen();
    peer->write(frameBytes("one"));
    inside.await();
    auto deactivated = std::async(std::launch::async, [&] {
        owner.isCaller();
        endPoint->setMessageArrivalListenerActive(false);
    });
    owner.await();
    auto removed =
        std::async(std::launch::async, [&] { endPoint->setMessageArrivalListener(nullptr); });
    deactivated.get();
    EXPECT_THAT(listener.arrived(), IsEmpty());
    release.happen();
    removed.get();
}

TEST_F(ListenerTest, ASecondThreadWithItsFunctionWaitsUntilTheFirstIsOutside)
{
    Event inside;
    Event release;
    AtTheGate second;
    listener.action = [&](IPCMessage*) {
        inside.happen();
        release.await();
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    inside.await();
    auto ended = std::async(std::launch::async, [&] {
        second.isCaller();
        ZTIPCEndPoint::messageArrivalListenerThreadFunc(endPoint.get());
    });
    second.await();
    EXPECT_EQ(receive(), "two") << "it has not been received";
    release.happen();
    EXPECT_THAT(listener.await(1), ElementsAre("one"));
    peer->write(frameBytes("three") + frameBytes("four"));
    EXPECT_THAT(listener.await(3), ElementsAre("one", "three", "four"));
    endPoint->setMessageArrivalListener(nullptr);
    ended.get();
}

TEST_F(ListenerTest, ASecondDeactivationWaitsForAnActivation)
{
    listen(1);
    endPoint->setMessageArrivalListenerActive(false);
    AtTheGate owner;
    auto second = std::async(std::launch::async, [&] {
        owner.isCaller();
        endPoint->setMessageArrivalListenerActive(false);
    });
    owner.await();
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    endPoint->setMessageArrivalListenerActive(true);
    second.get();
    peer->write(frameBytes("mine"));
    EXPECT_EQ(receive(), "mine");
    diagnostics.take();
}

TEST_F(ListenerTest, DeactivatingFromInsideTheCallbackHoldsWhatComesNext)
{
    Event deactivated;
    listener.action = [&](IPCMessage*) {
        endPoint->setMessageArrivalListenerActive(false);
        endPoint->setMessageArrivalListenerActive(false);
        deactivated.happen();
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    deactivated.await();
    EXPECT_EQ(receive(), "two");
    peer->write(frameBytes("three"));
    listener.action = [](IPCMessage*) {};
    endPoint->setMessageArrivalListenerActive(true);
    EXPECT_THAT(listener.await(2), ElementsAre("one", "three"));
}

TEST_F(ListenerTest, AConnectionThatIsLostWhileItStandsAtTheGateIsReportedOnce)
{
    AtTheGate itsThread;
    listener.action = [&](IPCMessage*) {
        endPoint->setMessageArrivalListenerActive(false);
        itsThread.isCaller();
    };
    listen();
    OwnedMessage message(std::string("hello"));
    peer->write(frameBytes("one"));
    itsThread.await();
    peer->hangUp();
    EXPECT_EQ(endPoint->sendMessage(&message), 7);
    diagnostics.take();
    endPoint->setMessageArrivalListenerActive(true);
    awaitEndOfThreads();
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("receiveMessage() failed. Invalid linkID.")));
}

// Everything that can be done to it, from outside, in every state of its thread

namespace {

enum class State {
    WaitsWithoutLimit,
    Polls,
    HasHalfAHeader,
    HasHalfTheData,
    IsInTheCallback,
    StandsAtTheGate
};

std::string nameOf(const testing::TestParamInfo<State>& info)
{
    static const char* const NAMES[] = {"WaitsWithoutLimit", "Polls",           "HasHalfAHeader",
                                        "HasHalfTheData",    "IsInTheCallback", "StandsAtTheGate"};
    return NAMES[static_cast<int>(info.param)];
}

class WhileTheThread : public ListenerTest, public testing::WithParamInterface<State> {
protected:
    void SetUp() override
    {
        listener.action = [this](IPCMessage*) {
            waitsBeforeCallback = waits.load();
            if (GetParam() == State::StandsAtTheGate) {
                endPoint->setMessageArrivalListenerActive(false);
            } else {
                inCallback.happen();
                release.await();
            }
        };
        listen(GetParam() == State::Polls ? 0 : -1);
        switch (GetParam()) {
        case State::WaitsWithoutLimit:
            waiting.await();
            break;
        case State::Polls:
            while (diagnostics.take().empty()) {
            }
            break;
        case State::HasHalfAHeader:
            send(4);
            rest.awaitMoreThan(1);
            break;
        case State::HasHalfTheData:
            send(12);
            rest.awaitMoreThan(1);
            break;
        case State::IsInTheCallback:
            peer->write(frameBytes("first"));
            inCallback.await();
            break;
        case State::StandsAtTheGate:
            peer->write(frameBytes("first"));
            listener.await(1);
            break;
        }
    }

    void TearDown() override
    {
        endPoint.reset();
        if (GetParam() == State::Polls) {
            EXPECT_THAT(diagnostics.take(), Each(failure(EXPIRED)));
        }
        ListenerTest::TearDown();
    }

    // So much of the frame that is to come, or all of the rest.
    void send(std::size_t count = std::string::npos)
    {
        peer->write(frame.substr(0, count));
        frame.erase(0, count);
    }

    // An action that has to wait for a callback that runs; that ends in the meantime, once the
    // action has begun.
    template <class Action>
    void await(
        Action action, const std::function<bool()>& hasBegun = [] { return true; })
    {
        auto done = std::async(std::launch::async, action);
        if (GetParam() == State::IsInTheCallback) {
            EXPECT_EQ(done.wait_for(std::chrono::milliseconds(10)), std::future_status::timeout);
            while (!hasBegun()) {
                std::this_thread::yield();
            }
        }
        release.happen();
        done.get();
    }

    std::vector<std::string> arrivedBefore() const
    {
        const bool one =
            GetParam() == State::IsInTheCallback || GetParam() == State::StandsAtTheGate;
        return one ? std::vector<std::string>{"first"} : std::vector<std::string>{};
    }

    Event waiting;
    std::atomic<int> waits{0}; // of select()
    std::atomic<int> waitsBeforeCallback{0};
    WaitsForRest rest;
    Event inCallback;
    Event release;
    std::string frame = frameBytes("hello");
    const decltype(openDescriptors()) descriptorsBefore = openDescriptors();
    const Interpose<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select{
        interposed::select, [this](auto... arguments) {
            ++waits;
            waiting.happen();
            return interposed::select.real(arguments...);
        }};
};

} // namespace

TEST_P(WhileTheThread, RemovingEndsItAndLeavesTheConnectionToTheOwner)
{
    const int waitsBefore = waits;
    await([this] { EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0); },
          [this] { return endPoint->getMessageArrivalListener() == nullptr; });
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
    if (GetParam() != State::Polls) {
        EXPECT_EQ(waits, waitsBefore) << "it has made a further pass";
    }
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
    awaitEndOfThreads();
    send();
    EXPECT_EQ(receive(), "hello");
    EXPECT_EQ(listener.arrived(), arrivedBefore());
}

TEST_P(WhileTheThread, ReplacingHandsTheNextMessageToTheOther)
{
    NotingListener second;
    await([&] { EXPECT_EQ(endPoint->setMessageArrivalListener(&second), 0); });
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    endPoint->setMessageArrivalListenerActive(true);
    send();
    EXPECT_THAT(second.await(1), ElementsAre("hello"));
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    endPoint->deinitialize();
}

TEST_P(WhileTheThread, DeinitializingEndsItAndCloses)
{
    await([this] { endPoint->deinitialize(); });
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
    EXPECT_EQ(openDescriptors(), descriptorsBefore - 1);
    EXPECT_EQ(peer->read(1), "");
    awaitEndOfThreads();
}

TEST_P(WhileTheThread, DestroyingEndsItAndCloses)
{
    await([this] { endPoint.reset(); });
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    EXPECT_EQ(openDescriptors(), descriptorsBefore - 1);
    EXPECT_EQ(peer->read(1), "");
    awaitEndOfThreads();
}

TEST_P(WhileTheThread, AHangUpEndsIt)
{
    peer->hangUp();
    release.happen();
    endPoint->setMessageArrivalListenerActive(true);
    awaitEndOfThreads();
    EXPECT_FALSE(endPoint->isConnected());
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    auto lines = diagnostics.take();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), failure(HUNG_UP));
    lines.pop_back();
    const char* cut = nullptr;
    if (GetParam() == State::HasHalfAHeader) {
        cut = "receiveMessage() Incomplete message header received.";
    } else if (GetParam() == State::HasHalfTheData) {
        cut = "receiveMessage() Incomplete message data bytes received.";
    } else if (GetParam() == State::Polls) {
        cut = EXPIRED;
    }
    EXPECT_THAT(lines, Each(failure(cut == nullptr ? "nothing else" : cut)));
}

TEST_P(WhileTheThread, AMessageThatIsCompletedIsDelivered)
{
    endPoint->setMessageArrivalListenerActive(true);
    release.happen();
    send();
    EXPECT_EQ(listener.await(arrivedBefore().size() + 1).back(), "hello");
    endPoint->setMessageArrivalListener(nullptr);
}

TEST_P(WhileTheThread, DeactivatingDoesNotWaitForThePeerAndLeavesTheRestToTheOwner)
{
    if (GetParam() != State::StandsAtTheGate) { // where it is inactive already
        await([this] { endPoint->setMessageArrivalListenerActive(false); });
    }
    send();
    EXPECT_EQ(receive(), "hello");
    EXPECT_EQ(listener.arrived(), arrivedBefore());
}

TEST_P(WhileTheThread, SendingToAPeerThatReadsNoMoreLosesTheConnectionAndEndsIt)
{
    peer->readNoMore();
    OwnedMessage message(std::string("hello"));
    release.happen();
    EXPECT_EQ(endPoint->sendMessage(&message), 7);
    EXPECT_FALSE(endPoint->isConnected());
    EXPECT_EQ(endPoint->getReadEndPointID(), -1);
    diagnostics.take();
    endPoint->setMessageArrivalListenerActive(true);
    awaitEndOfThreads();
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    EXPECT_EQ(listener.arrived(), arrivedBefore());
    if (GetParam() == State::StandsAtTheGate || GetParam() == State::Polls) {
        diagnostics.take(); // of a receive that it had begun before or not
    }
}

TEST_P(WhileTheThread, AnotherConnectionIsListenedTo)
{
    release.happen();
    const LocalPeer next(*endPoint);
    endPoint->setMessageArrivalListenerActive(true);
    next.write(frameBytes("next"));
    EXPECT_EQ(listener.await(arrivedBefore().size() + 1).back(), "next");
    EXPECT_EQ(peer->read(1), "");
    endPoint->deinitialize();
}

TEST_P(WhileTheThread, AForkedChildDestroysItsCopyWithoutWaitingAndTheParentListensOn)
{
    EXPECT_TRUE(succeedsInForkedChild([this] {
        endPoint.reset();
        EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    }));
    const int waitsBefore = waits;
    release.happen();
    endPoint->setMessageArrivalListenerActive(true);
    send();
    EXPECT_EQ(listener.await(arrivedBefore().size() + 1).back(), "hello");
    if (GetParam() == State::WaitsWithoutLimit || GetParam() == State::HasHalfAHeader ||
        GetParam() == State::HasHalfTheData) {
        EXPECT_EQ(waitsBeforeCallback, waitsBefore) << "the child has woken it";
    }
    endPoint->setMessageArrivalListener(nullptr);
}

INSTANTIATE_TEST_SUITE_P(, WhileTheThread,
                         testing::Values(State::WaitsWithoutLimit, State::Polls,
                                         State::HasHalfAHeader, State::HasHalfTheData,
                                         State::IsInTheCallback, State::StandsAtTheGate),
                         nameOf);

// The same from inside the callback, where nothing can wait for the callback

TEST_F(ListenerTest, ACallbackMayRemoveItsListener)
{
    listener.action = [this](IPCMessage*) {
        EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
        EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
        endPoint->setMessageArrivalListenerActive(false); // which does nothing any more
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    EXPECT_THAT(listener.await(1), ElementsAre("one"));
    awaitEndOfThreads();
    EXPECT_EQ(receive(), "two");
    EXPECT_THAT(listener.arrived(), ElementsAre("one"));
}

TEST_F(ListenerTest, ACallbackMayReplaceItsListener)
{
    NotingListener second;
    listener.action = [&](IPCMessage*) {
        EXPECT_EQ(endPoint->setMessageArrivalListener(&second), 0);
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    EXPECT_THAT(second.await(1), ElementsAre("two"));
    EXPECT_THAT(listener.arrived(), ElementsAre("one"));
    EXPECT_EQ(threads(), 1);
    endPoint->deinitialize();
}

TEST_F(ListenerTest, ACallbackMayRemoveItsListenerAndSetAnother)
{
    NotingListener second;
    listener.action = [&](IPCMessage*) {
        EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
        EXPECT_EQ(endPoint->setMessageArrivalListener(&second), 0);
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    EXPECT_THAT(second.await(1), ElementsAre("two"));
    EXPECT_THAT(listener.await(1), ElementsAre("one"));
    endPoint->deinitialize();
    awaitEndOfThreads();
}

TEST_F(ListenerTest, ACallbackMayDeinitializeItsEndPoint)
{
    listener.action = [this](IPCMessage*) { endPoint->deinitialize(); };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    EXPECT_THAT(listener.await(1), ElementsAre("one"));
    awaitEndOfThreads();
    EXPECT_EQ(peer->read(1), "");
    EXPECT_FALSE(endPoint->isConnected());
}

TEST_F(ListenerTest, ACallbackMayDeleteItsEndPoint)
{
    listener.action = [this](IPCMessage*) { endPoint.reset(); };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    EXPECT_THAT(listener.await(1), ElementsAre("one"));
    awaitEndOfThreads();
    EXPECT_EQ(peer->read(1), "");
}

TEST_F(ListenerTest, ACallbackMayReplaceTheConnection)
{
    std::unique_ptr<LocalPeer> next;
    listener.action = [&](IPCMessage* message) {
        if (message->data[0] == '1') {
            next = std::make_unique<LocalPeer>(*endPoint);
            next->write(frameBytes("2"));
        }
    };
    listen();
    peer->write(frameBytes("1"));
    EXPECT_THAT(listener.await(2), ElementsAre("1", "2"));
    EXPECT_EQ(peer->read(1), "");
    endPoint->deinitialize(); // before its peer goes
}

TEST_F(ListenerTest, ACallbackWhoseConnectFailsEndsTheThread)
{
    listener.action = [this](IPCMessage*) { EXPECT_EQ(endPoint->connectTo("/no/server"), 14); };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    awaitEndOfThreads();
    EXPECT_THAT(listener.arrived(), ElementsAre("one"));
    EXPECT_EQ(endPoint->getMessageArrivalListener(), &listener);
    EXPECT_EQ(diagnostics.take().size(), 1U);
}

TEST_F(ListenerTest, ACallbackMaySendAndReceive)
{
    listener.action = [this](IPCMessage* message) {
        EXPECT_EQ(endPoint->sendMessage(message), 0);
        EXPECT_EQ(receive(), "two");
    };
    listen();
    peer->write(frameBytes("one") + frameBytes("two"));
    EXPECT_EQ(peer->read(12), frameBytes("one"));
    EXPECT_THAT(listener.await(1), ElementsAre("one"));
}

TEST_F(ListenerTest, OwnerAndCallbackMayBothRemoveIt)
{
    Event inside;
    Event release;
    listener.action = [&](IPCMessage*) {
        inside.happen();
        release.await();
        EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    };
    listen();
    peer->write(frameBytes("one"));
    inside.await();
    auto removed = std::async(std::launch::async,
                              [this] { return endPoint->setMessageArrivalListener(nullptr); });
    while (endPoint->getMessageArrivalListener() != nullptr) {
        std::this_thread::yield();
    }
    release.happen();
    EXPECT_EQ(removed.get(), 0);
    awaitEndOfThreads();
}

TEST_F(ListenerTest, NothingIsLostWhereTheOwnerAndAListenerTakeTurns)
{
    const int messages = 3000;
    std::thread sender([this] {
        for (int i = 0; i < messages; ++i) {
            peer->write(frameBytes(std::to_string(i)));
        }
    });
    std::vector<std::string> all;
    endPoint->setReceiveTimeout(-1);
    listener.action = [&](IPCMessage* message) {
        all.emplace_back(reinterpret_cast<char*>(message->data), message->dataLength);
    };
    std::size_t turns = 0;
    while (all.size() < messages) {
        all.push_back(receive());
        if (all.size() < messages) {
            ASSERT_EQ(endPoint->setMessageArrivalListener(&listener), 0);
            if (++turns % 2 == 0) {
                std::this_thread::yield();
            }
            ASSERT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
        }
    }
    sender.join();
    ASSERT_EQ(all.size(), static_cast<std::size_t>(messages));
    for (int i = 0; i < messages; ++i) {
        ASSERT_EQ(all[static_cast<std::size_t>(i)], std::to_string(i));
    }
}
