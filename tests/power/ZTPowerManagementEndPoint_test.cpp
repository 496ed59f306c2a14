#include "zt/ZTPowerManagementEndPoint.h"

#include "support/FakeDaemon.h"
#include "support/HighDescriptors.h"
#include "support/Interpose.h"
#include "support/Layout.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <string>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTPowerManagementEndPoint;

namespace {

bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

// 48 bytes that all differ.
std::string someRecord()
{
    std::string record(48, '\0');
    std::iota(record.begin(), record.end(), '\1');
    return record;
}

class ZTPowerManagementEndPointTest : public testing::Test {
protected:
    ZTPowerManagementEndPointTest() { EXPECT_EQ(endPoint.init(), 0); }
    ~ZTPowerManagementEndPointTest() override { endPoint.release(); }

    FakePowerDaemon daemon;
    ZTPowerManagementEndPoint endPoint;
    std::string record = someRecord();
};

// What poll() answers, one after the other, and how often it was asked.
class ScriptedPoll {
public:
    using Answer = std::function<int(pollfd&)>;

    explicit ScriptedPoll(std::vector<Answer> answers) : answers(std::move(answers)) {}

    std::vector<int> descriptors;

private:
    std::vector<Answer> answers;
    const Interpose<int(pollfd*, nfds_t, int)> script{
        interposed::poll, [this](pollfd* waited, nfds_t count, int timeout) {
            EXPECT_EQ(count, 1U);
            EXPECT_EQ(timeout, 50);
            EXPECT_EQ(waited->events, 0x200c);
            waited->revents = 0;
            descriptors.push_back(waited->fd);
            return answers.at(descriptors.size() - 1)(*waited);
        }};
};

ScriptedPoll::Answer events(short revents)
{
    return [revents](pollfd& waited) {
        waited.revents = revents;
        return revents == 0 ? 0 : 1;
    };
}

ScriptedPoll::Answer failure(int error)
{
    return [error](pollfd&) {
        errno = error;
        return -1;
    };
}

// An endpoint of an application's own, which reconnects in its own way.
class OwnEndPoint : public ZTPowerManagementEndPoint {
public:
    int reconnect() override
    {
        ++reconnections;
        return 14;
    }

    int reconnections = 0;
};

} // namespace

TEST(ZTPowerManagementEndPoint, OpensNothingWhenConstructed)
{
    const Interpose noSocket(interposed::socket, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    const ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
    EXPECT_EQ(endPoint.getWriteEndPointID(), -1);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_TRUE(endPoint.autoReconnect);
}

TEST(ZTPowerManagementEndPoint, SendingBeforeInitReturns7WithoutPolling)
{
    const ScriptedPoll poll({});
    ZTPowerManagementEndPoint endPoint;
    std::string record = someRecord();
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 7);
    EXPECT_EQ(endPoint.sendMessage(nullptr), 7);
    EXPECT_THAT(poll.descriptors, IsEmpty());
}

TEST(ZTPowerManagementEndPoint, InitWithoutASocketReturns4)
{
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    const Interpose noConnect(interposed::connect, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.init(), 4);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_EQ(endPoint.reconnect(), 4);
}

TEST(ZTPowerManagementEndPoint, InitConnectsToTheDaemonsPathWithTheWholeAddress)
{
    const Interpose socketRecorder(interposed::socket, [](int domain, int type, int protocol) {
        EXPECT_EQ(domain, AF_UNIX);
        EXPECT_EQ(type, SOCK_STREAM);
        EXPECT_EQ(protocol, 0);
        return 1000;
    });
    std::string address;
    const Interpose connectRecorder(interposed::connect,
                                    [&](int descriptor, const sockaddr* to, socklen_t size) {
                                        EXPECT_EQ(descriptor, 1000);
                                        address.assign(reinterpret_cast<const char*>(to), size);
                                        return 0;
                                    });
    const Interpose noClose(interposed::close, [](int) { return 0; });
    ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.init(), 0);
    std::string expected(110, '\0');
    expected[0] = AF_UNIX;
    expected.replace(2, 18, "/var/run/ztpmd_api");
    EXPECT_EQ(address, expected);
    EXPECT_EQ(endPoint.getReadEndPointID(), 1000);
    EXPECT_EQ(fieldAt<int>(&endPoint, sizeof(void*) + 4), 1000);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&endPoint) + sizeof(void*) + 8, 110),
              expected);
    endPoint.release();
}

