// The manager in a main loop of another kind: its descriptor, and what is done when that is
// readable.

#include "zt/ZTEndPointManager.h"

#include "ipc/TestEndPoint.h"
#include "support/Diagnostics.h"
#include "support/ForkedChild.h"
#include "support/Interpose.h"
#include "support/LocalPeer.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTPipe.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ZT::ZTEndPoint;
using ZT::ZTEndPointManager;

// Epoll is asked by a number that a listener's thread may close at that moment: what comes of it is
// noticed at the next look.
extern "C" const char* __tsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "race:ZT::Readiness::control";
}

namespace {

const unsigned int POLL = 1;

bool isReadable(int descriptor, int timeoutMs = 0)
{
    pollfd waited{};
    waited.fd = descriptor;
    waited.events = POLLIN;
    return poll(&waited, 1, timeoutMs) == 1;
}

std::vector<int> openDescriptors()
{
    std::vector<int> open;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1) {
            open.push_back(descriptor);
        }
    }
    return open;
}

// An endpoint on a connection whose other end the test has.
class Connection : public TestEndPoint {
public:
    Connection() : TestEndPoint(-1, false, true) { open(); }
    ~Connection() override { hangUp(); }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void open()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        readID = ends[0];
        peer = ends[1];
        connected = true;
    }

    // Both ends, the own one first.
    void hangUp()
    {
        close(readID);
        readID = -1;
        close(peer);
        peer = -1;
        connected = false;
    }

    // With the same number, as the system gives the lowest.
    void reopen()
    {
        const int before = readID;
        hangUp();
        open();
        EXPECT_EQ(readID, before);
    }

    int reconnect() override
    {
        open();
        return 0;
    }

    void send() const { EXPECT_EQ(write(peer, "x", 1), 1); }
    void receive() const
    {
        char byte = 0;
        EXPECT_EQ(recv(readID, &byte, 1, MSG_DONTWAIT), 1);
    }

    int peer = -1;
};

// Looks for lost endpoints become due when the test says, and the timer as the manager sets it.
class ManualTimer {
public:
    void expire()
    {
        itimerspec time{};
        time.it_value.tv_nsec = 1;
        time.it_interval = set.back().it_interval;
        ASSERT_EQ(interposed::timerfd_settime.real(descriptor, 0, &time, nullptr), 0);
        ASSERT_TRUE(isReadable(descriptor, -1));
    }

    int descriptor = -1;
    std::vector<itimerspec> set;

private:
    const Interpose<int(int, int, const itimerspec*, itimerspec*)> recorder{
        interposed::timerfd_settime, [this](int timer, int, const itimerspec* time, itimerspec*) {
            descriptor = timer;
            set.push_back(*time);
            const itimerspec never{};
            return interposed::timerfd_settime.real(timer, 0, &never, nullptr);
        }};
};

class ZTEndPointManagerDescriptor : public testing::Test {
protected:
    void add(TestEndPoint& endPoint) { ASSERT_EQ(manager.addEndPoint(&endPoint, &handler), 0); }

    bool isManagerReadable() { return isReadable(manager.getDescriptor()); }

    ManualTimer timer;
    NotingHandler handler;
    ZTEndPointManager manager;
};

void drain(ZTEndPoint* endPoint)
{
    char bytes[8];
    EXPECT_GT(read(endPoint->getReadEndPointID(), bytes, sizeof bytes), 0);
}

} // namespace

