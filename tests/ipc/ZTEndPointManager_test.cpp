#include "zt/ZTEndPointManager.h"

#include "ipc/TestEndPoint.h"
#include "support/Emulation.h"
#include "support/FixedTick.h"
#include "support/HighDescriptors.h"
#include "support/Interpose.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointHandler.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using ZT::ZTEndPoint;
using ZT::ZTEndPointManager;

namespace {

const unsigned int POLL = 1;

// What select() is asked for, and an answer for it: nothing is readable.
class RecordedSelect {
public:
    int count = -1;
    std::vector<int> descriptors;
    std::optional<std::pair<long, long>> timeout;

private:
    const Interpose<int(int, fd_set*, fd_set*, fd_set*, timeval*)> recorder{
        interposed::select, [this](int n, fd_set* in, fd_set* out, fd_set* except, timeval* time) {
            count = n;
            descriptors.clear();
            for (int descriptor = 0; descriptor < n; ++descriptor) {
                if (FD_ISSET(descriptor, in)) {
                    descriptors.push_back(descriptor);
                }
            }
            EXPECT_EQ(out, nullptr);
            EXPECT_EQ(except, nullptr);
            timeout.reset();
            if (time != nullptr) {
                timeout = {time->tv_sec, time->tv_usec};
            }
            return 0;
        }};
};

class ZTEndPointManagerTest : public testing::Test {
protected:
    void add(TestEndPoint& endPoint) { ASSERT_EQ(manager.addEndPoint(&endPoint, &handler), 0); }

    NotingHandler handler;
    ZTEndPointManager manager;
};

using Timeout = std::optional<std::pair<long, long>>;

} // namespace

TEST_F(ZTEndPointManagerTest, AddingNullReturns20)
{
    TestEndPoint endPoint(5);
    EXPECT_EQ(manager.addEndPoint(nullptr, &handler), 20);
    EXPECT_EQ(manager.addEndPoint(&endPoint, nullptr), 20);
    EXPECT_EQ(manager.addEndPoint(nullptr, nullptr), 20);
    EXPECT_EQ(manager.removeEndPoint(&endPoint), 23);
}

TEST_F(ZTEndPointManagerTest, AddingTheSameReadDescriptorReturns25)
{
    TestEndPoint first(5);
    TestEndPoint second(6);
    TestEndPoint sameAsFirst(5);
    TestEndPoint sameAsSecond(6);
    add(first);
    add(second);
    EXPECT_EQ(manager.addEndPoint(&sameAsFirst, &handler), 25);
    EXPECT_EQ(manager.addEndPoint(&sameAsSecond, &handler), 25);
    EXPECT_EQ(manager.addEndPoint(&first, &handler), 25);
}

TEST_F(ZTEndPointManagerTest, TwoClosedEndPointsAreOneToIt)
{
    TestEndPoint first(-1, false);
    TestEndPoint second(-1, false);
    add(first);
    EXPECT_EQ(manager.addEndPoint(&second, &handler), 25);
    EXPECT_EQ(manager.removeEndPoint(&second), 0);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&first), nullptr);
}

TEST_F(ZTEndPointManagerTest, RemovingNullReturns20)
{
    EXPECT_EQ(manager.removeEndPoint(nullptr), 20);
}

TEST_F(ZTEndPointManagerTest, RemovingWhatIsNotRegisteredReturns23)
{
    TestEndPoint registered(5);
    TestEndPoint other(6);
    EXPECT_EQ(manager.removeEndPoint(&other), 23);
    add(registered);
    EXPECT_EQ(manager.removeEndPoint(&other), 23);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&registered), &handler);
}

TEST_F(ZTEndPointManagerTest, RemovingGoesByTheReadDescriptor)
{
    TestEndPoint registered(5);
    TestEndPoint other(6);
    TestEndPoint sameID(5);
    add(registered);
    add(other);
    EXPECT_EQ(manager.removeEndPoint(&sameID), 0);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&registered), nullptr);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&other), &handler);
    EXPECT_EQ(manager.removeEndPoint(&registered), 23);
    EXPECT_EQ(manager.addEndPoint(&registered, &handler), 0);
}

