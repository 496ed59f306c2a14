#include "zt/ZTHealthManagement.h"

#include "support/FakeDaemon.h"
#include "support/Interpose.h"
#include "zt/zthmd_msg.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

using namespace ZT;

namespace {

const unsigned char UNTOUCHED[] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5};

// The caller's memory, in which the value stands unaligned.
struct Data {
    Data() { std::memcpy(bytes, UNTOUCHED, sizeof bytes); }

    void* value() { return bytes; }

    std::string text() const { return {reinterpret_cast<const char*>(bytes), sizeof bytes}; }

    char before = 0;
    unsigned char bytes[sizeof UNTOUCHED];
};

std::string untouched()
{
    return Data().text();
}

RecordBytes healthRecord(unsigned int type)
{
    return RecordBytes(type, 36);
}

// A command as it must travel.
struct Row {
    unsigned int command;
    unsigned int requestType;
    std::string requestPayload;
    unsigned int replyType;
    std::size_t replySize;
};

std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    return stream << "command " << row.command;
}

const Row ROWS[] = {
    {20, 20, "", 21, 1}, {25, 25, "\xA1", 21, 1},
    {26, 26, "", 28, 1}, {27, 27, "\xA1", 28, 1},
    {29, 29, "", 31, 1}, {30, 30, "\xA1", 31, 1},
    {32, 36, "", 38, 4}, {33, 37, "\xA1\xA2\xA3\xA4", 38, 4},
};

class EveryCommand : public testing::TestWithParam<Row> {
protected:
    ZTHealthManagementCommand command() const
    {
        return static_cast<ZTHealthManagementCommand>(GetParam().command);
    }

    std::string request() const
    {
        return healthRecord(GetParam().requestType).put(4, GetParam().requestPayload);
    }

    FakeHealthDaemon daemon;
    Data data;
};

// Every bit of the payload differs from those of the request.
std::string reply(unsigned int type)
{
    return healthRecord(type).put(4, "\x5E\x5D\x5C\x5B\x5A");
}

int send(ZTHealthManagementCommand command, Data& data, bool waitForReply = true)
{
    return ZTHealthManagement::sendMessage(command, data.value(), waitForReply);
}

// The descriptors that were opened as sockets and those that were closed.
class SocketRecorder {
public:
    std::vector<int> opened;
    std::vector<int> closed;

private:
    const Interpose<int(int, int, int)> openRecorder{
        interposed::socket, [this](int domain, int type, int protocol) {
            EXPECT_EQ(domain, AF_UNIX);
            EXPECT_EQ(type, SOCK_STREAM);
            EXPECT_EQ(protocol, 0);
            opened.push_back(interposed::socket.real(domain, type, protocol));
            return opened.back();
        }};
    const Interpose<int(int)> closeRecorder{interposed::close, [this](int descriptor) {
                                                closed.push_back(descriptor);
                                                return interposed::close.real(descriptor);
                                            }};
};

