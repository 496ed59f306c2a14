// What an endpoint's owner and its listener's callback do at the same time.

#include "ipc/ListenerTest.h"
#include "support/Event.h"
#include "support/Interpose.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTIPCEndPoint;

namespace {

struct Operation {
    const char* name;
    std::function<void(ZTIPCEndPoint&)> run;
};

std::ostream& operator<<(std::ostream& stream, const Operation& operation)
{
    return stream << operation.name;
}

// The owner of an endpoint, on a thread of its own.
class Owner {
public:
    explicit Owner(const std::function<void()>& operation)
        : thread([this, operation] {
              id = gettid();
              operation();
              done = true;
          })
    {}

    ~Owner() { thread.join(); }

    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    bool isDone() const { return done; }

    /// Until the thread has done it or waits for something.
    void awaitStandstill() const
    {
        while (!done && !isAsleep()) {
            std::this_thread::yield();
        }
    }

private:
    bool isAsleep() const
    {
        std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
        std::string stat;
        std::getline(file, stat);
        const std::size_t name = stat.rfind(')');
        return id != 0 && name != std::string::npos && stat[name + 2] == 'S';
    }

    std::atomic<pid_t> id{0};
    std::atomic<bool> done{false};
    std::thread thread;
};

// A callback that waits until it is to act, acts, and goes on until it is to return.
class Scene : public Listening {
public:
    Scene()
    {
        listener.action = [this](IPCMessage*) {
            EXPECT_EQ(++running, 1) << "on two threads at once";
            inside.happen();
            mayAct.await();
            inCallback(*used);
            hasActed.happen();
            mayReturn.await();
            EXPECT_GE(used->getReadEndPointID(), -1) << "it is still there";
            --running;
        };
    }

    void enterCallback()
    {
        listen();
        peer->write(frameBytes("first"));
        inside.await();
    }

    void letCallbackAct()
    {
        mayAct.happen();
        hasActed.await();
    }

    ZTIPCEndPoint* const used = endPoint.get();
    std::function<void(ZTIPCEndPoint&)> inCallback = [](ZTIPCEndPoint&) {};
    std::atomic<int> running{0};
    Event inside;
    Event mayAct;
    Event hasActed;
    Event mayReturn;
    NotingListener other;
};

class Pairs : public testing::Test, protected Scene {
protected:
    void TearDown() override
    {
        endPoint.reset();
        awaitEndOfThreads();
        EXPECT_THAT(diagnostics.take(), IsEmpty());
    }
};

} // namespace

// A callback that has taken itself out goes on, and the owner waits for it

namespace {

class AfterACallbackHas : public Pairs, public testing::WithParamInterface<Operation> {
protected:
    void expectToWaitForCallback(const std::function<void()>& operation)
    {
        inCallback = GetParam().run;
        enterCallback();
        letCallbackAct();
        EXPECT_EQ(endPoint->getMessageArrivalListener(), nullptr);
        Owner owner(operation);
        owner.awaitStandstill();
        EXPECT_FALSE(owner.isDone());
        EXPECT_EQ(running, 1);
        mayReturn.happen();
    }
};

} // namespace

TEST_P(AfterACallbackHas, RemovingWaitsForIt)
{
    expectToWaitForCallback([this] {
        EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
        EXPECT_EQ(running, 0);
    });
    awaitEndOfThreads();
}

TEST_P(AfterACallbackHas, DeinitializingWaitsForIt)
{
    expectToWaitForCallback([this] {
        endPoint->deinitialize();
        EXPECT_EQ(running, 0);
    });
    awaitEndOfThreads();
}

TEST_P(AfterACallbackHas, DestroyingWaitsForIt)
{
    expectToWaitForCallback([this] {
        endPoint.reset();
        EXPECT_EQ(running, 0);
    });
    awaitEndOfThreads();
}

TEST_P(AfterACallbackHas, SettingAnotherWaitsForIt)
{
    expectToWaitForCallback([this] {
        EXPECT_EQ(endPoint->setMessageArrivalListener(&other), 0);
        EXPECT_EQ(running, 0);
        EXPECT_EQ(endPoint->getMessageArrivalListener(), &other);
    });
    EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    awaitEndOfThreads();
}

INSTANTIATE_TEST_SUITE_P(
    , AfterACallbackHas,
    testing::Values(Operation{"RemovedItself",
                              [](ZTIPCEndPoint& endPoint) {
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
                              }},
                    Operation{"Deinitialized",
                              [](ZTIPCEndPoint& endPoint) { endPoint.deinitialize(); }},
                    Operation{"RemovedItselfTwice",
                              [](ZTIPCEndPoint& endPoint) {
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
                              }},
                    Operation{"RemovedItsSuccessor",
                              [](ZTIPCEndPoint& endPoint) {
                                  static NotingListener successor;
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(&successor), 0);
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
                              }}),
    [](const auto& info) { return info.param.name; });