TEST_F(ZTEndPointManagerDescriptor, IsReadableWhileAnEndPointIs)
{
    ReadableEndPoint endPoint;
    EXPECT_FALSE(isManagerReadable());
    add(endPoint);
    EXPECT_TRUE(isManagerReadable());
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", &endPoint}));
    EXPECT_THAT(handler.managers, ElementsAre(&manager));
    EXPECT_TRUE(isManagerReadable()) << "nobody has read it";
    handler.action = drain;
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.take().size(), 1U);
    EXPECT_FALSE(isManagerReadable());
    EXPECT_EQ(manager.dispatch(), 17);
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(ZTEndPointManagerDescriptor, KnowsWhatWasAddedBeforeAndLeavesOutWhatIsRemoved)
{
    ReadableEndPoint endPoints[3];
    for (ReadableEndPoint& endPoint : endPoints) {
        add(endPoint);
    }
    EXPECT_TRUE(isManagerReadable());
    EXPECT_EQ(manager.removeEndPoint(&endPoints[0]), 0);
    EXPECT_EQ(manager.removeExactEndPoint(&endPoints[1]), 0);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", &endPoints[2]}));
    EXPECT_EQ(manager.removeEndPointsOf(&handler), 0);
    EXPECT_FALSE(isManagerReadable());
    add(endPoints[1]);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", &endPoints[1]}));
}

TEST_F(ZTEndPointManagerDescriptor, StaysTheSameAndIsClosedWithTheManager)
{
    const auto before = openDescriptors();
    auto ending = std::make_unique<ZTEndPointManager>();
    EXPECT_EQ(openDescriptors(), before) << "nobody has asked";
    const int descriptor = ending->getDescriptor();
    EXPECT_EQ(ending->getDescriptor(), descriptor);
    EXPECT_EQ(openDescriptors().size(), before.size() + 2);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    TestEndPoint endPoint(open("/dev/null", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(ending->addEndPoint(&endPoint, &handler), 0);
    EXPECT_EQ(openDescriptors().size(), before.size() + 4);
    ending.reset();
    close(endPoint.readID);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ZTEndPointManagerDescriptor, DispatchingNeedsNoDescriptorBefore)
{
    ReadableEndPoint endPoint;
    add(endPoint);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
}

TEST_F(ZTEndPointManagerDescriptor, WithoutDescriptorsItReturnsMinus1AndDispatching10)
{
    ReadableEndPoint endPoint;
    add(endPoint);
    const auto before = openDescriptors();
    const auto fail = [](auto...) {
        errno = EMFILE;
        return -1;
    };
    const auto expectNone = [&] {
        EXPECT_EQ(manager.getDescriptor(), -1);
        EXPECT_EQ(manager.dispatch(), 10);
        EXPECT_EQ(openDescriptors(), before);
    };
    {
        const Interpose failing(interposed::epoll_create1, fail);
        expectNone();
    }
    {
        const Interpose failing(interposed::timerfd_create, fail);
        expectNone();
    }
    EXPECT_THAT(handler.calls, IsEmpty());
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 2U);
}

TEST_F(ZTEndPointManagerDescriptor, CanItselfBeWaitedForByEpollAndByAManager)
{
    ReadableEndPoint endPoint;
    add(endPoint);
    const int poller = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    ASSERT_EQ(epoll_ctl(poller, EPOLL_CTL_ADD, manager.getDescriptor(), &event), 0);
    ZTEndPointManager outer;
    TestEndPoint inner(poller);
    NotingHandler outerHandler;
    outerHandler.action = [this](ZTEndPoint*) { EXPECT_EQ(manager.dispatch(), 0); };
    ASSERT_EQ(outer.addEndPoint(&inner, &outerHandler), 0);
    handler.action = drain;
    EXPECT_EQ(epoll_wait(poller, &event, 1, -1), 1);
    EXPECT_EQ(outer.dispatch(), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &endPoint}));
    EXPECT_EQ(epoll_wait(poller, &event, 1, 0), 0);
    EXPECT_EQ(outer.dispatch(), 17);
    close(poller);
}