TEST_F(ZTEndPointManagerTest, ExactRemovalTakesOutThisOneOfManyClosedEndPoints)
{
    TestEndPoint endPoints[] = {TestEndPoint(5), TestEndPoint(6), TestEndPoint(7)};
    for (TestEndPoint& endPoint : endPoints) {
        add(endPoint);
    }
    for (TestEndPoint& endPoint : endPoints) {
        endPoint.readID = -1;
        endPoint.connected = false;
    }
    for (TestEndPoint& endPoint : endPoints) {
        EXPECT_EQ(manager.removeExactEndPoint(&endPoint), 0);
        EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&endPoint), nullptr);
        manager.handleDisconnectedEndPoints();
        EXPECT_EQ(handler.take().size(),
                  static_cast<std::size_t>(std::end(endPoints) - &endPoint) - 1);
        EXPECT_EQ(manager.removeExactEndPoint(&endPoint), 23);
    }
}

TEST_F(ZTEndPointManagerTest, ExactRemovalDoesNotGoByTheReadDescriptor)
{
    TestEndPoint registered(5);
    TestEndPoint sameID(5);
    EXPECT_EQ(manager.removeExactEndPoint(&registered), 23);
    add(registered);
    EXPECT_EQ(manager.removeExactEndPoint(&sameID), 23);
    EXPECT_EQ(manager.removeExactEndPoint(nullptr), 20);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&registered), &handler);
}

TEST_F(ZTEndPointManagerTest, ExactRemovalNeedsNoMoreThanTheAddressOfTheEndPoint)
{
    auto ended = std::make_unique<TestEndPoint>(5);
    add(*ended);
    ZTEndPoint* const address = ended.get();
    ended.reset();
    EXPECT_EQ(manager.removeExactEndPoint(address), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
}

TEST_F(ZTEndPointManagerTest, RemovingThoseOfAHandlerLeavesTheOthers)
{
    TestEndPoint endPoints[] = {TestEndPoint(5), TestEndPoint(6), TestEndPoint(7), TestEndPoint(8)};
    NotingHandler ending;
    for (TestEndPoint& endPoint : endPoints) {
        NotingHandler& its = endPoint.readID % 2 == 0 ? ending : handler;
        ASSERT_EQ(manager.addEndPoint(&endPoint, &its), 0);
    }
    EXPECT_EQ(manager.removeEndPointsOf(nullptr), 20);
    EXPECT_EQ(manager.removeEndPointsOf(&ending), 0);
    EXPECT_EQ(manager.removeEndPointsOf(&ending), 23);
    for (TestEndPoint& endPoint : endPoints) {
        EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&endPoint),
                  endPoint.readID % 2 == 0 ? nullptr : &handler);
    }
}

TEST_F(ZTEndPointManagerTest, FindsTheHandlerByTheEndPointItself)
{
    TestEndPoint first(5);
    TestEndPoint second(6);
    TestEndPoint sameID(5);
    NotingHandler otherHandler;
    add(first);
    ASSERT_EQ(manager.addEndPoint(&second, &otherHandler), 0);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&first), &handler);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&second), &otherHandler);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&sameID), nullptr);
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(nullptr), nullptr);
}

TEST_F(ZTEndPointManagerTest, WithoutEndPointsItSelectsOnNothing)
{
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
    const RecordedSelect select;
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
    EXPECT_EQ(select.count, 1);
    EXPECT_THAT(select.descriptors, IsEmpty());
}

TEST_F(ZTEndPointManagerTest, SelectsOnTheReadDescriptorsOfTheConnectedEndPoints)
{
    TestEndPoint first(7);
    TestEndPoint disconnected(200, false);
    TestEndPoint second(130);
    TestEndPoint withoutDescriptor(-1);
    TestEndPoint veryNegative(-1000000);
    add(first);
    add(disconnected);
    add(second);
    add(withoutDescriptor);
    add(veryNegative);
    const RecordedSelect select;
    for (const auto& [one, other] : {std::pair(7, 130), std::pair(130, 7)}) {
        first.readID = one;
        second.readID = other;
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
        EXPECT_EQ(select.count, 131);
        EXPECT_THAT(select.descriptors, ElementsAre(7, 130));
    }
}