TEST(ZTPowerManagementEndPoint, WithoutADaemonInitReturns14AndCountsAsConnectedUntilRelease)
{
    ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.init(), 14);
    EXPECT_TRUE(endPoint.isConnected());
    const int descriptor = endPoint.getReadEndPointID();
    EXPECT_TRUE(isOpen(descriptor));
    EXPECT_EQ(endPoint.release(), 0);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_FALSE(isOpen(descriptor));
}

TEST(ZTPowerManagementEndPoint, AConnectThatASignalInterruptsReturns14AndIsNotRepeated)
{
    int calls = 0;
    const Interpose interrupted(interposed::connect, [&](auto...) {
        ++calls;
        errno = EINTR;
        return -1;
    });
    ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.init(), 14);
    EXPECT_EQ(calls, 1);
    endPoint.release();
}

TEST(ZTPowerManagementEndPoint, SendingAfterAFailedInitReturns6WithoutASignal)
{
    ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.init(), 14);
    std::string record = someRecord();
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 6);
    EXPECT_TRUE(endPoint.isConnected());
    endPoint.release();
}

TEST(ZTPowerManagementEndPoint, AReconnectionAfterAFailedInitLeaksNothing)
{
    ZTPowerManagementEndPoint endPoint;
    EXPECT_EQ(endPoint.init(), 14);
    const int descriptor = endPoint.getReadEndPointID();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(endPoint.reconnect(), 14);
        EXPECT_EQ(endPoint.getReadEndPointID(), descriptor) << "the lowest that is free";
    }
    endPoint.release();
}

TEST_F(ZTPowerManagementEndPointTest, OneSocketServesBothDirections)
{
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_GE(endPoint.getReadEndPointID(), 0);
    EXPECT_EQ(endPoint.getReadEndPointID(), endPoint.getWriteEndPointID());
}

TEST_F(ZTPowerManagementEndPointTest, SecondReleaseReturns0AndDoesNothing)
{
    std::vector<int> closed;
    const int descriptor = endPoint.getReadEndPointID();
    const Interpose recorder(interposed::close, [&](int closing) {
        closed.push_back(closing);
        return interposed::close.real(closing);
    });
    EXPECT_EQ(endPoint.release(), 0);
    EXPECT_EQ(endPoint.release(), 0);
    EXPECT_THAT(closed, ElementsAre(descriptor));
    EXPECT_FALSE(endPoint.isConnected());
}

TEST_F(ZTPowerManagementEndPointTest, AFailedCloseReturns16AndGivesTheDescriptorUp)
{
    const Interpose failing(interposed::close, [](int closing) {
        EXPECT_EQ(interposed::close.real(closing), 0) << "once";
        errno = EINTR;
        return -1;
    });
    EXPECT_EQ(endPoint.release(), 16);
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
    EXPECT_EQ(endPoint.release(), 0);
}

TEST_F(ZTPowerManagementEndPointTest, TheDestructorClosesNothing)
{
    int descriptor = -1;
    {
        ZTPowerManagementEndPoint unreleased;
        unreleased.init();
        descriptor = unreleased.getReadEndPointID();
    }
    EXPECT_TRUE(isOpen(descriptor));
    close(descriptor);
}

TEST_F(ZTPowerManagementEndPointTest, SecondInitClosesTheFirstConnection)
{
    const auto first = daemon.accept();
    EXPECT_EQ(endPoint.init(), 0);
    const auto second = daemon.accept();
    EXPECT_EQ(first->receive(), "") << "hung up";
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_EQ(second->receive(), record);
}