TEST_F(ZTEndPointManagerDescriptor, WaitingStaysWhatItIs)
{
    ReadableEndPoint endPoint;
    TestEndPoint lost(1000, false);
    add(endPoint);
    add(lost);
    manager.getDescriptor();
    EXPECT_EQ(manager.waitForEndPoints(0, 2), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(handler.take(),
                ElementsAre(Call{"readable", &endPoint}, Call{"readable", &endPoint}));
    drain(&endPoint);
    EXPECT_EQ(manager.waitForEndPoints(3000, 0), 17);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"disconnected", &lost}));
    EXPECT_EQ(manager.waitForEndPoints(3000, 0), 17);
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(ZTEndPointManagerDescriptor, ALookIsDueEvery2000MsWhileThereIsAnEndPoint)
{
    Connection endPoints[2];
    manager.getDescriptor();
    EXPECT_THAT(timer.set, IsEmpty());
    add(endPoints[0]);
    add(endPoints[1]);
    ASSERT_EQ(timer.set.size(), 1U);
    EXPECT_EQ(timer.set[0].it_value.tv_sec, 2);
    EXPECT_EQ(timer.set[0].it_value.tv_nsec, 0);
    EXPECT_EQ(timer.set[0].it_interval.tv_sec, 2);
    EXPECT_EQ(timer.set[0].it_interval.tv_nsec, 0);
    EXPECT_EQ(manager.removeEndPoint(&endPoints[0]), 0);
    EXPECT_EQ(timer.set.size(), 1U);
    EXPECT_EQ(manager.removeEndPoint(&endPoints[1]), 0);
    ASSERT_EQ(timer.set.size(), 2U);
    EXPECT_EQ(timer.set[1].it_value.tv_sec, 0);
    EXPECT_EQ(timer.set[1].it_value.tv_nsec, 0);
}

TEST_F(ZTEndPointManagerDescriptor, ALookThatIsDueReconnectsAndThenHandsOut)
{
    Connection lost;
    add(lost);
    EXPECT_FALSE(isManagerReadable());
    lost.hangUp();
    EXPECT_EQ(manager.dispatch(), 17);
    EXPECT_FALSE(isManagerReadable()) << "nothing is polled";
    timer.expire();
    EXPECT_TRUE(isManagerReadable());
    handler.action = [&](ZTEndPoint*) {
        if (handler.calls.size() == 1) {
            lost.send();
        }
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"reconnected", &lost}, Call{"readable", &lost}));
    lost.receive();
    EXPECT_FALSE(isManagerReadable());
}

TEST(ZTEndPointManagerDescriptorInTime, WakesItsLoopForALook)
{
    NotingHandler handler;
    ZTEndPointManager manager;
    Connection lost;
    ASSERT_EQ(manager.addEndPoint(&lost, &handler), 0);
    lost.hangUp();
    ASSERT_TRUE(isReadable(manager.getDescriptor(), -1));
    EXPECT_EQ(manager.dispatch(), 17);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"reconnected", &lost}));
    EXPECT_FALSE(isReadable(manager.getDescriptor()));
}

TEST_F(ZTEndPointManagerDescriptor, ALookMayDispatchAndIsMadeOnce)
{
    Connection lost;
    ReadableEndPoint readable;
    add(lost);
    add(readable);
    manager.getDescriptor();
    lost.hangUp();
    timer.expire();
    handler.action = [&](ZTEndPoint* endPoint) {
        if (endPoint == &lost) {
            EXPECT_EQ(manager.dispatch(), 0);
        } else {
            drain(endPoint);
        }
    };
    EXPECT_EQ(manager.dispatch(), 17) << "the inner one has handed out all";
    EXPECT_THAT(handler.calls,
                ElementsAre(Call{"reconnected", &lost}, Call{"readable", &readable}));
}

TEST_F(ZTEndPointManagerDescriptor, NoticesAtTheNextLookWhatHasChangedByItself)
{
    Connection moved;
    Connection sameNumber;
    add(moved);
    add(sameNumber);
    manager.getDescriptor();
    const int occupied = moved.readID;
    moved.hangUp();
    const int occupant = fcntl(0, F_DUPFD_CLOEXEC, occupied);
    moved.open();
    ASSERT_NE(moved.readID, occupied);
    sameNumber.reopen();
    moved.send();
    sameNumber.send();
    timer.expire();
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(),
                UnorderedElementsAre(Call{"readable", &moved}, Call{"readable", &sameNumber}));
    close(occupant);
}

