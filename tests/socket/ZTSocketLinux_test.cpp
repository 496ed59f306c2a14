#include "zt/ZTSocketLinux.h"

#include "Loopback.h"
#include "RecordBytes.h"
#include "support/CapturedStream.h"
#include "support/ForeignFormat.h"
#include "support/Interpose.h"
#include "zt/ZTSocketFactory.h"
#include "zt/ZTSocketMessage.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

namespace {

bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

// A system that gives out descriptors that are none, and notes what it is asked for.
class FakeSystem {
public:
    static constexpr int DESCRIPTOR = 1000;

    std::vector<std::tuple<int, int, int>> created;
    std::vector<std::tuple<int, int, int, int, socklen_t>> options;
    std::vector<std::string> addresses;
    std::vector<int> closed;
    int result = 0;
    int error = 0;

private:
    int answer() const
    {
        errno = error;
        return result;
    }

    int note(int descriptor, const sockaddr* to, socklen_t size)
    {
        EXPECT_EQ(descriptor, DESCRIPTOR);
        EXPECT_EQ(size, 16U);
        sockaddr_in address{};
        std::memcpy(&address, to, sizeof address);
        EXPECT_EQ(address.sin_family, AF_INET);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(address.sin_zero), 8), std::string(8, '\0'));
        addresses.push_back(std::string(inet_ntoa(address.sin_addr)) + ":" +
                            std::to_string(ntohs(address.sin_port)));
        return answer();
    }

    const Interpose<int(int, int, int)> socketCall{interposed::socket,
                                                   [this](int domain, int type, int protocol) {
                                                       created.emplace_back(domain, type, protocol);
                                                       return DESCRIPTOR;
                                                   }};
    const Interpose<int(int, int, int, const void*, socklen_t)> optionCall{
        interposed::setsockopt,
        [this](int descriptor, int level, int name, const void* value, socklen_t size) {
            int number = 0;
            std::memcpy(&number, value, sizeof number);
            options.emplace_back(descriptor, level, name, number, size);
            errno = EPERM;
            return -1;
        }};
    const Interpose<int(int, const sockaddr*, socklen_t)> connectCall{
        interposed::connect, [this](auto... arguments) { return note(arguments...); }};
    const Interpose<int(int, const sockaddr*, socklen_t)> bindCall{
        interposed::bind, [this](auto... arguments) { return note(arguments...); }};
    const Interpose<int(int)> closeCall{interposed::close, [this](int descriptor) {
                                            closed.push_back(descriptor);
                                            return answer();
                                        }};
};

// Lets creating a socket fail with that result and error.
Interpose<int(int, int, int)> refuse(int result, int error)
{
    return {interposed::socket, [=](auto...) {
                errno = error;
                return result;
            }};
}

class ZTSocketLinuxTest : public testing::Test {
protected:
    ~ZTSocketLinuxTest() override { EXPECT_EQ(printed(), "") << "nothing else is printed"; }

    // What was printed since the last call.
    std::string printed()
    {
        std::string text = output.text().substr(seen);
        seen += text.size();
        return text;
    }

    std::size_t seen = 0;
    CapturedStream output{std::cout};
    ZTSocketLinux socket;
    char localhost[10] = "127.0.0.1";
};

} // namespace

TEST_F(ZTSocketLinuxTest, HasNoSocketAndTheDefaultsWhenConstructed)
{
    EXPECT_EQ(socket.getSocketIdentifier(), -1);
    EXPECT_EQ(socket.getSocketDomain(), 2);
    EXPECT_EQ(socket.getSocketType(), 1);
    EXPECT_EQ(socket.getSocketProtocol(), 0);
    EXPECT_EQ(socket.getSocketMaxQueuedConnections(), 5);
    EXPECT_EQ(socket.getSocketOptionsLevel(), 1);
    EXPECT_EQ(socket.getSocketOptionsName(), 2);
}

TEST_F(ZTSocketLinuxTest, TakesAnyNumber)
{
    socket.setSocketDomain(-1);
    socket.setSocketType(-2);
    socket.setSocketProtocol(-3);
    socket.setSocketMaxQueuedConnections(-4);
    socket.setSocketOptionsLevel(-5);
    socket.setSocketOptionsName(-6);
    EXPECT_EQ(socket.getSocketDomain(), -1);
    EXPECT_EQ(socket.getSocketType(), -2);
    EXPECT_EQ(socket.getSocketProtocol(), -3);
    EXPECT_EQ(socket.getSocketMaxQueuedConnections(), -4);
    EXPECT_EQ(socket.getSocketOptionsLevel(), -5);
    EXPECT_EQ(socket.getSocketOptionsName(), -6);
}