TEST_F(ZTEndPointManagerTest, Mode2WaitsWithoutLimit)
{
    const RecordedSelect select;
    EXPECT_EQ(manager.waitForEndPoints(1000000, 2), 17);
    EXPECT_EQ(select.timeout, std::nullopt);
}

TEST_F(ZTEndPointManagerTest, OtherModesDoNotWaitNorCheck)
{
    TestEndPoint lost(5, false, true);
    add(lost);
    const FixedTick tick(100);
    const RecordedSelect select;
    for (const unsigned int mode : {1U, 3U, 4294967295U}) {
        EXPECT_EQ(manager.waitForEndPoints(600, mode), 17);
        EXPECT_EQ(select.timeout, Timeout({0, 0}));
        EXPECT_EQ(manager.waitForEndPoints(5000, mode), 17);
        EXPECT_EQ(manager.waitForEndPoints(5000, 2), 17);
    }
    EXPECT_THAT(handler.calls, IsEmpty());
    EXPECT_EQ(lost.reconnections, 0);
}

TEST_F(ZTEndPointManagerTest, Mode0WaitsUntilADeadlineOfAtMost10000MsAhead)
{
    struct {
        std::uint32_t tick;
        std::uint32_t deadline;
        Timeout expected;
    } const cases[] = {
        {100, 100, {{0, 0}}},           {100, 101, {{0, 1000}}},
        {100, 600, {{0, 500000}}},      {100, 2099, {{1, 999000}}},
        {100, 10100, {{10, 0}}},        {100, 10101, {{0, 0}}},
        {100, 20100, {{0, 0}}},         {100, 99, {{0, 0}}},
        {4294967295U, 0, {{0, 1000}}},  {4294967000U, 704, {{1, 0}}},
        {4294967000U, 9704, {{10, 0}}}, {4294967000U, 9705, {{0, 0}}},
        {704, 4294967000U, {{0, 0}}},
    };
    const RecordedSelect select;
    for (const auto& [now, deadline, expected] : cases) {
        const FixedTick tick(now);
        EXPECT_EQ(manager.waitForEndPoints(deadline, 0), 17);
        EXPECT_EQ(select.timeout, expected) << deadline << " at " << now;
    }
}

TEST_F(ZTEndPointManagerTest, Mode0ChecksWhenTheDeadlineIsMoreThan2000MsAfterTheLastCheck)
{
    TestEndPoint lost(5, false);
    add(lost);
    const RecordedSelect select;
    const auto checksAt = [&](unsigned int deadline) {
        EXPECT_EQ(manager.waitForEndPoints(deadline, 0), 17);
        return handler.take().size() == 1;
    };
    EXPECT_FALSE(checksAt(0));
    EXPECT_FALSE(checksAt(2000)) << "2000 ms after 0, where it begins";
    EXPECT_TRUE(checksAt(2001));
    EXPECT_FALSE(checksAt(4001));
    EXPECT_TRUE(checksAt(4002));
    EXPECT_TRUE(checksAt(4001)) << "before the last check, as after a wrap";
    EXPECT_FALSE(checksAt(4001));
    EXPECT_TRUE(checksAt(4294967295U));
    EXPECT_TRUE(checksAt(0)) << "across the wrap";
    EXPECT_FALSE(checksAt(2000));
}

TEST_F(ZTEndPointManagerTest, ChecksBeforeItSelects)
{
    TestEndPoint lost(5, false, true);
    add(lost);
    const RecordedSelect select;
    EXPECT_EQ(manager.waitForEndPoints(3000, 0), 17);
    EXPECT_THAT(select.descriptors, ElementsAre(5));
}

TEST_F(ZTEndPointManagerTest, AFailedSelectReturns10AndCallsNobody)
{
    ReadableEndPoint endPoint;
    add(endPoint);
    const Interpose failing(interposed::select, [](auto...) {
        errno = EINTR;
        return -1;
    });
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 10);
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(ZTEndPointManagerTest, ADescriptorThatWasClosedReturns10)
{
    const int closed = eventfd(1, EFD_CLOEXEC);
    close(closed);
    TestEndPoint endPoint(closed);
    add(endPoint);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 10);
}