TEST_F(ZTEndPointManagerDescriptor, ALookOfTheApplicationNoticesAtOnce)
{
    Connection endPoint;
    add(endPoint);
    manager.getDescriptor();
    endPoint.reopen();
    endPoint.send();
    EXPECT_FALSE(isManagerReadable());
    manager.handleDisconnectedEndPoints();
    EXPECT_TRUE(isManagerReadable());
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &endPoint}));
}

TEST_F(ZTEndPointManagerDescriptor, NoticesAtOnceWhatAHandlerHasOpenedUnderAnotherNumber)
{
    Connection endPoint;
    add(endPoint);
    endPoint.send();
    int occupant = -1;
    handler.action = [&](ZTEndPoint*) {
        if (occupant < 0) {
            const int occupied = endPoint.readID;
            endPoint.hangUp();
            occupant = fcntl(0, F_DUPFD_CLOEXEC, occupied);
            endPoint.open();
        }
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_FALSE(isManagerReadable());
    endPoint.send();
    EXPECT_TRUE(isManagerReadable());
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 2U);
    close(occupant);
}

TEST_F(ZTEndPointManagerDescriptor, CallsNobodyAboutAnEndPointThatHasClosedByItself)
{
    Connection endPoint;
    add(endPoint);
    endPoint.send();
    ASSERT_TRUE(isManagerReadable());
    endPoint.connected = false;
    EXPECT_EQ(manager.dispatch(), 17);
    EXPECT_FALSE(isManagerReadable());
    endPoint.connected = true;
    EXPECT_FALSE(isManagerReadable());
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &endPoint}));
}

TEST_F(ZTEndPointManagerDescriptor, CallsNobodyAboutADescriptorThatIsNotOpen)
{
    Connection endPoint;
    add(endPoint);
    endPoint.send();
    ASSERT_TRUE(isManagerReadable());
    const int number = std::exchange(endPoint.readID, 1000);
    EXPECT_EQ(manager.dispatch(), 17);
    EXPECT_FALSE(isManagerReadable());
    endPoint.readID = number;
}

// What a connection that somebody else still has goes on to tell of

TEST_F(ZTEndPointManagerDescriptor, AConnectionThatAnotherProcessStillHasDoesNotKeepItReadable)
{
    Connection endPoint;
    add(endPoint);
    manager.getDescriptor();
    const int inherited = fcntl(endPoint.readID, F_DUPFD_CLOEXEC, 0);
    endPoint.hangUp();
    while (isManagerReadable()) {
        EXPECT_EQ(manager.dispatch(), 17);
    }
    EXPECT_THAT(handler.calls, IsEmpty());
    EXPECT_EQ(manager.removeExactEndPoint(&endPoint), 0);
    EXPECT_FALSE(isManagerReadable());
    close(inherited);
}

TEST_F(ZTEndPointManagerDescriptor, TheSameWhenItWasRemovedAfterItHadClosed)
{
    Connection endPoint;
    add(endPoint);
    manager.getDescriptor();
    const int inherited = fcntl(endPoint.readID, F_DUPFD_CLOEXEC, 0);
    endPoint.hangUp();
    EXPECT_EQ(manager.removeExactEndPoint(&endPoint), 0);
    ReadableEndPoint other; // maybe where the registration of the one before was
    add(other);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &other}));
    drain(&other);
    while (isManagerReadable()) {
        EXPECT_EQ(manager.dispatch(), 17);
    }
    close(inherited);
}

TEST_F(ZTEndPointManagerDescriptor, ItIsNotTakenForTheOneThatHasItsNumberNow)
{
    for (const bool isNoticed : {false, true}) {
        Connection endPoint;
        add(endPoint);
        manager.getDescriptor();
        const int inherited = fcntl(endPoint.readID, F_DUPFD_CLOEXEC, 100);
        endPoint.reopen();
        if (isNoticed) {
            manager.handleDisconnectedEndPoints();
        }
        while (isManagerReadable()) {
            EXPECT_EQ(manager.dispatch(), 17);
        }
        EXPECT_THAT(handler.take(), IsEmpty()) << "there is nothing to read";
        endPoint.send();
        EXPECT_EQ(manager.dispatch(), 0);
        EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", &endPoint}));
        EXPECT_EQ(manager.removeExactEndPoint(&endPoint), 0);
        close(inherited);
    }
}