TEST_F(Pairs, AListenerThatACallbackRemovesAndTheOwnerSetsAgainRunsOnOneThread)
{
    inCallback = [](ZTIPCEndPoint& endPoint) {
        if (endPoint.getMessageArrivalListener() != nullptr) {
            EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
        }
    };
    enterCallback();
    letCallbackAct();
    peer->write(frameBytes("second"));
    {
        Owner owner([this] { EXPECT_EQ(endPoint->setMessageArrivalListener(&listener), 0); });
        owner.awaitStandstill();
        EXPECT_EQ(threads(), 1);
        mayReturn.happen();
    }
    EXPECT_THAT(listener.await(2), ElementsAre("first", "second"));
    endPoint->deinitialize();
}

TEST_F(Pairs, AListenerThatItsCallbackRemovesAndSetsAgainRunsOnOneThread)
{
    inCallback = [this](ZTIPCEndPoint& endPoint) {
        EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
        EXPECT_EQ(endPoint.setMessageArrivalListener(&listener), 0);
        EXPECT_EQ(endPoint.getMessageArrivalListener(), &listener);
    };
    enterCallback();
    letCallbackAct();
    peer->write(frameBytes("second"));
    EXPECT_EQ(threads(), 1);
    mayReturn.happen();
    EXPECT_THAT(listener.await(2), ElementsAre("first", "second"));
    endPoint->deinitialize();
}

TEST_F(Pairs, AGateThatACallbackHasClosedIsOpenForTheListenerThatItSetsNext)
{
    inCallback = [this](ZTIPCEndPoint& endPoint) {
        endPoint.setMessageArrivalListenerActive(false);
        EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
        EXPECT_EQ(endPoint.setMessageArrivalListener(&other), 0);
    };
    enterCallback();
    peer->write(frameBytes("second"));
    letCallbackAct();
    mayReturn.happen();
    EXPECT_THAT(other.await(1), ElementsAre("second"));
    endPoint->deinitialize();
}

TEST_F(Pairs, AGateThatACallbackHasClosedStaysClosedForTheListenerThatReplacesIt)
{
    inCallback = [this](ZTIPCEndPoint& endPoint) {
        endPoint.setMessageArrivalListenerActive(false);
        EXPECT_EQ(endPoint.setMessageArrivalListener(&other), 0);
    };
    enterCallback();
    peer->write(frameBytes("second"));
    letCallbackAct();
    mayReturn.happen();
    EXPECT_EQ(receive(), "second");
    endPoint->deinitialize();
}

TEST_F(Pairs, AGateThatTheOwnerHasClosedStaysClosedForTheListenerThatReplacesIt)
{
    listen();
    endPoint->setMessageArrivalListenerActive(false);
    EXPECT_EQ(endPoint->setMessageArrivalListener(&other), 0);
    {
        Owner second([this] { endPoint->setMessageArrivalListenerActive(false); });
        second.awaitStandstill();
        EXPECT_FALSE(second.isDone()) << "it was open";
        endPoint->setMessageArrivalListenerActive(true);
    }
    endPoint->deinitialize();
}

TEST_F(Pairs, AListenerIsSetAnewWhereACallbackThatRemovedItHasReturned)
{
    inCallback = [](ZTIPCEndPoint& endPoint) { endPoint.setMessageArrivalListener(nullptr); };
    enterCallback();
    letCallbackAct();
    mayReturn.happen();
    awaitEndOfThreads();
    peer->write(frameBytes("second"));
    EXPECT_EQ(endPoint->setMessageArrivalListener(&other), 0);
    EXPECT_THAT(other.await(1), ElementsAre("second"));
    endPoint->deinitialize();
}