int fail(int error)
{
    errno = error;
    return -1;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(ZTHealthManagement, EveryCommand, testing::ValuesIn(ROWS),
                         [](const auto& info) { return std::to_string(info.param.command); });

TEST_P(EveryCommand, TravelsAsItsRequestAndTakesItsReply)
{
    Answer answer(daemon, reply(GetParam().replyType));
    EXPECT_EQ(send(command(), data), 0);
    EXPECT_EQ(answer.request(), request());
    std::string expected = untouched();
    expected.replace(0, GetParam().replySize, "\x5E\x5D\x5C\x5B", GetParam().replySize);
    EXPECT_EQ(data.text(), expected);
}

TEST_P(EveryCommand, AReplyOfAnotherTypeReturns1AndLeavesTheDataUnchanged)
{
    for (const unsigned int type : {GetParam().requestType, 0U, 21U, 28U, 31U, 38U}) {
        if (type != GetParam().replyType) {
            const Answer answer(daemon, reply(type));
            EXPECT_EQ(send(command(), data), 1) << type;
            EXPECT_EQ(data.text(), untouched());
        }
    }
}

TEST_P(EveryCommand, WithoutWaitingForTheReplyItIsSentAndTheConnectionIsClosed)
{
    const Interpose noRecv(interposed::recv, [](auto...) -> ssize_t {
        ADD_FAILURE();
        return -1;
    });
    EXPECT_EQ(send(command(), data, false), 0);
    const auto client = daemon.accept();
    EXPECT_EQ(client->receive(), request());
    EXPECT_EQ(client->receive(), "") << "closed";
    EXPECT_EQ(data.text(), untouched());
}

TEST(ZTHealthManagement, AGetCommandThatDoesNotWaitNeedsNoData)
{
    FakeHealthDaemon daemon;
    EXPECT_EQ(ZTHealthManagement::sendMessage(COMMAND_20, nullptr, false), 0);
    EXPECT_EQ(daemon.accept()->receive(), std::string(healthRecord(20)));
}

TEST(ZTHealthManagement, AnyOtherCommandReturns11WithoutASocket)
{
    const Interpose noSocket(interposed::socket, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    for (const unsigned int command :
         {0U, 1U, 19U, 21U, 22U, 23U, 24U, 28U, 31U, 34U, 36U, 37U, 276U, 4294967295U}) {
        EXPECT_EQ(ZTHealthManagement::sendMessage(static_cast<ZTHealthManagementCommand>(command),
                                                  nullptr, true),
                  11)
            << command;
    }
}

TEST(ZTHealthManagement, AnObjectSendsAsWell)
{
    FakeHealthDaemon daemon;
    const Answer answer(daemon, reply(21));
    const ZTHealthManagement health;
    Data data;
    EXPECT_EQ(health.sendMessage(COMMAND_20, data.value(), true), 0);
}

TEST(ZTHealthManagement, ConnectsToTheDaemonsPathWithTheWholeAddress)
{
    std::string address;
    const Interpose recorder(interposed::connect, [&](int, const sockaddr* to, socklen_t size) {
        address.assign(reinterpret_cast<const char*>(to), size);
        return fail(ECONNREFUSED);
    });
    Data data;
    EXPECT_EQ(send(COMMAND_20, data), 14);
    std::string expected(110, '\0');
    expected[0] = AF_UNIX;
    expected.replace(2, 18, "/var/run/zthmd_api");
    EXPECT_EQ(address, expected);
}

TEST(ZTHealthManagement, WithoutADaemonReturns14AndClosesTheSocket)
{
    const SocketRecorder sockets;
    Data data;
    EXPECT_EQ(send(COMMAND_25, data), 14);
    EXPECT_EQ(send(COMMAND_25, data, false), 14);
    EXPECT_EQ(sockets.opened.size(), 2U);
    EXPECT_EQ(sockets.closed, sockets.opened);
    EXPECT_EQ(data.text(), untouched());
}

TEST(ZTHealthManagement, WithoutASocketReturns14AndClosesNothing)
{
    const FakeHealthDaemon daemon;
    const Interpose refused(interposed::socket, [](auto...) { return fail(EMFILE); });
    const Interpose noClose(interposed::close, [](int) {
        ADD_FAILURE();
        return -1;
    });
    Data data;
    EXPECT_EQ(send(COMMAND_20, data), 14);
}

TEST(ZTHealthManagement, AConnectionThatGetsTheDescriptor0IsUsedAndClosedToo)
{
    std::vector<int> calls;
    const auto note = [&](int descriptor, auto...) {
        calls.push_back(descriptor);
        return 0;
    };
    const Interpose creating(interposed::socket, [](auto...) { return 0; });
    const Interpose connecting(interposed::connect, note);
    const Interpose sending(interposed::send, note);
    const Interpose closing(interposed::close, note);
    Data data;
    EXPECT_EQ(send(COMMAND_20, data, false), 0);
    EXPECT_EQ(calls, (std::vector<int>{0, 0, 0}));
}

TEST(ZTHealthManagement, AFailedSendReturns7AndIsNotRepeated)
{
    const FakeHealthDaemon daemon;
    const SocketRecorder sockets;
    int sends = 0;
    const Interpose failing(interposed::send,
                            [&](int descriptor, const void*, size_t size, int flags) -> ssize_t {
                                ++sends;
                                EXPECT_EQ(descriptor, sockets.opened.back());
                                EXPECT_EQ(size, 36U);
                                EXPECT_EQ(flags, 0);
                                return fail(EINTR);
                            });
    Data data;
    EXPECT_EQ(send(COMMAND_25, data), 7);
    EXPECT_EQ(send(COMMAND_25, data, false), 7);
    EXPECT_EQ(sends, 2);
    EXPECT_EQ(sockets.closed, sockets.opened);
    EXPECT_EQ(data.text(), untouched());
}

TEST(ZTHealthManagement, AShortSendIsNotNoticed)
{
    FakeHealthDaemon daemon;
    const Interpose partial(interposed::send,
                            [](int descriptor, const void* data, size_t, int flags) {
                                return interposed::send.real(descriptor, data, 10, flags);
                            });
    Data data;
    EXPECT_EQ(send(COMMAND_25, data, false), 0);
    EXPECT_EQ(daemon.accept()->receive(),
              std::string(healthRecord(25).put(4, "\xA1")).substr(0, 10));
}

TEST(ZTHealthManagement, AFailedReceiveReturns8AndIsNotRepeated)
{
    const FakeHealthDaemon daemon;
    const SocketRecorder sockets;
    int receives = 0;
    const Interpose failing(interposed::recv,
                            [&](int descriptor, void*, size_t size, int flags) -> ssize_t {
                                ++receives;
                                EXPECT_EQ(descriptor, sockets.opened.back());
                                EXPECT_EQ(size, 36U);
                                EXPECT_EQ(flags, 0);
                                return fail(EINTR);
                            });
    Data data;
    EXPECT_EQ(send(COMMAND_20, data), 8);
    EXPECT_EQ(receives, 1);
    EXPECT_EQ(sockets.closed, sockets.opened);
    EXPECT_EQ(data.text(), untouched());
}

TEST(ZTHealthManagement, EveryExchangeClosesItsConnection)
{
    FakeHealthDaemon daemon;
    const SocketRecorder sockets;
    const auto client = [&] {
        std::thread asker([] {
            Data data;
            EXPECT_EQ(send(COMMAND_20, data), 0);
        });
        auto connection = daemon.accept();
        connection->receive();
        connection->send(reply(21));
        asker.join();
        return connection;
    }();
    EXPECT_EQ(client->receive(), "") << "closed";
    EXPECT_THAT(sockets.closed, testing::Contains(sockets.opened.front()));
}

TEST(ZTHealthManagement, TheConnectionIsInheritedByPrograms)
{
    FakeHealthDaemon daemon;
    int sends = 0;
    const Interpose looking(interposed::send,
                            [&](int descriptor, const void* bytes, size_t size, int flags) {
                                ++sends;
                                EXPECT_EQ(fcntl(descriptor, F_GETFD), 0) << "not close-on-exec";
                                return interposed::send.real(descriptor, bytes, size, flags);
                            });
    {
        const Answer answer(daemon, reply(21));
        Data data;
        EXPECT_EQ(send(COMMAND_20, data), 0);
    }
    {
        const Answer answer(daemon, reply(21));
        zthmd_msg_t record{};
        EXPECT_EQ(sendCommandToHealthDaemon(&record), 0);
    }
    EXPECT_EQ(sends, 2);
}

TEST(ZTHealthManagement, WaitsForASilentDaemonUntilItAnswers)
{
    FakeHealthDaemon daemon;
    Data data;
    std::atomic<bool> returned{false};
    std::thread asker([&] {
        EXPECT_EQ(send(COMMAND_20, data), 0);
        returned = true;
    });
    const auto client = daemon.accept();
    client->receive();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(returned);
    client->send(reply(21));
    asker.join();
    EXPECT_EQ(data.bytes[0], 0x5E);
}

TEST(ZTHealthManagement, ADaemonThatHangsUpWithoutAnAnswerGives1)
{
    FakeHealthDaemon daemon;
    const Answer hangUp(daemon, "");
    Data data;
    EXPECT_EQ(send(COMMAND_20, data), 1);
    EXPECT_EQ(data.text(), untouched());
}

TEST(ZTHealthManagement, ADaemonThatHangsUpBeforeItReadsTheRequestGives8)
{
    FakeHealthDaemon daemon;
    const Interpose sender(
        interposed::send, [&](int descriptor, const void* bytes, size_t size, int flags) {
            const ssize_t count = interposed::send.real(descriptor, bytes, size, flags);
            daemon.accept();
            return count;
        });
    Data data;
    EXPECT_EQ(send(COMMAND_20, data), 8);
}

TEST(ZTHealthManagement, AShortReplyOverlaysTheRequest)
{
    FakeHealthDaemon daemon;
    {
        const Answer typeOnly(daemon, reply(21).substr(0, 4));
        Data data;
        EXPECT_EQ(send(COMMAND_20, data), 0);
        EXPECT_EQ(data.bytes[0], 0);
    }
    {
        const Answer typeOnly(daemon, reply(21).substr(0, 4));
        Data data;
        EXPECT_EQ(send(COMMAND_25, data), 0);
        EXPECT_EQ(data.text(), untouched()) << "what was to be set";
    }
    {
        const Answer halfAValue(daemon, reply(38).substr(0, 6));
        Data data;
        EXPECT_EQ(send(COMMAND_32, data), 0);
        EXPECT_EQ(data.text(), std::string("\x5E\x5D\0\0\xA5", 5));
    }
    {
        const Answer lowestByteOfTheType(daemon, "\x26");
        Data data;
        EXPECT_EQ(send(COMMAND_33, data), 0);
        EXPECT_EQ(data.text(), untouched());
    }
}

TEST(ZTHealthManagement, SendingToADaemonThatHasHungUpRaisesSIGPIPE)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto sendTooLate = [](int (*exchange)()) {
        FakeHealthDaemon daemon;
        const Interpose connecter(
            interposed::connect, [&](int descriptor, const sockaddr* to, socklen_t size) {
                const int result = interposed::connect.real(descriptor, to, size);
                daemon.accept();
                return result;
            });
        return exchange();
    };
    const auto message = [] {
        Data data;
        return send(COMMAND_20, data);
    };
    const auto command = [] {
        zthmd_msg_t record{};
        return sendCommandToHealthDaemon(&record);
    };
    signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(sendTooLate(message), 7);
    EXPECT_EQ(sendTooLate(command), 1);
    signal(SIGPIPE, SIG_DFL);
    EXPECT_EXIT(sendTooLate(message), testing::KilledBySignal(SIGPIPE), "");
    EXPECT_EXIT(sendTooLate(command), testing::KilledBySignal(SIGPIPE), "");
}

namespace {

// Every byte of it differs from the answers.
zthmd_msg_t someRequest()
{
    zthmd_msg_t message{};
    message.type = 0x01020304;
    std::memcpy(message.text, "abcdefghijklmnopqrstuvwxyz012345", 32);
    return message;
}

std::string bytesOf(const zthmd_msg_t& message)
{
    return {reinterpret_cast<const char*>(&message), sizeof message};
}

std::string someReply()
{
    return healthRecord(0x11121314).put(4, "ABCDEFGHIJKLMNOPQRSTUVWXYZ98765!");
}

} // namespace

TEST(SendCommandToHealthDaemon, SendsTheRecordAndTakesTheReplyWhole)
{
    FakeHealthDaemon daemon;
    Answer answer(daemon, someReply());
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 0);
    EXPECT_EQ(answer.request(), bytesOf(someRequest()));
    EXPECT_EQ(bytesOf(message), someReply());
}