TEST_F(ZTSocketLinuxTest, ResetSocketRestoresEverythingButTheIdentifierAndReturns1)
{
    FakeSystem system;
    char other[] = "10.1.2.3";
    socket.setSocketDomain(30);
    socket.setSocketType(31);
    socket.setSocketProtocol(32);
    socket.setSocketMaxQueuedConnections(33);
    socket.setSocketOptionsLevel(34);
    socket.setSocketOptionsName(35);
    socket.connectSocket(other, 99);
    EXPECT_EQ(socket.resetSocket(), 1);
    EXPECT_EQ(socket.getSocketIdentifier(), FakeSystem::DESCRIPTOR);
    EXPECT_EQ(socket.getSocketDomain(), 2);
    EXPECT_EQ(socket.getSocketType(), 1);
    EXPECT_EQ(socket.getSocketProtocol(), 0);
    EXPECT_EQ(socket.getSocketMaxQueuedConnections(), 5);
    EXPECT_EQ(socket.getSocketOptionsLevel(), 1);
    EXPECT_EQ(socket.getSocketOptionsName(), 2);
    socket.connectSocket();
    EXPECT_THAT(system.addresses, ElementsAre("10.1.2.3:99", "127.0.0.1:15000"));
    EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(ZTSocketLinuxTest, ResetSocketLeavesNothingOfAPeersAddress)
{
    FakeSystem system;
    const Interpose accepting(interposed::accept, [](int, sockaddr* from, socklen_t*) {
        std::memset(from, 0xff, 16);
        return 33;
    });
    socket.acceptSocket();
    socket.resetSocket();
    socket.connectSocket();
    EXPECT_THAT(system.addresses, ElementsAre("127.0.0.1:15000"));
}

TEST_F(ZTSocketLinuxTest, InitSocketIsTheVirtualResetSocket)
{
    class Resetting : public ZTSocketLinux {
    public:
        int resetSocket() override { return 17; }
    } resetting;
    EXPECT_EQ(resetting.initSocket(), 17);
    EXPECT_EQ(socket.initSocket(), 1);
}

TEST_F(ZTSocketLinuxTest, CreateSocketSetsOneOptionWhetherTheSystemAcceptsItOrNot)
{
    FakeSystem system;
    EXPECT_EQ(socket.createSocket(), FakeSystem::DESCRIPTOR);
    EXPECT_EQ(socket.getSocketIdentifier(), FakeSystem::DESCRIPTOR);
    EXPECT_THAT(system.created, ElementsAre(std::make_tuple(2, 1, 0)));
    EXPECT_THAT(system.options, ElementsAre(std::make_tuple(1000, 1, 2, 1, 4U)));
}

TEST_F(ZTSocketLinuxTest, CreateSocketPassesOnWhatWasSet)
{
    FakeSystem system;
    socket.setSocketDomain(30);
    socket.setSocketType(31);
    socket.setSocketProtocol(32);
    socket.setSocketOptionsLevel(34);
    socket.setSocketOptionsName(35);
    socket.createSocket();
    EXPECT_THAT(system.created, ElementsAre(std::make_tuple(30, 31, 32)));
    EXPECT_THAT(system.options, ElementsAre(std::make_tuple(1000, 34, 35, 1, 4U)));
}

TEST_F(ZTSocketLinuxTest, CreateSocketThatFailsPrintsTheReasonAndItsNumber)
{
    FakeSystem system;
    const auto refused = refuse(-1, EMFILE);
    EXPECT_EQ(socket.createSocket(), -1);
    EXPECT_EQ(errno, EMFILE);
    EXPECT_EQ(socket.getSocketIdentifier(), -1);
    EXPECT_EQ(printed(), "Create error: Too many open files (24)\n");
    EXPECT_EQ(output.flushes(), 1);
    EXPECT_THAT(system.options, IsEmpty());
}

TEST_F(ZTSocketLinuxTest, AnIdentifierOf0IsAFailureAndIsNeverClosed)
{
    FakeSystem system;
    const auto refused = refuse(0, ENFILE);
    EXPECT_EQ(socket.createSocket(), 0);
    EXPECT_EQ(socket.getSocketIdentifier(), 0);
    EXPECT_EQ(printed(), "Create error: Too many open files in system (23)\n");
    EXPECT_THAT(system.options, IsEmpty());
    EXPECT_EQ(socket.closeSocket(), 0);
    EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(ZTSocketLinuxTest, ConnectsAndBindsTo127001Port15000UnlessToldOtherwise)
{
    FakeSystem system;
    EXPECT_EQ(socket.connectSocket(), 0);
    EXPECT_EQ(socket.bindSocket(), 0);
    EXPECT_THAT(system.addresses, ElementsAre("127.0.0.1:15000", "127.0.0.1:15000"));
}

TEST_F(ZTSocketLinuxTest, ConnectingAndBindingWithoutASocketOnlySaysSo)
{
    FakeSystem system;
    for (const int identifier : {-1, 0}) {
        const auto refused = refuse(identifier, EMFILE);
        EXPECT_EQ(socket.connectSocket(), -1);
        EXPECT_EQ(printed(), "Create error: Too many open files (24)\n");
        EXPECT_EQ(socket.bindSocket(), 0);
        EXPECT_EQ(printed(), "Create error: Too many open files (24)\n");
    }
    EXPECT_THAT(system.addresses, IsEmpty());
}

TEST_F(ZTSocketLinuxTest, ConnectThatFailsPrintsWhereToAndKeepsTheSocket)
{
    ZTSocketLinux nobody;
    nobody.bindSocket(localhost, 0);
    const unsigned int port = portOf(nobody.getSocketIdentifier());
    EXPECT_EQ(socket.connectSocket(localhost, port), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(printed(),
              "Connect error: Connection refused for 127.0.0.1:" + std::to_string(port) + "\n");
    EXPECT_EQ(output.flushes(), 1);
    EXPECT_GE(socket.getSocketIdentifier(), 1);
    EXPECT_TRUE(isOpen(socket.getSocketIdentifier()));
}

TEST_F(ZTSocketLinuxTest, ConnectReturnsWhatTheSystemReturns)
{
    FakeSystem system;
    system.result = 5;
    EXPECT_EQ(socket.connectSocket(), 5);
}

TEST_F(ZTSocketLinuxTest, BindThatFailsPrintsWhereToAndReturns0)
{
    const Loopback used;
    EXPECT_EQ(socket.bindSocket(localhost, used.port), 0);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(printed(), "Bind error: Address already in use for 127.0.0.1:" +
                             std::to_string(used.port) + "\n");
    EXPECT_EQ(output.flushes(), 1);
    EXPECT_TRUE(isOpen(socket.getSocketIdentifier()));
}

TEST_F(ZTSocketLinuxTest, BindOfADefaultSocketNamesPort15000)
{
    FakeSystem system;
    system.result = -1;
    system.error = EADDRINUSE;
    EXPECT_EQ(socket.bindSocket(), 0);
    EXPECT_EQ(printed(), "Bind error: Address already in use for 127.0.0.1:15000\n");
}

TEST_F(ZTSocketLinuxTest, StoresTheAddressAndTheLowSixteenBitsOfThePort)
{
    FakeSystem system;
    char address[] = "10.1.2.3";
    EXPECT_EQ(socket.connectSocket(address, 65535), 0);
    EXPECT_EQ(socket.bindSocket(localhost, 0x12340050), 0);
    socket.connectSocket();
    EXPECT_THAT(system.addresses, ElementsAre("10.1.2.3:65535", "127.0.0.1:80", "127.0.0.1:80"));
}

TEST_F(ZTSocketLinuxTest, AnInvalidAddressLeavesTheOneBefore)
{
    FakeSystem system;
    char address[] = "10.1.2.3";
    char invalid[] = "10.1.2.256";
    char empty[] = "";
    socket.connectSocket(invalid, 1);
    socket.connectSocket(address, 2);
    socket.connectSocket(invalid, 3);
    socket.bindSocket(empty, 4);
    EXPECT_THAT(system.addresses,
                ElementsAre("127.0.0.1:1", "10.1.2.3:2", "10.1.2.3:3", "10.1.2.3:4"));
}

TEST_F(ZTSocketLinuxTest, AnAddressMayHaveFewerNumbersAndOctalOnes)
{
    FakeSystem system;
    char shortForm[] = "127.1";
    char octal[] = "010.0.0.1";
    socket.connectSocket(shortForm, 1);
    socket.bindSocket(octal, 2);
    EXPECT_THAT(system.addresses, ElementsAre("127.0.0.1:1", "8.0.0.1:2"));
}

TEST_F(ZTSocketLinuxTest, TheFormsWithAnAddressCallTheVirtualOnesWithout)
{
    class Overriding : public ZTSocketLinux {
    public:
        using ZTSocketLinux::bindSocket;
        using ZTSocketLinux::connectSocket;

        int connectSocket() override { return 21; }
        int bindSocket() override { return 22; }
    } overriding;
    EXPECT_EQ(overriding.connectSocket(localhost, 1), 21);
    EXPECT_EQ(overriding.bindSocket(localhost, 1), 22);
}

TEST_F(ZTSocketLinuxTest, EachConnectAndBindCreatesASocketAndLeavesTheOneBefore)
{
    FakeSystem system;
    socket.connectSocket();
    socket.connectSocket();
    socket.bindSocket();
    EXPECT_EQ(system.created.size(), 3U);
    EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(ZTSocketLinuxTest, ListensWithTheNumberOfQueuedConnections)
{
    FakeSystem system;
    socket.createSocket();
    std::vector<std::pair<int, int>> calls;
    const Interpose listening(interposed::listen, [&](int descriptor, int backlog) {
        calls.emplace_back(descriptor, backlog);
        return 6;
    });
    EXPECT_EQ(socket.listenSocket(), 6);
    socket.setSocketMaxQueuedConnections(9);
    EXPECT_EQ(socket.listenSocket(), 6);
    EXPECT_THAT(calls, ElementsAre(std::make_pair(1000, 5), std::make_pair(1000, 9)));
}

TEST_F(ZTSocketLinuxTest, ListeningAndAcceptingWithoutASocketPrintTheReason)
{
    EXPECT_EQ(socket.listenSocket(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(printed(), "Listen error: Bad file descriptor\n");
    EXPECT_EQ(output.flushes(), 1);
    EXPECT_EQ(socket.acceptSocket(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(printed(), "Accept error: Bad file descriptor\n");
    EXPECT_EQ(output.flushes(), 2);
}

TEST_F(ZTSocketLinuxTest, WhatASignalInterruptsFailsAndIsNotRepeated)
{
    FakeSystem system;
    socket.createSocket();
    system.result = -1;
    system.error = EINTR;
    EXPECT_EQ(socket.connectSocket(), -1);
    EXPECT_EQ(printed(), "Connect error: Interrupted system call for 127.0.0.1:15000\n");
    EXPECT_EQ(system.addresses.size(), 1U);
    int calls = 0;
    const auto interrupted = [&](auto...) {
        ++calls;
        errno = EINTR;
        return -1;
    };
    const Interpose accepting(interposed::accept, interrupted);
    const Interpose sending(interposed::send, interrupted);
    const Interpose receiving(interposed::recv, interrupted);
    int number = 0;
    EXPECT_EQ(socket.acceptSocket(), -1);
    EXPECT_EQ(printed(), "Accept error: Interrupted system call\n");
    EXPECT_EQ(socket.sendSocketData(55, &number, 4), -1);
    EXPECT_EQ(printed(), "\tError sending: Interrupted system call\n");
    EXPECT_EQ(socket.sendSocketData(&number, 4), -1);
    EXPECT_EQ(socket.receiveSocketData(55, &number, 4), -1);
    EXPECT_EQ(printed(), "\tError recv: Interrupted system call\n");
    EXPECT_EQ(socket.receiveSocketData(&number, 4), -1);
    EXPECT_EQ(printed(), "\tError recv2: Interrupted system call\n");
    EXPECT_EQ(calls, 5);
}

TEST_F(ZTSocketLinuxTest, AcceptingOverwritesTheStoredAddress)
{
    FakeSystem system;
    socket.createSocket();
    const Interpose accepting(interposed::accept,
                              [](int descriptor, sockaddr* from, socklen_t* size) {
                                  EXPECT_EQ(descriptor, 1000);
                                  EXPECT_EQ(*size, 16U);
                                  sockaddr_in peer{};
                                  peer.sin_family = AF_INET;
                                  peer.sin_port = htons(4321);
                                  inet_aton("10.9.8.7", &peer.sin_addr);
                                  std::memcpy(from, &peer, sizeof peer);
                                  return 33;
                              });
    EXPECT_EQ(socket.acceptSocket(), 33);
    EXPECT_EQ(socket.getSocketIdentifier(), 1000);
    socket.connectSocket();
    EXPECT_THAT(system.addresses, ElementsAre("10.9.8.7:4321"));
}

TEST_F(ZTSocketLinuxTest, SendsWithoutRaisingSIGPIPE)
{
    FakeSystem system;
    socket.createSocket();
    int number = 0;
    std::vector<std::tuple<int, const void*, std::size_t, int>> calls;
    const Interpose sending(interposed::send, [&](auto... arguments) {
        calls.emplace_back(arguments...);
        return 3;
    });
    EXPECT_EQ(socket.sendSocketData(55, &number, 4), 3);
    EXPECT_EQ(socket.sendSocketData(&number, 2), 3);
    EXPECT_THAT(calls, ElementsAre(std::make_tuple(55, &number, 4U, MSG_NOSIGNAL),
                                   std::make_tuple(1000, &number, 2U, MSG_NOSIGNAL)));
}

TEST_F(ZTSocketLinuxTest, SendingToAnIdentifierPrintsAFailureAndSendingOnTheOwnDoesNot)
{
    int number = 0;
    EXPECT_EQ(socket.sendSocketData(&number, 4), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(socket.sendSocketData(4294967295U, &number, 4), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(printed(), "\tError sending: Bad file descriptor\n");
    EXPECT_EQ(output.flushes(), 1);
}

TEST_F(ZTSocketLinuxTest, ReceivesWithoutFlags)
{
    FakeSystem system;
    socket.createSocket();
    int number = 0;
    std::vector<std::tuple<int, void*, std::size_t, int>> calls;
    const Interpose receiving(interposed::recv, [&](auto... arguments) {
        calls.emplace_back(arguments...);
        return 3;
    });
    EXPECT_EQ(socket.receiveSocketData(55, &number, 4), 3);
    EXPECT_EQ(socket.receiveSocketData(&number, 2), 3);
    EXPECT_THAT(calls, ElementsAre(std::make_tuple(55, &number, 4U, 0),
                                   std::make_tuple(1000, &number, 2U, 0)));
}

TEST_F(ZTSocketLinuxTest, ReceivingThatFailsPrintsTheReason)
{
    int number = 0;
    EXPECT_EQ(socket.receiveSocketData(4294967295U, &number, 4), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(printed(), "\tError recv: Bad file descriptor\n");
    EXPECT_EQ(output.flushes(), 1);
    EXPECT_EQ(socket.receiveSocketData(&number, 4), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(printed(), "\tError recv2: Bad file descriptor\n");
    EXPECT_EQ(output.flushes(), 2);
}

TEST_F(ZTSocketLinuxTest, ReceivingIntoACallersBufferWithoutASocketReturnsMinus1Silently)
{
    char buffer[1500];
    char* bytes = buffer;
    EXPECT_EQ(socket.receiveSocketData(bytes), -1);
    const auto refused = refuse(0, ENFILE);
    socket.createSocket();
    printed();
    EXPECT_EQ(socket.receiveSocketData(bytes), -1);
    int status = 0;
    EXPECT_EQ(socket.getNextSocketBuffer(status, 0), nullptr);
    EXPECT_EQ(status, 4);
}

TEST_F(ZTSocketLinuxTest, ClosingWithoutASocketOrWith0DoesNothing)
{
    const FakeSystem system;
    EXPECT_EQ(socket.closeSocket(), 0);
    EXPECT_EQ(socket.closeSocket(0), 0);
    EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(ZTSocketLinuxTest, ClosingKeepsTheIdentifierButDoesNotCloseItAgain)
{
    FakeSystem system;
    {
        ZTSocketLinux closed;
        closed.createSocket();
        system.result = -1;
        EXPECT_EQ(closed.closeSocket(), 0);
        EXPECT_EQ(closed.getSocketIdentifier(), 1000);
        EXPECT_EQ(closed.closeSocket(), 0);
    }
    EXPECT_THAT(system.closed, ElementsAre(1000));
}

TEST_F(ZTSocketLinuxTest, TheDestructorClosesTheSocket)
{
    const FakeSystem system;
    std::make_unique<ZTSocketLinux>()->createSocket();
    EXPECT_THAT(system.closed, ElementsAre(1000));
}

TEST_F(ZTSocketLinuxTest, ClosingOneOfOthersLeavesTheOwnSocketOpen)
{
    const FakeSystem system;
    {
        ZTSocketLinux open;
        open.createSocket();
        EXPECT_EQ(open.closeSocket(55), 0);
        EXPECT_EQ(open.closeSocket(55), 0) << "it is the caller's";
    }
    EXPECT_THAT(system.closed, ElementsAre(55, 55, 1000));
}

TEST_F(ZTSocketLinuxTest, ClosingOneOfOthersWithoutAnOwnSocketLeavesNothingToClose)
{
    const FakeSystem system;
    {
        ZTSocketLinux closed;
        EXPECT_EQ(closed.closeSocket(55), 0);
        EXPECT_EQ(closed.closeSocket(), 0);
    }
    EXPECT_THAT(system.closed, ElementsAre(55));
}

TEST_F(ZTSocketLinuxTest, ClosingTheOwnSocketByItsIdentifierClosesItOnce)
{
    const FakeSystem system;
    {
        ZTSocketLinux closed;
        closed.createSocket();
        EXPECT_EQ(closed.closeSocket(1000), 0);
        EXPECT_EQ(closed.closeSocket(), 0);
    }
    EXPECT_THAT(system.closed, ElementsAre(1000));
}

TEST_F(ZTSocketLinuxTest, ASocketThatIsCreatedAfterClosingIsClosed)
{
    const FakeSystem system;
    {
        ZTSocketLinux again;
        again.createSocket();
        again.closeSocket();
        again.createSocket();
    }
    EXPECT_THAT(system.closed, ElementsAre(1000, 1000));
}

TEST_F(ZTSocketLinuxTest, AClosedIdentifierMayBelongToSomebodyElse)
{
    int other = -1;
    {
        ZTSocketLinux closed;
        closed.createSocket();
        closed.closeSocket();
        other = open("/dev/null", O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(other, closed.getSocketIdentifier());
    }
    EXPECT_TRUE(isOpen(other));
    close(other);
}

TEST_F(ZTSocketLinuxTest, ResettingThePortAndExitingReceivingDoNothing)
{
    const FakeSystem system;
    EXPECT_EQ(socket.resetSocketPort(), 0);
    EXPECT_EQ(socket.exitReceiveSocketData(), 0);
    socket.connectSocket();
    EXPECT_THAT(system.addresses, ElementsAre("127.0.0.1:15000"));
}

TEST_F(ZTSocketLinuxTest, LinesAreTheSameWhateverTheApplicationsFormat)
{
    const ForeignFormat format;
    FakeSystem system;
    system.result = -1;
    system.error = ECONNREFUSED;
    socket.connectSocket();
    EXPECT_EQ(printed(), "Connect error: Connection refused for 127.0.0.1:15000\n");
    socket.bindSocket();
    EXPECT_EQ(printed(), "Bind error: Connection refused for 127.0.0.1:15000\n");
    EXPECT_EQ(socket.receiveSocketData(4294967295U, nullptr, 0), -1);
    EXPECT_EQ(printed(), "\tError recv: Bad file descriptor\n");
    const auto refused = refuse(-1, EMFILE);
    socket.createSocket();
    EXPECT_EQ(printed(), "Create error: Too many open files (24)\n");
    EXPECT_TRUE(format.isKept());
}

TEST_F(ZTSocketLinuxTest, ALineThatCannotBeWrittenThrowsNothingAndKeepsErrno)
{
    const ThrowingOutput output;
    FakeSystem system;
    system.result = -1;
    system.error = ECONNREFUSED;
    EXPECT_EQ(socket.connectSocket(), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    const auto refused = refuse(-1, EMFILE);
    EXPECT_EQ(socket.createSocket(), -1);
    EXPECT_EQ(errno, EMFILE);
}

TEST_F(ZTSocketLinuxTest, ExchangesMessagesOverLoopback)
{
    Loopback loopback;
    ZTSocketMessage message;
    message.parameter1 = 7;
    EXPECT_EQ(loopback.client.sendSocketData(&message), 28);
    int status = -1;
    const std::unique_ptr<char[]> request(
        loopback.server.getNextSocketBuffer(status, loopback.accepted));
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ZTSocketMessage(request.get()).parameter1, 7U);

    message.parameter1 = 8;
    EXPECT_EQ(loopback.server.sendSocketData(loopback.id(), &message), 28);
    const std::unique_ptr<char[]> answer(loopback.client.getNextSocketBuffer(status, 0));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(ZTSocketMessage(answer.get()).parameter1, 8U);
}

TEST_F(ZTSocketLinuxTest, WhatIsDestroyedInAChildGoesOnInTheParent)
{
    Loopback loopback;
    auto client = std::make_unique<ZTSocketLinux>();
    ASSERT_EQ(client->connectSocket(localhost, loopback.port), 0);
    const int accepted = loopback.server.acceptSocket();
    const pid_t child = fork();
    if (child == 0) {
        client.reset();
        _exit(0);
    }
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    ZTSocketMessage message;
    EXPECT_EQ(client->sendSocketData(&message), 28);
    int status = -1;
    const std::unique_ptr<char[]> record(loopback.server.getNextSocketBuffer(status, accepted));
    EXPECT_NE(record, nullptr);
    EXPECT_EQ(status, 0);
    loopback.server.closeSocket(static_cast<unsigned int>(accepted));
}

TEST_F(ZTSocketLinuxTest, KnowsWhoConnectedLast)
{
    Loopback loopback;
    const unsigned int peer = portOf(loopback.client.getSocketIdentifier());
    const FakeSystem system;
    loopback.server.connectSocket();
    EXPECT_THAT(system.addresses, ElementsAre("127.0.0.1:" + std::to_string(peer)));
}

TEST_F(ZTSocketLinuxTest, ASocketThatDoesNotBlockSaysThatNothingHasCome)
{
    Loopback loopback;
    fcntl(loopback.accepted, F_SETFL, O_NONBLOCK);
    int status = -1;
    EXPECT_EQ(loopback.server.getNextSocketBuffer(status, loopback.accepted), nullptr);
    EXPECT_EQ(status, 17);
    EXPECT_EQ(printed(), "\tError recv: Resource temporarily unavailable\n");
    EXPECT_EQ(loopback.server.getNextSocketBuffer(status, loopback.accepted), nullptr);
    EXPECT_EQ(printed(), "\tError recv: Resource temporarily unavailable\n") << "each time";
}

TEST_F(ZTSocketLinuxTest, ASignalWhileReceivingGives4AndTheNextCallGoesOn)
{
    Loopback loopback;
    ZTSocketMessage message;
    EXPECT_EQ(loopback.client.sendSocketData(&message), 28);
    int status = -1;
    {
        const Interpose interrupted(interposed::recv, [](auto...) {
            errno = EINTR;
            return -1;
        });
        EXPECT_EQ(loopback.server.getNextSocketBuffer(status, loopback.accepted), nullptr);
        EXPECT_EQ(status, 4);
        EXPECT_EQ(printed(), "\tError recv: Interrupted system call\n");
    }
    const std::unique_ptr<char[]> record(
        loopback.server.getNextSocketBuffer(status, loopback.accepted));
    EXPECT_NE(record, nullptr);
    EXPECT_EQ(status, 0);
}

TEST_F(ZTSocketLinuxTest, APeerThatHasGoneIsToldByReceivingAndBySending)
{
    Loopback loopback;
    ZTSocketMessage message;
    loopback.client.closeSocket();
    int status = -1;
    EXPECT_EQ(loopback.server.getNextSocketBuffer(status, loopback.accepted), nullptr);
    EXPECT_EQ(status, 14);
    EXPECT_EQ(loopback.server.sendSocketData(loopback.id(), &message), 28) << "answered by a reset";
    EXPECT_EQ(loopback.server.sendSocketData(loopback.id(), &message), -1);
    EXPECT_EQ(printed(), "\tError sending: Broken pipe\n");
}

// Records in a main loop

namespace {

class ReceiveRecordsTest : public ZTSocketLinuxTest {
protected:
    // What receiving returns; the types of the records that came are kept.
    int receive(int id)
    {
        std::vector<std::unique_ptr<char[]>> records;
        const int status = loopback.server.receiveRecords(id, records);
        types.clear();
        for (const auto& record : records) {
            types.push_back(ZTSocketMessage::getMessageType(record.get()));
        }
        return status;
    }

    int receive() { return receive(loopback.accepted); }

    void send(const std::string& bytes) const
    {
        const int client = loopback.client.getSocketIdentifier();
        ASSERT_EQ(write(client, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    Loopback loopback;
    std::vector<int> types;
};

} // namespace

TEST_F(ReceiveRecordsTest, AllThatOneReadCompletesComeAtOnce)
{
    send(shortRecord(1) + shortRecord(2) + shortRecord(3).substr(0, 20));
    EXPECT_EQ(receive(), 0);
    EXPECT_THAT(types, ElementsAre(1, 2));
    send(shortRecord(3).substr(20) + shortRecord(4));
    EXPECT_EQ(receive(), 0);
    EXPECT_THAT(types, ElementsAre(3, 4));
}

TEST_F(ReceiveRecordsTest, BytesWithoutAWholeRecordGive0AndNone)
{
    send(shortRecord(1).substr(0, 20));
    EXPECT_EQ(receive(), 0);
    EXPECT_THAT(types, IsEmpty());
    EXPECT_TRUE(loopback.server.dropPartialAbove(0));
}

TEST_F(ReceiveRecordsTest, ItReadsOnceAndAtMost1500Bytes)
{
    send(record(std::string(1481, 'x')) + shortRecord(2));
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(types.size(), 1U);
    EXPECT_EQ(receive(), 0);
    EXPECT_THAT(types, ElementsAre(2));
}

TEST_F(ReceiveRecordsTest, RecordsAreAddedToThoseThatAreThere)
{
    std::vector<std::unique_ptr<char[]>> records;
    for (const std::string& bytes : {shortRecord(1), shortRecord(2)}) {
        send(bytes);
        EXPECT_EQ(loopback.server.receiveRecords(loopback.accepted, records), 0);
    }
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(ZTSocketMessage::getMessageType(records[0].get()), 1U);
    EXPECT_EQ(ZTSocketMessage::getMessageType(records[1].get()), 2U);
}

TEST_F(ReceiveRecordsTest, NothingToReadGives17WithoutWaitingOrPrinting)
{
    ASSERT_EQ(fcntl(loopback.accepted, F_GETFL) & O_NONBLOCK, 0) << "it would wait";
    EXPECT_EQ(receive(), 17);
    EXPECT_EQ(printed(), "");
}

TEST_F(ReceiveRecordsTest, APeerThatHasClosedGives14)
{
    send(shortRecord(1));
    loopback.client.closeSocket();
    EXPECT_EQ(receive(), 0);
    EXPECT_THAT(types, ElementsAre(1));
    EXPECT_EQ(receive(), 14);
    EXPECT_EQ(receive(), 14);
    EXPECT_EQ(printed(), "");
}

TEST_F(ReceiveRecordsTest, AResetGives4WithoutPrinting)
{
    const linger atOnce{1, 0};
    setsockopt(loopback.client.getSocketIdentifier(), SOL_SOCKET, SO_LINGER, &atOnce,
               sizeof atOnce);
    loopback.client.closeSocket();
    EXPECT_EQ(receive(), 4);
    EXPECT_EQ(printed(), "");
}

TEST_F(ReceiveRecordsTest, WithoutAnIdentifierItReadsFromTheOwnSocket)
{
    ZTSocketMessage message;
    message.messageType = 7;
    EXPECT_EQ(loopback.server.sendSocketData(loopback.id(), &message), 28);
    std::vector<std::unique_ptr<char[]>> records;
    EXPECT_EQ(loopback.client.receiveRecords(0, records), 0);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(ZTSocketMessage::getMessageType(records[0].get()), 7U);
    ZTSocketLinux none;
    EXPECT_EQ(none.receiveRecords(-1, records), 4);
    EXPECT_EQ(records.size(), 1U);
}

TEST_F(ReceiveRecordsTest, WhatGetNextSocketBufferHasLeftComesFirst)
{
    send(shortRecord(1) + shortRecord(2));
    int status = -1;
    const std::unique_ptr<char[]> first(
        loopback.server.getNextSocketBuffer(status, loopback.accepted));
    EXPECT_EQ(receive(), 17);
    EXPECT_THAT(types, ElementsAre(2));
}

TEST(ZTSocketFactory, MayBeMadeAndDestroyedThoughItHoldsNothing)
{
    const std::unique_ptr<ZTSocketFactory> factory = std::make_unique<ZTSocketFactory>();
    const std::unique_ptr<ZTSocket> created(factory->createSocketClass());
    EXPECT_NE(created, nullptr);
}

TEST(ZTSocketFactory, MakesASocketThatTheCallerDeletes)
{
    const std::unique_ptr<ZTSocket> created(ZTSocketFactory::createSocketClass());
    EXPECT_NE(dynamic_cast<ZTSocketLinux*>(created.get()), nullptr);
    const std::unique_ptr<ZTSocket> other(ZTSocketFactory::createSocketClass());
    EXPECT_NE(other, created);
}