TEST_F(Pairs, AListenerThatItsCallbackRemovesMakesNoFurtherPass)
{
    endPoint->setReceiveTimeout(0);
    peer->write(frameBytes("first"));
    inCallback = [this](ZTIPCEndPoint& endPoint) {
        EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
        diagnostics.take();
    };
    ASSERT_EQ(endPoint->setMessageArrivalListener(&listener), 0);
    inside.await();
    letCallbackAct();
    mayReturn.happen();
    awaitEndOfThreads();
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

// One sends on a connection that the other replaces

TEST_F(Pairs, ASocketStaysOpenForThoseWhoSendHoweverManyHaveReplacedIt)
{
    const std::size_t replacements = 5;
    std::vector<std::unique_ptr<LocalPeer>> next;
    OwnedMessage message(std::string("hello"));
    const Interpose sending(interposed::send,
                            [&](int to, const void* data, size_t size, int flags) {
                                if (next.size() < replacements) {
                                    next.push_back(std::make_unique<LocalPeer>(*endPoint));
                                    EXPECT_EQ(endPoint->sendMessage(&message), 0);
                                }
                                return interposed::send.real(to, data, size, flags);
                            });
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint->sendMessage(&message), 0);
    const std::string frame = frameBytes(0, 0, 5, "hello");
    EXPECT_EQ(peer->read(frame.size()), frame);
    for (const auto& replaced : next) {
        EXPECT_EQ(replaced->read(frame.size()), frame);
    }
    EXPECT_EQ(openDescriptors(), before + static_cast<std::ptrdiff_t>(replacements));
}

TEST_F(Pairs, NothingIsSentToWhoGetsTheNumberOfAConnectionThatIsReplaced)
{
    const std::string frame = frameBytes(0, 0, 5, "hello");
    std::atomic<int> sent{0};
    std::atomic<bool> mayEnd{false};
    inCallback = [&](ZTIPCEndPoint& endPoint) {
        OwnedMessage message(std::string("hello"));
        while (!mayEnd) {
            sent += endPoint.sendMessage(&message) == 0 ? 1 : 0;
        }
    };
    enterCallback();
    mayAct.happen();
    for (int i = 0; i < 500; ++i) {
        const int sentBefore = sent;
        const LocalPeer next(*endPoint);
        ZTIPCEndPoint stranger(false);
        const LocalPeer strangersPeer(stranger); // with the number that has just become free
        while (sent < sentBefore + 2) {
            EXPECT_EQ(next.read(frame.size()), frame);
        }
        EXPECT_EQ(strangersPeer.unread(), 0U);
    } // hangs up, so the callback may lose what is being replaced
    mayEnd = true;
    mayReturn.happen();
    endPoint->deinitialize();
    diagnostics.take();
}

// The owner waits for a callback, which sets another listener

namespace {

class WhileTheOwner : public Pairs, public testing::WithParamInterface<Operation> {};

} // namespace

TEST_P(WhileTheOwner, ACallbackIsRefusedAnotherListener)
{
    inCallback = [this](ZTIPCEndPoint& endPoint) {
        EXPECT_EQ(endPoint.getMessageArrivalListener(), nullptr);
        EXPECT_EQ(endPoint.setMessageArrivalListener(&other), 10);
        EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
        EXPECT_EQ(endPoint.setMessageArrivalListener(&other), 10);
        EXPECT_EQ(endPoint.getMessageArrivalListener(), nullptr);
        endPoint.setMessageArrivalListenerActive(false); // which holds nobody
    };
    enterCallback();
    peer->write(frameBytes("second"));
    {
        Owner owner([this] {
            GetParam().run(*endPoint);
            EXPECT_EQ(running, 0);
        });
        owner.awaitStandstill();
        letCallbackAct();
        mayReturn.happen();
    }
    awaitEndOfThreads();
    EXPECT_THAT(other.arrived(), IsEmpty());
    EXPECT_THAT(listener.arrived(), ElementsAre("first"));
    EXPECT_EQ(endPoint->setMessageArrivalListener(&other), 0) << "now it is free to";
    endPoint->deinitialize();
}

INSTANTIATE_TEST_SUITE_P(
    , WhileTheOwner,
    testing::Values(Operation{"Removes",
                              [](ZTIPCEndPoint& endPoint) {
                                  EXPECT_EQ(endPoint.setMessageArrivalListener(nullptr), 0);
                              }},
                    Operation{"Deinitializes",
                              [](ZTIPCEndPoint& endPoint) { endPoint.deinitialize(); }}),
    [](const auto& info) { return info.param.name; });

TEST_F(Pairs, ACallbackIsRefusedAnotherListenerWhileTheOwnerDestroysTheEndPoint)
{
    inCallback = [this](ZTIPCEndPoint& endPoint) {
        EXPECT_EQ(endPoint.setMessageArrivalListener(&other), 10);
    };
    enterCallback();
    {
        Owner owner([this] { endPoint.reset(); });
        owner.awaitStandstill();
        letCallbackAct();
        mayReturn.happen();
    }
    awaitEndOfThreads();
}

// Each thing that an owner can do with each thing that a callback can, before, after and at once