TEST_F(ZTPowerManagementEndPointTest, ReconnectClosesAndConnectsAnew)
{
    const auto first = daemon.accept();
    EXPECT_EQ(endPoint.reconnect(), 0);
    const auto second = daemon.accept();
    EXPECT_EQ(first->receive(), "");
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_EQ(second->receive(), record);
    EXPECT_FALSE(daemon.hasClient());
}

TEST_F(ZTPowerManagementEndPointTest, SendsExactly48BytesInOneWrite)
{
    const auto client = daemon.accept();
    std::vector<std::size_t> sizes;
    {
        const Interpose recorder(interposed::write, [&](int to, const void* data, size_t size) {
            sizes.push_back(size);
            return interposed::write.real(to, data, size);
        });
        EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    }
    EXPECT_THAT(sizes, ElementsAre(48U));
    EXPECT_EQ(client->receive(), record);
    EXPECT_FALSE(client->hasNews());
}

TEST_F(ZTPowerManagementEndPointTest, SendingNullReturns20WithoutPolling)
{
    const ScriptedPoll poll({});
    EXPECT_EQ(endPoint.sendMessage(nullptr), 20);
    EXPECT_THAT(poll.descriptors, IsEmpty());
}

TEST_F(ZTPowerManagementEndPointTest, TenFailedPollsReturn7)
{
    const ScriptedPoll poll(std::vector<ScriptedPoll::Answer>(10, failure(EINTR)));
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 7);
    EXPECT_EQ(poll.descriptors.size(), 10U);
    EXPECT_FALSE(daemon.accept()->hasNews());
}

TEST_F(ZTPowerManagementEndPointTest, TenPollsThatTimeOutReturn7)
{
    const ScriptedPoll poll(std::vector<ScriptedPoll::Answer>(10, events(0)));
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 7);
    EXPECT_EQ(poll.descriptors.size(), 10U);
}

TEST_F(ZTPowerManagementEndPointTest, EventsThatAreNotAskedForUseAnAttemptUp)
{
    const int descriptor = endPoint.getWriteEndPointID();
    const auto client = daemon.accept();
    const ScriptedPoll poll({events(POLLHUP), events(POLLNVAL), events(POLLIN), events(POLLOUT)});
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_THAT(poll.descriptors, ElementsAre(descriptor, descriptor, descriptor, descriptor));
    EXPECT_FALSE(daemon.hasClient());
    EXPECT_EQ(client->receive(), record);
}

TEST_F(ZTPowerManagementEndPointTest, AFailedCloseDoesNotKeepItFromReconnecting)
{
    const Interpose failing(interposed::close, [](int closing) {
        interposed::close.real(closing);
        errno = EIO;
        return -1;
    });
    EXPECT_EQ(endPoint.reconnect(), 0);
    EXPECT_TRUE(endPoint.isConnected());
}

TEST_F(ZTPowerManagementEndPointTest, TheTenthAttemptMayStillSend)
{
    std::vector<ScriptedPoll::Answer> answers(9, failure(EINTR));
    answers.push_back(events(POLLOUT));
    const ScriptedPoll poll(answers);
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_EQ(daemon.accept()->receive(), record);
}

TEST_F(ZTPowerManagementEndPointTest, AHangUpReconnectsAndTheNextAttemptPollsTheNewDescriptor)
{
    const auto first = daemon.accept();
    const int old = endPoint.getReadEndPointID();
    const Interpose socketElsewhere(interposed::socket, [](int domain, int type, int protocol) {
        const int descriptor = interposed::socket.real(domain, type, protocol);
        const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, 500);
        close(descriptor);
        return moved;
    });
    const ScriptedPoll poll({events(POLLRDHUP | POLLOUT), events(POLLOUT)});
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_THAT(poll.descriptors, ElementsAre(old, endPoint.getReadEndPointID()));
    EXPECT_NE(endPoint.getReadEndPointID(), old);
    EXPECT_EQ(first->receive(), "");
    EXPECT_EQ(daemon.accept()->receive(), record);
}

