#include "zt/ZTDescriptorEndPoint.h"

#include "ipc/TestEndPoint.h"
#include "support/Layout.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTSocketLinux.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

using testing::ElementsAre;
using ZT::ZTDescriptorEndPoint;
using ZT::ZTEndPointManager;

namespace {

const unsigned int WITHOUT_LIMIT = 2;

// Whether a manager calls the handler of such a descriptor, by waiting and by its descriptor.
void expectHeard(int descriptor)
{
    ZTDescriptorEndPoint endPoint(descriptor);
    ZTEndPointManager manager;
    NotingHandler handler;
    ASSERT_EQ(manager.addEndPoint(&endPoint, &handler), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, WITHOUT_LIMIT), 0);
    EXPECT_EQ(manager.dispatch(), 0);
    EXPECT_THAT(handler.calls,
                ElementsAre(Call{"readable", &endPoint}, Call{"readable", &endPoint}));
    EXPECT_EQ(close(descriptor), 0) << "it was the caller's all the time";
}

} // namespace

TEST(ZTDescriptorEndPoint, IsConnectedWhileItHasADescriptorAndNeverReconnected)
{
    ZTDescriptorEndPoint endPoint(5);
    EXPECT_EQ(endPoint.getReadEndPointID(), 5);
    EXPECT_EQ(endPoint.getWriteEndPointID(), 5);
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_FALSE(endPoint.autoReconnect);
    EXPECT_EQ(endPoint.reconnect(), 11);
    const ZTDescriptorEndPoint none(-1);
    EXPECT_FALSE(none.isConnected());
}

TEST(ZTDescriptorEndPoint, LeavesTheDescriptorOpen)
{
    const int descriptor = eventfd(0, EFD_CLOEXEC);
    {
        const ZTDescriptorEndPoint endPoint(descriptor);
    }
    EXPECT_EQ(close(descriptor), 0);
}

TEST(ZTDescriptorEndPoint, MakesATimerAnEndPoint)
{
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    itimerspec time{};
    time.it_value.tv_nsec = 1;
    ASSERT_EQ(timerfd_settime(timer, 0, &time, nullptr), 0);
    expectHeard(timer);
}

TEST(ZTDescriptorEndPoint, MakesASignalAnEndPoint)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    sigset_t before;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, &before), 0);
    const int source = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    raise(SIGUSR1);
    expectHeard(source);
    const timespec atOnce{};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &atOnce), SIGUSR1);
    EXPECT_EQ(pthread_sigmask(SIG_SETMASK, &before, nullptr), 0);
}

TEST(ZTDescriptorEndPoint, MakesAListeningSocketAnEndPoint)
{
    ZT::ZTSocketLinux server;
    ZT::ZTSocketLinux client;
    char localhost[] = "127.0.0.1";
    server.bindSocket(localhost, 0);
    ASSERT_EQ(server.listenSocket(), 0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(server.getSocketIdentifier(), reinterpret_cast<sockaddr*>(&address), &size);
    ASSERT_EQ(client.connectSocket(localhost, ntohs(address.sin_port)), 0);
    expectHeard(dup(server.getSocketIdentifier()));
}

TEST(ZTDescriptorEndPoint, HasTheLayoutOfAnEndPointWithOneNumber)
{
    EXPECT_EQ(slotCount("_ZTVN2ZT20ZTDescriptorEndPointE"), 6U);
    const ZTDescriptorEndPoint endPoint(5);
    EXPECT_EQ(fieldAt<int>(&endPoint, sizeof(void*) + 4), 5);
}