TEST_F(ZTEndPointManagerTest, CallsTheHandlersOfTheReadableEndPoints)
{
    ReadableEndPoint first;
    ReadableEndPoint second;
    TestEndPoint quiet(eventfd(0, EFD_CLOEXEC));
    NotingHandler secondHandler;
    add(first);
    ASSERT_EQ(manager.addEndPoint(&second, &secondHandler), 0);
    add(quiet);
    handler.result = 99;
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &first}));
    EXPECT_THAT(handler.managers, ElementsAre(&manager));
    EXPECT_THAT(secondHandler.calls, ElementsAre(Call{"readable", &second}));
    close(quiet.readID);
}

TEST_F(ZTEndPointManagerTest, WaitsUntilSomethingIsReadable)
{
    ReadableEndPoint endPoint;
    add(endPoint);
    EXPECT_EQ(manager.waitForEndPoints(0, 2), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &endPoint}));
}

TEST_F(ZTEndPointManagerTest, CallsNobodyAboutAnEndPointThatIsNoLongerConnected)
{
    ReadableEndPoint first;
    ReadableEndPoint second;
    add(first);
    add(second);
    handler.action = [&](ZTEndPoint* visited) {
        (visited == &first ? second : first).connected = false;
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
}

TEST_F(ZTEndPointManagerTest, GoesByTheDescriptorThatAnEndPointHasWhenItIsVisited)
{
    ReadableEndPoint first;
    ReadableEndPoint second;
    add(first);
    add(second);
    const int readIDs[] = {first.readID, second.readID};
    handler.action = [&](ZTEndPoint* visited) {
        (visited == &first ? second : first).readID = readIDs[visited == &first ? 0 : 1];
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.take().size(), 2U) << "another descriptor, readable too";
    for (const int notWaitedFor : {1000, std::numeric_limits<int>::max()}) {
        first.readID = readIDs[0];
        second.readID = readIDs[1];
        handler.action = [&](ZTEndPoint* visited) {
            (visited == &first ? second : first).readID = notWaitedFor;
        };
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
        EXPECT_EQ(handler.take().size(), 1U) << notWaitedFor;
    }
    first.readID = readIDs[0];
    second.readID = readIDs[1];
}

TEST_F(ZTEndPointManagerTest, AConnectedEndPointWithoutADescriptorIsNeverReadable)
{
    ReadableEndPoint readable;
    TestEndPoint withoutDescriptor(-1);
    add(withoutDescriptor);
    add(readable);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"readable", &readable}));
}

TEST_F(ZTEndPointManagerTest, ACheckThatACallbackLeavesByAnExceptionIsMadeAgain)
{
    TestEndPoint lost(5, false);
    add(lost);
    const RecordedSelect select;
    handler.action = [](ZTEndPoint*) { throw std::runtime_error("callback"); };
    EXPECT_THROW(manager.waitForEndPoints(3000, 0), std::runtime_error);
    handler.action = [](ZTEndPoint*) {};
    handler.take();
    EXPECT_EQ(manager.waitForEndPoints(3000, 0), 17);
    EXPECT_EQ(handler.calls.size(), 1U);
}

TEST_F(ZTEndPointManagerTest, ReportsAnEndPointWithoutAutoReconnectAtEveryCheck)
{
    TestEndPoint lost(5, false);
    add(lost);
    manager.handleDisconnectedEndPoints();
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.calls,
                ElementsAre(Call{"disconnected", &lost}, Call{"disconnected", &lost}));
    EXPECT_EQ(lost.reconnections, 0);
}

TEST_F(ZTEndPointManagerTest, ReconnectsAnEndPointThatAsksForIt)
{
    TestEndPoint lost(5, false, true);
    add(lost);
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.take(), ElementsAre(Call{"reconnected", &lost}));
    EXPECT_EQ(lost.reconnections, 1);
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.calls, IsEmpty()) << "it is connected now";
}