TEST_F(ZTPowerManagementEndPointTest, AnErrorEventReconnectsToo)
{
    const auto first = daemon.accept();
    const ScriptedPoll poll({events(POLLERR), events(POLLOUT)});
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_EQ(first->receive(), "");
    EXPECT_EQ(daemon.accept()->receive(), record);
}

TEST_F(ZTPowerManagementEndPointTest, TenHangUpsReconnectTenTimesAndReturn7)
{
    const auto first = daemon.accept();
    const ScriptedPoll poll(std::vector<ScriptedPoll::Answer>(10, events(POLLRDHUP)));
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 7);
    EXPECT_EQ(poll.descriptors.size(), 10U);
    for (int i = 0; i < 10; ++i) {
        daemon.accept();
    }
    EXPECT_FALSE(daemon.hasClient());
    EXPECT_TRUE(endPoint.isConnected()) << "the last connection stays";
}

TEST_F(ZTPowerManagementEndPointTest, AReconnectionThatFindsNoSocketUsesUpTheOtherAttempts)
{
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    std::vector<ScriptedPoll::Answer> answers(10, events(0));
    answers[0] = events(POLLRDHUP);
    const ScriptedPoll poll(answers);
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 7);
    EXPECT_EQ(poll.descriptors.size(), 10U);
    EXPECT_EQ(poll.descriptors.back(), -1);
}

TEST_F(ZTPowerManagementEndPointTest, ADerivedReconnectIsHonoured)
{
    OwnEndPoint own;
    ASSERT_EQ(own.init(), 0);
    {
        const ScriptedPoll poll({events(POLLRDHUP), events(POLLERR), events(POLLOUT)});
        EXPECT_EQ(own.sendMessage(&record[0]), 0);
    }
    EXPECT_EQ(own.reconnections, 2);
    own.release();
}

TEST_F(ZTPowerManagementEndPointTest, AShortWriteReturns6AndIsNotRepeated)
{
    int writes = 0;
    const Interpose partial(interposed::write, [&](int to, const void* data, size_t) {
        ++writes;
        return interposed::write.real(to, data, 47);
    });
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 6);
    EXPECT_EQ(writes, 1);
}

TEST_F(ZTPowerManagementEndPointTest, AFailedWriteReturns6AndIsNotRepeated)
{
    int writes = 0;
    const Interpose failing(interposed::write, [&](int, const void*, size_t) {
        ++writes;
        errno = EINTR;
        return -1;
    });
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 6);
    EXPECT_EQ(writes, 1);
}

TEST_F(ZTPowerManagementEndPointTest, ADaemonThatDroppedTheConnectionGetsTheRecordOnANewOne)
{
    daemon.accept();
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_EQ(daemon.accept()->receive(), record);
}

TEST_F(ZTPowerManagementEndPointTest, ADaemonThatDoesNotReadLetsTheSocketFillUpAndReturns7)
{
    const auto client = daemon.accept();
    fcntl(endPoint.getWriteEndPointID(), F_SETFL, O_NONBLOCK);
    std::string flood(100000, 'x');
    while (write(endPoint.getWriteEndPointID(), &flood[0], flood.size()) > 0) {
    }
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 7);
}

TEST_F(ZTPowerManagementEndPointTest, AHangUpBetweenPollAndWriteRaisesSIGPIPE)
{
    daemon.accept();
    const ScriptedPoll poll({events(POLLOUT), events(POLLOUT)});
    signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 6);
    EXPECT_EXIT(
        {
            signal(SIGPIPE, SIG_DFL);
            endPoint.sendMessage(&record[0]);
        },
        testing::KilledBySignal(SIGPIPE), "");
}

TEST_F(ZTPowerManagementEndPointTest, WorksWithADescriptorBeyondTheSizeOfAnFdSet)
{
    daemon.accept();
    const HighDescriptors used;
    EXPECT_EQ(endPoint.init(), 0);
    const auto client = daemon.accept();
    EXPECT_EQ(endPoint.sendMessage(&record[0]), 0);
    EXPECT_EQ(client->receive(), record);
}