TEST_F(ZTEndPointManagerDescriptor, AnEndPointThatTakesOverANumberKeepsItWhenTheOneBeforeIsRemoved)
{
    Connection before;
    Connection after;
    after.hangUp();
    add(before);
    add(after);
    manager.getDescriptor();
    const int number = before.readID;
    before.hangUp();
    after.open();
    ASSERT_EQ(after.readID, number);
    manager.handleDisconnectedEndPoints(); // which opens the one before under another number
    EXPECT_EQ(manager.removeExactEndPoint(&before), 0);
    handler.take();
    after.send();
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &after}));
}

TEST_F(ZTEndPointManagerDescriptor,
       AnEndPointThatTakesOverANumberIsHeardAlthoughTheOneBeforeIsToldOf)
{
    Connection before;
    Connection after;
    after.hangUp();
    add(before);
    manager.getDescriptor();
    before.send();
    const int inherited = fcntl(before.readID, F_DUPFD_CLOEXEC, 100);
    const int number = before.readID;
    close(before.readID);
    after.open();
    ASSERT_EQ(after.readID, number);
    before.readID = fcntl(inherited, F_DUPFD_CLOEXEC, 100);
    add(after);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", &before}));
    before.receive();
    after.send();
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", &after}));
    close(inherited);
}

// Files, which select() finds readable and epoll refuses

TEST_F(ZTEndPointManagerDescriptor, AFileIsReadableAsItIsForAWait)
{
    const TemporaryFolder folder;
    for (const std::string& path : {std::string("/dev/null"), folder / "file"}) {
        TestEndPoint file(open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
        add(file);
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(isManagerReadable());
            EXPECT_EQ(manager.dispatch(), 0);
            manager.handleDisconnectedEndPoints();
        }
        EXPECT_EQ(handler.take().size(), 4U);
        EXPECT_EQ(manager.removeEndPoint(&file), 0);
        EXPECT_FALSE(isManagerReadable());
        close(file.readID);
    }
}

TEST_F(ZTEndPointManagerDescriptor, WhatTakesTheNumberOfAFileIsNoFile)
{
    TestEndPoint endPoint(open("/dev/null", O_RDONLY | O_CLOEXEC));
    add(endPoint);
    manager.getDescriptor();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(ends[0], endPoint.readID), endPoint.readID);
    EXPECT_EQ(manager.dispatch(), 17);
    EXPECT_FALSE(isManagerReadable());
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(manager.dispatch(), 0);
    for (const int descriptor : {ends[0], ends[1], endPoint.readID}) {
        close(descriptor);
    }
}

TEST_F(ZTEndPointManagerDescriptor, AFileWithoutADescriptorForItIsTriedAgainAtTheNextLook)
{
    TestEndPoint file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    {
        const Interpose failing(interposed::eventfd, [](auto...) {
            errno = EMFILE;
            return -1;
        });
        add(file);
        EXPECT_FALSE(isManagerReadable());
        manager.handleDisconnectedEndPoints();
        EXPECT_FALSE(isManagerReadable());
    }
    timer.expire();
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
    close(file.readID);
}

TEST_F(ZTEndPointManagerDescriptor, LeavesOutAnEndPointWithoutADescriptor)
{
    TestEndPoint without(-1);
    TestEndPoint closed(1000);
    ReadableEndPoint readable;
    add(without);
    add(closed);
    add(readable);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &readable}));
}

// What a handler may do. Each runs with many endpoints, so that some come before and some after the
// visited one, whatever the order.

namespace {

class ZTEndPointManagerDispatch : public ZTEndPointManagerDescriptor {
protected:
    void SetUp() override { addReadable(16); }

    void addReadable(int count)
    {
        for (int i = 0; i < count; ++i) {
            endPoints.push_back(std::make_unique<ReadableEndPoint>());
            add(*endPoints.back());
        }
    }

