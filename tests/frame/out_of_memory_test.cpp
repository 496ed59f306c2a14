// What there is no memory for throws std::bad_alloc, and leaves nothing behind.

#include "support/Interpose.h"
#include "support/LocalPeer.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTConditionVariable.h"
#include "zt/ZTDescriptorEndPoint.h"
#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTIPCServer.h"
#include "zt/ZTLock.h"
#include "zt/ZTMutex.h"
#include "zt/ZTNetworkConfigFactory.h"
#include "zt/ZTPipe.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSharedMutex.h"
#include "zt/ZTSocketFactory.h"
#include "zt/ZTSocketMessage.h"
#include "zt/ZTThread.h"

#include "ztutil/ZTDebug.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <unistd.h>

namespace {

const int UNLIMITED = -1;
const std::size_t LARGEST = 0x40000000; // of a single allocation

// Of this thread.
thread_local int allowed = UNLIMITED; // how many allocations succeed before one fails
thread_local int held = 0;

} // namespace

// The libraries' memory comes from here, too.
void* operator new(std::size_t size)
{
    void* const memory = allowed == 0 || size > LARGEST ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allowed -= allowed == UNLIMITED ? 0 : 1;
    ++held;
    return memory;
}

void operator delete(void* memory) noexcept
{
    held -= memory == nullptr ? 0 : 1;
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

// As the standard library's do; a sanitizer's go their own ways.
void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete[](void* memory) noexcept
{
    operator delete(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

namespace {

// Lets the first allocation of the action fail, then the second and so on, until it takes no more.
// Returns how many there are.
int failEachAllocation(const std::function<void()>& action)
{
    action(); // what is only done once is not held against it
    for (int successes = 0;; ++successes) {
        const int before = held;
        allowed = successes;
        try {
            action();
            allowed = UNLIMITED;
            return successes;
        } catch (const std::bad_alloc&) {
            allowed = UNLIMITED;
        }
        EXPECT_EQ(held, before) << "after " << successes << " allocations";
    }
}

auto openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

class NoHandler : public ZT::ZTEndPointHandler {
    int onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/,
                           ZT::ZTEndPointManager* /*manager*/) override
    {
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
};

class SizedMessage : public ZT::ZTSocketMessage {
public:
    explicit SizedMessage(unsigned int size) : size(size) {}

    unsigned int calculateBufferSize() override { return size; }

private:
    const unsigned int size;
};

class NoListener : public ZT::ZTIPCMessageArrivalListener {
    void onMessageArrival(IPCMessage* /*message*/) override {}
};

} // namespace

TEST(OutOfMemory, CreatingThrowsAndLeavesNothing)
{
    const std::string longName = "a name that takes memory of its own";
    EXPECT_GT(failEachAllocation([] { delete ZT::ZTMutex::create(); }), 0);
    EXPECT_GT(failEachAllocation([] { delete ZT::ZTSharedMutex::create(); }), 0);
    EXPECT_GT(failEachAllocation([] { delete ZT::ZTConditionVariable::create(); }), 0);
    EXPECT_GT(failEachAllocation([&] { delete ZT::ZTThread::create(longName); }), 1);
    EXPECT_GT(failEachAllocation([] { delete ZT::ZTSocketFactory::createSocketClass(); }), 1);
    EXPECT_GT(failEachAllocation([] { const ZT::ZTSocketLinux socket; }), 0);
}

TEST(OutOfMemory, ALockThatCannotBeCreatedHoldsNothing)
{
    const std::unique_ptr<ZT::ZTMutex> mutex(ZT::ZTMutex::create());
    EXPECT_GT(failEachAllocation([&] {
                  EXPECT_TRUE(mutex->try_lock());
                  mutex->unlock();
                  delete ZT::ZTLock::create(mutex.get());
              }),
              0);
}

TEST(OutOfMemory, ThePowerManagementThatCannotBeCreatedOpensNothing)
{
    const Interpose refused(interposed::connect, [](auto...) {
        errno = ECONNREFUSED;
        return -1;
    });
    const auto before = openDescriptors();
    EXPECT_GT(failEachAllocation([] { EXPECT_EQ(ZT::ZTPowerManagement::create(), nullptr); }), 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(OutOfMemory, AnInterfaceThatCannotBeCreatedIsGone)
{
    ZT::ZTNetworkConfigFactory factory;
    EXPECT_EQ(factory.create(1), 0);
    allowed = 0;
    EXPECT_THROW(factory.create(1), std::bad_alloc);
    allowed = UNLIMITED;
    EXPECT_EQ(factory.getEthInstance(1), nullptr);
    EXPECT_EQ(factory.create(1), 0);
    EXPECT_NE(factory.getEthInstance(1), nullptr);
}

TEST(OutOfMemory, AThreadThatCannotBeStartedCanBeDestroyed)
{
    EXPECT_GT(failEachAllocation([] {
                  const std::unique_ptr<ZT::ZTThread> thread(ZT::ZTThread::create(""));
                  thread->startThread([](void*) {}, nullptr);
                  thread->join();
              }),
              1);
}

TEST(OutOfMemory, AnEndPointThatCannotBeAddedIsNotRegistered)
{
    ZT::ZTEndPointManager manager;
    ZT::ZTPipe pipe;
    pipe.init();
    NoHandler handler;
    EXPECT_GT(failEachAllocation([&] {
                  EXPECT_EQ(manager.removeEndPoint(&pipe), 23);
                  EXPECT_EQ(manager.addEndPoint(&pipe, &handler), 0);
                  EXPECT_EQ(manager.removeEndPoint(&pipe), 0);
              }),
              1);
}

TEST(OutOfMemory, AnEndPointThatCannotBeAddedIsNotInTheManagersDescriptor)
{
    NoHandler handler;
    ZT::ZTPipe pipes[2];
    for (ZT::ZTPipe& pipe : pipes) {
        pipe.init();
    }
    const auto before = openDescriptors();
    EXPECT_GT(failEachAllocation([&] {
                  ZT::ZTEndPointManager manager;
                  manager.addEndPoint(&pipes[0], &handler);
                  EXPECT_GE(manager.getDescriptor(), 0);
              }),
              4);
    EXPECT_EQ(openDescriptors(), before);
    ZT::ZTEndPointManager manager;
    manager.addEndPoint(&pipes[0], &handler);
    manager.getDescriptor();
    pipes[1].writeIntoPipe("x", 1);
    EXPECT_GT(failEachAllocation([&] {
                  EXPECT_EQ(manager.dispatch(), 17);
                  EXPECT_EQ(manager.removeEndPoint(&pipes[1]), 23);
                  EXPECT_EQ(manager.addEndPoint(&pipes[1], &handler), 0);
                  EXPECT_EQ(manager.removeEndPoint(&pipes[1]), 0);
              }),
              3);
    manager.addEndPoint(&pipes[1], &handler);
    EXPECT_EQ(failEachAllocation([&] { EXPECT_EQ(manager.dispatch(), 0); }), 0);
}

TEST(OutOfMemory, AListenerThatCannotBeSetIsNotThere)
{
    ZT::ZTIPCEndPoint endPoint(false);
    const LocalPeer peer(endPoint);
    endPoint.setReceiveTimeout(-1);
    NoListener listener;
    const auto before = openDescriptors();
    EXPECT_GT(failEachAllocation([&] {
                  EXPECT_EQ(endPoint.getMessageArrivalListener(), nullptr);
                  endPoint.setMessageArrivalListener(&listener);
                  endPoint.setMessageArrivalListener(nullptr);
              }),
              2);
    EXPECT_EQ(openDescriptors(), before);
    endPoint.deinitialize(); // before its peer goes
}

TEST(OutOfMemory, AClientWaitsUntilThereIsMemoryToAcceptIt)
{
    const TemporaryFolder folder;
    ZT::ZTIPCServer server;
    ASSERT_EQ(server.initialize(folder / "server"), 0);
    ZT::ZTIPCEndPoint client(false);
    ASSERT_EQ(client.initialize(folder / "client", false), 0);
    ASSERT_EQ(client.connectTo(folder / "server"), 0);
    const auto before = openDescriptors();
    allowed = 0;
    EXPECT_THROW(server.acceptConnection(), std::bad_alloc);
    allowed = UNLIMITED;
    EXPECT_EQ(openDescriptors(), before);
    const std::unique_ptr<ZT::ZTIPCEndPoint> accepted(server.acceptConnection());
    EXPECT_NE(accepted, nullptr);
}

TEST(OutOfMemory, AClientThatIsAcceptedWithoutMemoryIsHungUpOn)
{
    const TemporaryFolder folder;
    ZT::ZTIPCServer server;
    ASSERT_EQ(server.initialize(folder / "server"), 0);
    std::unique_ptr<ZT::ZTIPCEndPoint> accepted;
    int failures = 0;
    while (accepted == nullptr) {
        ZT::ZTIPCEndPoint client(false);
        ASSERT_EQ(client.initialize(folder / "client", false), 0);
        ASSERT_EQ(client.connectTo(folder / "server"), 0);
        const auto before = openDescriptors();
        allowed = ++failures;
        try {
            accepted.reset(server.acceptConnection());
            allowed = UNLIMITED;
        } catch (const std::bad_alloc&) {
            allowed = UNLIMITED;
            EXPECT_EQ(openDescriptors(), before);
            OwnedMessage message;
            EXPECT_EQ(client.receiveMessage(&message, -1), 8);
        }
    }
    EXPECT_GT(failures, 2);
}

TEST(OutOfMemory, AnEndPointThatCannotBeInitializedTakesNothingOver)
{
    const TemporaryFolder folder;
    const std::string longName = folder / "a name that takes memory of its own";
    const auto before = openDescriptors();
    EXPECT_GT(failEachAllocation([&] {
                  ZT::ZTIPCEndPoint endPoint(false);
                  EXPECT_EQ(endPoint.initialize(longName, false), 0);
              }),
              1);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_GT(failEachAllocation([&] {
                  ZT::ZTIPCEndPoint endPoint(false);
                  const int own = dup(STDIN_FILENO);
                  try {
                      EXPECT_EQ(endPoint.initialize(own, longName, longName), 0);
                  } catch (const std::bad_alloc&) {
                      EXPECT_EQ(close(own), 0);
                      throw;
                  }
              }),
              2);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(OutOfMemory, AMessageWhoseDataFindsNoMemoryHasNone)
{
    ZT::ZTIPCEndPoint endPoint(false);
    const LocalPeer peer(endPoint);
    peer.write(frameBytes("hello"));
    OwnedMessage message(2U);
    allowed = 0;
    EXPECT_THROW(endPoint.receiveMessage(&message, -1), std::bad_alloc);
    allowed = UNLIMITED;
    EXPECT_EQ(message.data, nullptr);
    EXPECT_TRUE(endPoint.isConnected());
    endPoint.deinitialize(); // before its peer goes
}

TEST(OutOfMemory, AMessageThatFindsNoMemoryForItsFrameIsNotSent)
{
    ZT::ZTIPCEndPoint endPoint(false);
    const LocalPeer peer(endPoint);
    OwnedMessage message(std::string(256, 'x'));
    allowed = 0;
    EXPECT_THROW(endPoint.sendMessage(&message), std::bad_alloc);
    allowed = UNLIMITED;
    EXPECT_EQ(peer.unread(), 0U);
    EXPECT_TRUE(endPoint.isConnected());
    if (sizeof(std::size_t) == 4) {
        for (const std::uint32_t tooLong : {0x80000000, 0xFFFFFFF6, 0xFFFFFFF7, 0xFFFFFFFF}) {
            message.dataLength = tooLong;
            EXPECT_THROW(endPoint.sendMessage(&message), std::bad_alloc);
        }
    }
    endPoint.deinitialize(); // before its peer goes
}

// On the device no array can have that many bytes.
TEST(OutOfMemory, AMessageThatIsTooLargeForTheMemoryIsNotSent)
{
    const Interpose noSending(interposed::send, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    ZT::ZTSocketLinux socket;
    for (const unsigned int size : {0x80000000U, 0xFFFFFFFFU}) {
        SizedMessage message(size);
        EXPECT_THROW(socket.sendSocketData(1, &message), std::bad_alloc) << size;
    }
}

TEST(OutOfMemory, AMessageOfUpTo255BytesIsSentAndReceivedWithoutAny)
{
    ZT::ZTIPCEndPoint endPoint(false);
    const LocalPeer peer(endPoint);
    endPoint.setSendTimeout(-1);
    const std::string text(255, 'x');
    peer.write(frameBytes(text));
    OwnedMessage sent(text);
    OwnedMessage received(255U);
    allowed = 0;
    EXPECT_EQ(endPoint.sendMessage(&sent), 0);
    EXPECT_EQ(endPoint.receiveMessage(&received, -1), 0);
    allowed = UNLIMITED;
    EXPECT_EQ(peer.unread(), 264U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(received.data), received.dataLength), text);
    endPoint.deinitialize(); // before its peer goes
}

TEST(OutOfMemory, LocksAndConditionVariablesNeedNoneOnceTheyAreThere)
{
    const std::unique_ptr<ZT::ZTMutex> mutex(ZT::ZTMutex::create());
    const std::unique_ptr<ZT::ZTSharedMutex> shared(ZT::ZTSharedMutex::create());
    const std::unique_ptr<ZT::ZTConditionVariable> condition(ZT::ZTConditionVariable::create());
    const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(mutex.get()));
    unsigned int remaining = 1;
    allowed = 0;
    EXPECT_EQ(condition->timed_wait(lock.get(), 1, remaining), 0);
    EXPECT_EQ(condition->notify_one(), 0);
    EXPECT_EQ(condition->notify_all(), 0);
    EXPECT_EQ(shared->lock(), 0);
    EXPECT_EQ(shared->unlock(), 0);
    EXPECT_EQ(shared->lock_shared(), 0);
    EXPECT_EQ(shared->unlock_shared(), 0);
    allowed = UNLIMITED;
}

TEST(OutOfMemory, AManagerWaitsForDescriptorsThatAnFdSetHoldsWithoutAny)
{
    NoHandler handler;
    ZT::ZTPipe pipe;
    pipe.init();
    pipe.writeIntoPipe("x", 1);
    const int last = dup2(pipe.getReadEndPointID(), FD_SETSIZE - 1);
    ASSERT_EQ(last, FD_SETSIZE - 1);
    ZT::ZTDescriptorEndPoint endPoint(last);
    ZT::ZTEndPointManager manager;
    manager.addEndPoint(&endPoint, &handler);
    allowed = 0;
    EXPECT_EQ(manager.waitForEndPoints(0, 2), 0);
    allowed = UNLIMITED;
    EXPECT_GE(manager.getDescriptor(), 0);
    allowed = 0;
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_EQ(manager.dispatch(), 0);
    allowed = UNLIMITED;
    close(last);
}

TEST(OutOfMemory, ALineOfUsualLengthIsPrintedWithoutAny)
{
    const int standardError = dup(STDERR_FILENO);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    dup2(ends[1], STDERR_FILENO);
    const std::string usual(511, 'x');
    const std::string longer(700, 'x');
    allowed = 0;
    const int printed = ZT::ZTDebug::debugPrintError(1, 0, "%s", usual.c_str());
    const int notPrinted = ZT::ZTDebug::debugPrintError(1, 0, "%s", longer.c_str());
    allowed = UNLIMITED;
    const int printedLater = ZT::ZTDebug::debugPrintError(1, 0, "%s", longer.c_str());
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    close(ends[1]);
    EXPECT_EQ(printed, 0);
    EXPECT_EQ(notPrinted, 1);
    EXPECT_EQ(printedLater, 0);
    char lines[2000];
    const ssize_t size = read(ends[0], lines, sizeof lines);
    close(ends[0]);
    const std::size_t overhead = sizeof "2026-11-21 09:12:13.123 1 ? \n" - 1;
    EXPECT_EQ(size, static_cast<ssize_t>(overhead + usual.size() + overhead + longer.size()));
}