namespace {

enum class Order { TheCallbackFirst, TheOwnerFirst, AtOnce };

const char* nameOf(Order order)
{
    static const char* const NAMES[] = {"AfterTheCallback", "BeforeTheCallback", "AtOnce"};
    return NAMES[static_cast<int>(order)];
}

NotingListener& another()
{
    static NotingListener listener;
    return listener;
}

void removeAndSet(ZTIPCEndPoint& endPoint)
{
    endPoint.setMessageArrivalListener(nullptr);
    endPoint.setMessageArrivalListener(&another());
}

std::mutex mutexOfPeers;
std::vector<std::unique_ptr<LocalPeer>> peersOfReplacedConnections;

void replaceConnection(ZTIPCEndPoint& endPoint)
{
    auto next = std::make_unique<LocalPeer>(endPoint);
    const std::lock_guard<std::mutex> lock(mutexOfPeers);
    peersOfReplacedConnections.push_back(std::move(next));
}

void useAll(ZTIPCEndPoint& endPoint)
{
    OwnedMessage message(std::string("hello"));
    endPoint.sendMessage(&message);
    endPoint.receiveMessage(&message, 0);
    endPoint.getEndPointAddress();
    endPoint.getPeerEndPointAddress();
    endPoint.getReadEndPointID();
    endPoint.getWriteEndPointID();
    endPoint.getMessageArrivalListener();
    endPoint.isConnected();
    endPoint.setConnectTimeout(0);
    endPoint.setSendTimeout(0);
    endPoint.setReceiveTimeout(1);
}

const std::vector<Operation> OPERATIONS = {
    {"Nothing", [](ZTIPCEndPoint&) {}},
    {"Remove", [](ZTIPCEndPoint& endPoint) { endPoint.setMessageArrivalListener(nullptr); }},
    {"Replace", [](ZTIPCEndPoint& endPoint) { endPoint.setMessageArrivalListener(&another()); }},
    {"RemoveAndSet", removeAndSet},
    {"Deactivate",
     [](ZTIPCEndPoint& endPoint) { endPoint.setMessageArrivalListenerActive(false); }},
    {"Activate", [](ZTIPCEndPoint& endPoint) { endPoint.setMessageArrivalListenerActive(true); }},
    {"Deinitialize", [](ZTIPCEndPoint& endPoint) { endPoint.deinitialize(); }},
    {"ReplaceConnection", replaceConnection},
    {"Connect", [](ZTIPCEndPoint& endPoint) { endPoint.connectTo("/no/server"); }},
    {"Reconnect", [](ZTIPCEndPoint& endPoint) { endPoint.reconnect(); }},
    {"UseAll", useAll},
};

std::vector<Operation> ownersOperations()
{
    std::vector<Operation> all = OPERATIONS;
    all.push_back({"Destroy", [](ZTIPCEndPoint& endPoint) { delete &endPoint; }});
    return all;
}

class EachPair : public testing::TestWithParam<std::tuple<Operation, Order>> {};

} // namespace

TEST_P(EachPair, EndsInGoodOrder)
{
    const auto& [owners, order] = GetParam();
    const auto before = openDescriptors();
    for (const Operation& callbacks : OPERATIONS) {
        SCOPED_TRACE(callbacks.name);
        Scene scene;
        scene.inCallback = callbacks.run;
        scene.enterCallback();
        if (order == Order::TheCallbackFirst) {
            scene.letCallbackAct();
        }
        const bool deactivates = owners.name == std::string("Deactivate");
        const bool destroys = owners.name == std::string("Destroy");
        {
            Owner owner([&scene, &run = owners.run] { run(*scene.used); });
            if (order == Order::TheOwnerFirst) {
                owner.awaitStandstill();
            }
            scene.mayAct.happen();
            scene.mayReturn.happen();
            while (deactivates && !owner.isDone()) { // lest it is the second to
                scene.used->setMessageArrivalListenerActive(true);
                std::this_thread::yield();
            }
        }
        static_cast<void>(destroys ? scene.endPoint.release() : nullptr);
        scene.endPoint.reset();
        awaitEndOfThreads();
        scene.diagnostics.take();
    }
    peersOfReplacedConnections.clear();
    EXPECT_EQ(openDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(, EachPair,
                         testing::Combine(testing::ValuesIn(ownersOperations()),
                                          testing::Values(Order::TheCallbackFirst,
                                                          Order::TheOwnerFirst, Order::AtOnce)),
                         [](const auto& info) {
                             return std::get<0>(info.param).name +
                                    std::string(nameOf(std::get<1>(info.param)));
                         });