    void deleteEndPoint(ZTEndPoint* endPoint)
    {
        EXPECT_EQ(manager.removeExactEndPoint(endPoint), 0);
        for (auto& owned : endPoints) {
            if (owned.get() == endPoint) {
                owned.reset();
            }
        }
    }

    std::vector<std::unique_ptr<ReadableEndPoint>> endPoints;
};

} // namespace

TEST_F(ZTEndPointManagerDispatch, AHandlerDeletesTheEndPointItIsCalledFor)
{
    handler.action = [this](ZTEndPoint* visited) { deleteEndPoint(visited); };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.take().size(), 16U);
    EXPECT_FALSE(isManagerReadable());
}

TEST_F(ZTEndPointManagerDispatch, AHandlerDeletesAllEndPoints)
{
    handler.action = [this](ZTEndPoint*) {
        EXPECT_EQ(manager.removeEndPointsOf(&handler), 0);
        endPoints.clear();
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
    EXPECT_FALSE(isManagerReadable());
}

TEST_F(ZTEndPointManagerDispatch, WhatAHandlerAddsIsVisitedFromTheNextDispatchOn)
{
    handler.action = [this](ZTEndPoint* visited) {
        deleteEndPoint(visited);
        addReadable(2);
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.take().size(), 16U);
    handler.action = [](ZTEndPoint*) {};
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.take().size(), 32U);
}

// So many, with blocks of their size between them, that registrations come to stand where others
// were before.
TEST_F(ZTEndPointManagerDispatch, AHandlerReplacesAllOthersAndNoneIsCalledInTheirPlace)
{
    std::array<std::unique_ptr<std::array<void*, 4>>, 50> between;
    handler.action = [this, &between](ZTEndPoint* visited) {
        if (handler.calls.size() > 1) {
            return;
        }
        for (std::size_t i = 0; i < 16; ++i) {
            if (endPoints[i].get() != visited) {
                deleteEndPoint(endPoints[i].get());
            }
        }
        for (auto& block : between) {
            block = std::make_unique<std::array<void*, 4>>();
            addReadable(2);
        }
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.take().size(), 1U);
    handler.action = drain;
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 101U);
}

TEST_F(ZTEndPointManagerDispatch, AHandlerReadsAllAndNoOtherIsCalled)
{
    handler.action = [this](ZTEndPoint*) {
        for (const auto& endPoint : endPoints) {
            drain(endPoint.get());
        }
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
    EXPECT_FALSE(isManagerReadable());
}

TEST_F(ZTEndPointManagerDispatch, AHandlerMayDispatchAndNobodyIsCalledForWhatThatHasRead)
{
    handler.action = [this](ZTEndPoint* visited) {
        drain(visited);
        const int expected = handler.calls.size() == 16 ? 17 : 0;
        EXPECT_EQ(manager.dispatch(), expected);
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 16U);
    EXPECT_FALSE(isManagerReadable());
}

TEST_F(ZTEndPointManagerDispatch, AHandlerThatDispatchesMayBeCalledForItsOwnEndPoint)
{
    int depth = 0;
    handler.action = [&](ZTEndPoint*) {
        if (++depth < 3) {
            manager.dispatch();
        }
    };
    for (std::size_t i = 1; i < endPoints.size(); ++i) {
        deleteEndPoint(endPoints[i].get());
    }
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 3U);
}

TEST_F(ZTEndPointManagerDispatch, AHandlerMayWaitOnTheManager)
{
    handler.action = [this](ZTEndPoint* visited) {
        drain(visited);
        if (handler.calls.size() == 1) {
            EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
        }
    };
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 16U);
}

TEST_F(ZTEndPointManagerDispatch, AHandlerThatThrowsLeavesTheOthersForTheNextDispatch)
{
    handler.action = [](ZTEndPoint*) { throw std::runtime_error("handler"); };
    EXPECT_THROW(manager.dispatch(), std::runtime_error);
    EXPECT_EQ(handler.take().size(), 1U);
    EXPECT_TRUE(isManagerReadable());
    handler.action = drain;
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 16U);
    EXPECT_FALSE(isManagerReadable());
}