TEST_F(ZTEndPointManagerTest, ReportsAFailedReconnectionAndTriesAgain)
{
    TestEndPoint lost(5, false, true);
    lost.reconnectResult = 14;
    add(lost);
    manager.handleDisconnectedEndPoints();
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.calls,
                ElementsAre(Call{"disconnected", &lost}, Call{"disconnected", &lost}));
    EXPECT_EQ(lost.reconnections, 2);
}

TEST_F(ZTEndPointManagerTest, ReportsAConnectThatHadToWaitAndReturned1AsDisconnected)
{
    TestEndPoint lost(5, false, true);
    lost.reconnectResult = 1;
    add(lost);
    manager.handleDisconnectedEndPoints();
    EXPECT_TRUE(lost.connected);
    EXPECT_THAT(handler.calls, ElementsAre(Call{"disconnected", &lost}));
}

TEST_F(ZTEndPointManagerTest, LeavesConnectedEndPointsAlone)
{
    TestEndPoint connected(5, true, true);
    add(connected);
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.calls, IsEmpty());
    EXPECT_EQ(connected.reconnections, 0);
}

TEST_F(ZTEndPointManagerTest, ForgetsAllPairsWhenItIsDestroyed)
{
    TestEndPoint endPoint(5);
    TestEndPoint other(6);
    const auto shortLived = std::make_unique<ZTEndPointManager>();
    EXPECT_EQ(shortLived->addEndPoint(&endPoint, &handler), 0);
    EXPECT_EQ(shortLived->addEndPoint(&other, &handler), 0);
}

TEST_F(ZTEndPointManagerTest, WorksWithDescriptorsBeyondTheSizeOfAnFdSet)
{
    SKIP_WHERE_SELECT_IS_EMULATED();
    ReadableEndPoint low;
    const HighDescriptors used;
    ReadableEndPoint high;
    ReadableEndPoint higher;
    ASSERT_GE(high.readID, FD_SETSIZE);
    add(low);
    add(high);
    add(higher);
    higher.connected = false;
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_THAT(handler.calls,
                UnorderedElementsAre(Call{"readable", &low}, Call{"readable", &high}));
}

TEST_F(ZTEndPointManagerTest, WaitsForHighDescriptorsInWhateverOrderItMeetsThem)
{
    int readIDs[] = {5, FD_SETSIZE + 5, 3 * FD_SETSIZE + 5};
    TestEndPoint endPoints[] = {TestEndPoint(1), TestEndPoint(2), TestEndPoint(3)};
    for (TestEndPoint& endPoint : endPoints) {
        add(endPoint);
    }
    const Interpose waiting(interposed::select, [&](int count, fd_set* in, auto...) {
        const auto* words = reinterpret_cast<const unsigned long*>(in);
        const int bits = 8 * sizeof *words;
        for (const int readID : readIDs) {
            EXPECT_NE(words[readID / bits] >> readID % bits & 1, 0U) << readID;
        }
        return count;
    });
    do {
        for (std::size_t i = 0; i < 3; ++i) {
            endPoints[i].readID = readIDs[i];
        }
        EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
        EXPECT_EQ(handler.take().size(), 3U);
    } while (std::next_permutation(std::begin(readIDs), std::end(readIDs)));
}

// What a handler may do while the manager is at it. Each runs with many endpoints, so that some
// stand before and some after the visited one, whatever the order.
class ZTEndPointManagerChanges : public ZTEndPointManagerTest {
protected:
    void SetUp() override
    {
        for (int i = 0; i < 16; ++i) {
            endPoints.push_back(std::make_unique<ReadableEndPoint>());
            add(*endPoints.back());
        }
    }

    void loseAll()
    {
        for (const auto& endPoint : endPoints) {
            endPoint->connected = false;
        }
    }

    void deleteEndPoint(ZTEndPoint* endPoint)
    {
        EXPECT_EQ(manager.removeEndPoint(endPoint), 0);
        for (auto& owned : endPoints) {
            if (owned.get() == endPoint) {
                owned.reset();
            }
        }
    }

    std::vector<std::unique_ptr<ReadableEndPoint>> endPoints;
};