TEST(SendCommandToHealthDaemon, AShortReplyOverlaysTheBeginningOfTheRequest)
{
    FakeHealthDaemon daemon;
    const Answer answer(daemon, someReply().substr(0, 7));
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 0);
    EXPECT_EQ(bytesOf(message), someReply().substr(0, 7) + bytesOf(someRequest()).substr(7));
}

TEST(SendCommandToHealthDaemon, AHangUpWithoutAReplyReturns0AndLeavesTheRequest)
{
    FakeHealthDaemon daemon;
    const Answer hangUp(daemon, "");
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 0);
    EXPECT_EQ(bytesOf(message), bytesOf(someRequest()));
}

TEST(SendCommandToHealthDaemon, WithoutADaemonTheSendFailsAndReturns1)
{
    const SocketRecorder sockets;
    int sends = 0;
    const Interpose recorder(interposed::send,
                             [&](int descriptor, const void* bytes, size_t size, int flags) {
                                 ++sends;
                                 EXPECT_EQ(size, 36U);
                                 EXPECT_EQ(flags, 0);
                                 return interposed::send.real(descriptor, bytes, size, flags);
                             });
    const Interpose noRecv(interposed::recv, [](auto...) -> ssize_t {
        ADD_FAILURE();
        return -1;
    });
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 1);
    EXPECT_EQ(sends, 1);
    EXPECT_EQ(bytesOf(message), bytesOf(someRequest()));
    EXPECT_EQ(sockets.opened.size(), 1U);
    EXPECT_EQ(sockets.closed, sockets.opened);
}