TEST_F(ZTEndPointManagerDispatch, AHandlerMayBeTheFirstToAskForTheDescriptor)
{
    handler.action = [this](ZTEndPoint* visited) {
        EXPECT_GE(manager.getDescriptor(), 0);
        drain(visited);
        deleteEndPoint(visited);
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.calls.size(), 16U);
    EXPECT_FALSE(isManagerReadable());
}

TEST_F(ZTEndPointManagerDispatch, AThousandEndPointsAreCalledByOneDispatch)
{
    addReadable(984);
    handler.action = drain;
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.take().size(), 1000U);
    EXPECT_FALSE(isManagerReadable());
    for (const auto& endPoint : endPoints) {
        ASSERT_EQ(eventfd_write(endPoint->readID, 1), 0);
        EXPECT_TRUE(isManagerReadable());
        EXPECT_EQ(manager.dispatch(), 0);
        EXPECT_THAT(handler.take(), ElementsAre(Call{"readable", endPoint.get()}));
    }
}

// Processes and threads

TEST_F(ZTEndPointManagerDispatch, AForkedChildChangesNothingInTheParents)
{
    manager.getDescriptor();
    EXPECT_TRUE(succeedsInForkedChild([this] {
        for (const auto& endPoint : endPoints) {
            EXPECT_EQ(manager.removeExactEndPoint(endPoint.get()), 0);
        }
        addReadable(1);
    }));
    EXPECT_EQ(timer.set.size(), 1U);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(handler.calls.size(), 16U);
}

TEST(ZTEndPointManagerThreads, AnotherThreadWritesIntoAPipeThatALoopWaitsFor)
{
    const int LAST = 1000;
    ZT::ZTPipe pipe;
    ASSERT_EQ(pipe.init(), 0);
    ZTEndPointManager manager;
    NotingHandler handler;
    int received = 0;
    handler.action = [&](ZTEndPoint*) { pipe.readFromPipe(&received, sizeof received); };
    ASSERT_EQ(manager.addEndPoint(&pipe, &handler), 0);
    const int descriptor = manager.getDescriptor();
    std::thread writer([&pipe] {
        for (int number = 1; number <= LAST; ++number) {
            pipe.writeIntoPipe(&number, sizeof number);
        }
    });
    while (received < LAST) {
        ASSERT_TRUE(isReadable(descriptor, -1));
        manager.dispatch();
    }
    writer.join();
    EXPECT_EQ(handler.calls.size(), static_cast<std::size_t>(LAST));
}

TEST(ZTEndPointManagerThreads, AListenerLosesAConnectionWhileALoopDispatches)
{
    class NoListener : public ZT::ZTIPCMessageArrivalListener {
        void onMessageArrival(IPCMessage* /*message*/) override {}
    } listener;
    Diagnostics diagnostics;
    for (int i = 0; i < 50; ++i) {
        ZT::ZTIPCEndPoint endPoint(false);
        LocalPeer peer(endPoint);
        ZTEndPointManager manager;
        NotingHandler handler;
        ASSERT_EQ(manager.addEndPoint(&endPoint, &handler), 0);
        manager.getDescriptor();
        endPoint.setReceiveTimeout(-1);
        ASSERT_EQ(endPoint.setMessageArrivalListener(&listener), 0);
        std::thread hangingUp([&peer] { peer.hangUp(); });
        while (endPoint.isConnected()) {
            manager.dispatch();
        }
        hangingUp.join();
        EXPECT_EQ(manager.dispatch(), 17);
        handler.take();
        manager.handleDisconnectedEndPoints();
        EXPECT_THAT(handler.calls, ElementsAre(Call{"disconnected", &endPoint}));
        EXPECT_FALSE(isReadable(manager.getDescriptor()));
        endPoint.setMessageArrivalListener(nullptr);
    }
    diagnostics.take();
}