TEST_F(ZTEndPointManagerChanges, AHandlerRemovesAndDeletesTheEndPointItIsCalledFor)
{
    handler.action = [this](ZTEndPoint* visited) { deleteEndPoint(visited); };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.take().size(), 16U);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 17);
}

TEST_F(ZTEndPointManagerChanges, AHandlerRemovesAndDeletesAllEndPoints)
{
    handler.action = [this](ZTEndPoint*) {
        for (const auto& endPoint : endPoints) {
            deleteEndPoint(endPoint.get());
        }
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
}

TEST_F(ZTEndPointManagerChanges, AHandlerRemovesAllOthers)
{
    handler.action = [this](ZTEndPoint* visited) {
        for (const auto& endPoint : endPoints) {
            if (endPoint.get() != visited) {
                deleteEndPoint(endPoint.get());
            }
        }
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
}

TEST_F(ZTEndPointManagerChanges, AHandlerRemovesAllThatIsRegisteredForIt)
{
    handler.action = [this](ZTEndPoint*) {
        EXPECT_EQ(manager.removeEndPointsOf(&handler), 0);
        endPoints.clear();
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.calls.size(), 1U);
}

TEST_F(ZTEndPointManagerChanges, WhatAHandlerAddsIsVisitedFromTheNextWaitOn)
{
    std::vector<std::unique_ptr<ReadableEndPoint>> added;
    handler.action = [&](ZTEndPoint*) {
        added.push_back(std::make_unique<ReadableEndPoint>());
        add(*added.back());
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.take().size(), 16U);
    handler.action = [](ZTEndPoint*) {};
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.take().size(), 32U);
}

TEST_F(ZTEndPointManagerChanges, AHandlerReplacesTheEndPointItIsCalledFor)
{
    handler.action = [this](ZTEndPoint* visited) {
        deleteEndPoint(visited);
        endPoints.push_back(std::make_unique<ReadableEndPoint>());
        add(*endPoints.back());
    };
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.take().size(), 16U);
    EXPECT_EQ(manager.waitForEndPoints(0, POLL), 0);
    EXPECT_EQ(handler.take().size(), 16U);
}

TEST_F(ZTEndPointManagerChanges, AHandlerRemovesAndDeletesALostEndPoint)
{
    loseAll();
    handler.action = [this](ZTEndPoint* visited) { deleteEndPoint(visited); };
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(handler.take().size(), 16U);
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.calls, IsEmpty());
}

TEST_F(ZTEndPointManagerChanges, ACheckEndsAlthoughItsHandlersAddLostEndPoints)
{
    loseAll();
    handler.action = [this](ZTEndPoint* visited) {
        deleteEndPoint(visited);
        endPoints.push_back(std::make_unique<ReadableEndPoint>());
        endPoints.back()->connected = false;
        add(*endPoints.back());
    };
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(handler.take().size(), 16U);
}

TEST_F(ZTEndPointManagerChanges, ACheckLeavesOutTheLostEndPointsThatItsHandlersAdd)
{
    loseAll();
    handler.action = [this](ZTEndPoint*) {
        endPoints.push_back(std::make_unique<ReadableEndPoint>());
        endPoints.back()->connected = false;
        add(*endPoints.back());
    };
    manager.handleDisconnectedEndPoints();
    EXPECT_EQ(handler.take().size(), 16U);
}

TEST_F(ZTEndPointManagerChanges, AnEndPointRemovesItselfWhileItReconnects)
{
    class Leaving : public TestEndPoint {
    public:
        explicit Leaving(ZTEndPointManager& manager)
            : TestEndPoint(-5, false, true), manager(manager)
        {}
        int reconnect() override { return manager.removeEndPoint(this); }

    private:
        ZTEndPointManager& manager;
    };
    Leaving leaving(manager);
    add(leaving);
    manager.handleDisconnectedEndPoints();
    EXPECT_THAT(handler.calls, ElementsAre(Call{"reconnected", &leaving}));
    EXPECT_EQ(manager.getEndPointHandlerByEndPoint(&leaving), nullptr);
}