TEST(SendCommandToHealthDaemon, IgnoresTheResultOfConnect)
{
    FakeHealthDaemon daemon;
    const Interpose pessimist(interposed::connect,
                              [](int descriptor, const sockaddr* to, socklen_t size) {
                                  EXPECT_EQ(size, 110U);
                                  EXPECT_EQ(interposed::connect.real(descriptor, to, size), 0);
                                  return fail(EINTR);
                              });
    const Answer answer(daemon, someReply());
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 0);
    EXPECT_EQ(bytesOf(message), someReply());
}

TEST(SendCommandToHealthDaemon, WithoutASocketReturns1)
{
    const FakeHealthDaemon daemon;
    const Interpose refused(interposed::socket, [](auto...) { return fail(EMFILE); });
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 1);
}

TEST(SendCommandToHealthDaemon, AFailedReceiveReturns1AndIsNotRepeated)
{
    const FakeHealthDaemon daemon;
    const SocketRecorder sockets;
    int receives = 0;
    const Interpose failing(interposed::recv,
                            [&](int descriptor, void*, size_t size, int flags) -> ssize_t {
                                ++receives;
                                EXPECT_EQ(descriptor, sockets.opened.back());
                                EXPECT_EQ(size, 36U);
                                EXPECT_EQ(flags, 0);
                                return fail(EINTR);
                            });
    zthmd_msg_t message = someRequest();
    EXPECT_EQ(sendCommandToHealthDaemon(&message), 1);
    EXPECT_EQ(receives, 1);
    EXPECT_EQ(sockets.closed, sockets.opened);
}

TEST(SendCommandToHealthDaemon, WaitsForASilentDaemonUntilItHangsUp)
{
    FakeHealthDaemon daemon;
    std::atomic<bool> returned{false};
    std::thread asker([&] {
        zthmd_msg_t message = someRequest();
        EXPECT_EQ(sendCommandToHealthDaemon(&message), 0);
        returned = true;
    });
    {
        const auto client = daemon.accept();
        client->receive();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_FALSE(returned);
    }
    asker.join();
}
