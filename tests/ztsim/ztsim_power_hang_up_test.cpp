// The daemon hangs up at records 2 and 4, each time for 100 ms.

#include "PowerSocket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <poll.h>
#include <sys/inotify.h>

namespace {

using Clock = std::chrono::steady_clock;

/// What happens to the daemon's socket in the file system, from the construction on.
class SocketWatch {
public:
    SocketWatch() { ::inotify_add_watch(fd_, "/var/run", IN_CREATE | IN_DELETE); }
    ~SocketWatch() { ::close(fd_); }
    SocketWatch(const SocketWatch&) = delete;
    SocketWatch& operator=(const SocketWatch&) = delete;

    /// IN_CREATE or IN_DELETE, or 0 if nothing happens.
    std::uint32_t next() const
    {
        constexpr int kPatience = 60000;
        alignas(inotify_event) char event[sizeof(inotify_event) + 16]; // room for one name
        pollfd readable{fd_, POLLIN, 0};
        if (::poll(&readable, 1, kPatience) != 1 || ::read(fd_, event, sizeof event) <= 0) {
            return 0;
        }
        return reinterpret_cast<const inotify_event*>(event)->mask;
    }

private:
    const int fd_ = ::inotify_init1(IN_CLOEXEC);
};

void awaitHangUp(const SocketWatch& watch)
{
    ASSERT_EQ(watch.next(), IN_DELETE);
    ASSERT_EQ(watch.next(), IN_CREATE);
}

TEST(ZtsimPowerHangUp, ClosesAllClients)
{
    const PowerSocket asker;
    const PowerSocket other;
    const PowerSocket idle;
    EXPECT_EQ(asker.ask(power(8)), power(10, 0));
    other.send(power(8));
    EXPECT_TRUE(asker.isAtEnd());
    EXPECT_TRUE(other.isAtEnd());
    EXPECT_TRUE(idle.isAtEnd());
}

TEST(ZtsimPowerHangUp, RemovesTheSocketForTheGivenTime)
{
    const SocketWatch watch;
    const PowerSocket client;
    client.ask(power(8));
    const auto start = Clock::now();
    client.send(power(8));
    awaitHangUp(watch);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
}

TEST(ZtsimPowerHangUp, KeepsTheStateButHandlesNoRecord)
{
    const SocketWatch watch;
    {
        const PowerSocket client;
        EXPECT_EQ(client.ask(power(9, 2)), power(11, 2));
        client.send(power(9, 5));
        awaitHangUp(watch);
    }
    const PowerSocket client;
    EXPECT_EQ(client.ask(power(8)), power(10, 2));
}

TEST(ZtsimPowerHangUp, HappensAsOftenAsAskedFor)
{
    const SocketWatch watch;
    for (int round = 0; round < 2; ++round) {
        const PowerSocket client;
        EXPECT_EQ(client.ask(power(8)), power(10, 0));
        client.send(power(8));
        EXPECT_TRUE(client.isAtEnd());
        awaitHangUp(watch);
    }
    EXPECT_EQ(PowerSocket().ask(power(8)), power(10, 0));
}

TEST(ZtsimPowerHangUp, ServesClientsThatTryTwiceInARow)
{
    const SocketWatch watch;
    const PowerSocket before;
    before.ask(power(8));
    before.send(power(8));
    awaitHangUp(watch);
    {
        const PowerSocket trial;
    }
    EXPECT_EQ(PowerSocket().ask(power(8)), power(10, 0));
}

} // namespace
