#include "zt/ZTIPCEndPoint.h"

#include "support/Diagnostics.h"
#include "support/Emulation.h"
#include "support/HighDescriptors.h"
#include "support/Interpose.h"
#include "support/Layout.h"
#include "support/LocalPeer.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/select.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using ZT::ZTIPCEndPoint;

namespace {

bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

bool isNonBlocking(int descriptor)
{
    return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0;
}

auto openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

Line failure(const std::string& text)
{
    return {1, "zt_ipc_endpoint", text};
}

// A socket that listens on a path and never accepts.
class ListeningSocket {
public:
    explicit ListeningSocket(const std::string& path, int backlog = 5)
        : descriptor(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path);
        EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(descriptor, backlog), 0);
    }

    ~ListeningSocket() { close(descriptor); }

    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

private:
    int descriptor;
};

// A call of the system that a signal interrupts, each time.
class Interrupted {
public:
    template <class Signature>
    explicit Interrupted(InterposedCall<Signature>& call)
        : taken(std::make_shared<Interpose<Signature>>(call, [this](auto...) {
              ++calls;
              errno = EINTR;
              return -1;
          }))
    {}

    Interrupted(const Interrupted&) = delete;
    Interrupted& operator=(const Interrupted&) = delete;

    int calls = 0;

private:
    const std::shared_ptr<void> taken;
};

// connect() and what it got; -1 with `error` unless that is 0.
class ScriptedConnect {
public:
    explicit ScriptedConnect(int error) : error(error) {}

    std::optional<sockaddr_un> address;
    socklen_t size = 0;

private:
    int error;
    const Interpose<int(int, const sockaddr*, socklen_t)> script{
        interposed::connect, [this](int, const sockaddr* to, socklen_t newSize) {
            address = *reinterpret_cast<const sockaddr_un*>(to);
            size = newSize;
            errno = error;
            return error == 0 ? 0 : -1;
        }};
};

using Timeout = std::pair<time_t, suseconds_t>;

// select() with an answer and what it was asked for. It leaves its sets as they are.
class ScriptedSelect {
public:
    explicit ScriptedSelect(int answer) : answer(answer) {}

    int count = -1;
    bool reading = false;
    bool writing = false;
    std::optional<Timeout> timeout;
    std::function<void(fd_set*)> change = [](fd_set*) {};

private:
    int answer;
    const Interpose<int(int, fd_set*, fd_set*, fd_set*, timeval*)> script{
        interposed::select,
        [this](int newCount, fd_set* in, fd_set* out, fd_set* except, timeval* newTimeout) {
            EXPECT_EQ(except, nullptr);
            count = newCount;
            reading = in != nullptr && FD_ISSET(newCount - 1, in);
            writing = out != nullptr && FD_ISSET(newCount - 1, out);
            timeout.reset();
            if (newTimeout != nullptr) {
                timeout.emplace(newTimeout->tv_sec, newTimeout->tv_usec);
            }
            change(in != nullptr ? in : out);
            return answer;
        }};
};

// The calls of initialize(), in order. The socket is real, the others only succeed.
class RecordedSetUp {
public:
    std::vector<std::string> calls;

private:
    int note(const std::string& call)
    {
        calls.push_back(call);
        return 0;
    }

    const Interpose<int(int, int, int)> making{
        interposed::socket, [this](int domain, int type, int protocol) {
            note("socket " + std::to_string(domain) + ' ' + std::to_string(type) + ' ' +
                 std::to_string(protocol));
            return interposed::socket.real(domain, type, protocol);
        }};
    const Interpose<int(const char*)> running{interposed::system, [this](const char* command) {
                                                  return note(std::string("system ") + command);
                                              }};
    const Interpose<int(const char*)> unlinking{interposed::unlink, [this](const char* path) {
                                                    return note(std::string("unlink ") + path);
                                                }};
    const Interpose<int(int, const sockaddr*, socklen_t)> binding{
        interposed::bind, [this](int, const sockaddr* name, socklen_t size) {
            const auto* address = reinterpret_cast<const sockaddr_un*>(name);
            EXPECT_EQ(address->sun_family, AF_UNIX);
            return note(std::string("bind ") + address->sun_path + ' ' + std::to_string(size));
        }};
};

class ZTIPCEndPointTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_THAT(diagnostics.take(), IsEmpty()); }

    // A path of so many bytes.
    std::string pathOfLength(std::size_t length) const
    {
        std::string path = folder / "";
        path.append(length - path.size(), 'n');
        return path;
    }

    const TemporaryFolder folder;
    const std::string path = folder / "socket";
    Diagnostics diagnostics;
    ZTIPCEndPoint endPoint{false};
};

class ConnectedTest : public ZTIPCEndPointTest {
protected:
    // Loses the connection with this message.
    void expectLost(int descriptor, const std::string& text)
    {
        EXPECT_THAT(diagnostics.take(), ElementsAre(failure(text)));
        expectNotConnected();
        EXPECT_FALSE(isOpen(descriptor));
    }

    // Fails with this message and keeps the connection.
    void expectKept(int descriptor, const std::string& text)
    {
        EXPECT_THAT(diagnostics.take(), ElementsAre(failure(text)));
        EXPECT_TRUE(endPoint.isConnected());
        EXPECT_EQ(endPoint.getReadEndPointID(), descriptor);
        EXPECT_TRUE(isOpen(descriptor));
    }

    void expectNotConnected()
    {
        EXPECT_FALSE(endPoint.isConnected());
        EXPECT_EQ(endPoint.getReadEndPointID(), -1);
        EXPECT_EQ(endPoint.getWriteEndPointID(), -1);
    }

    LocalPeer peer{endPoint};
    const int descriptor = endPoint.getReadEndPointID();
    OwnedMessage message{std::string("hello")};
};

} // namespace

TEST_F(ZTIPCEndPointTest, OpensNothingWhenConstructed)
{
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
    EXPECT_EQ(endPoint.getWriteEndPointID(), -1);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getEndPointAddress(), "");
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), "");
    EXPECT_EQ(endPoint.getMessageArrivalListener(), nullptr);
    EXPECT_FALSE(endPoint.autoReconnect);
    EXPECT_TRUE(ZTIPCEndPoint(true).autoReconnect);
}

// initialize() with a path

TEST_F(ZTIPCEndPointTest, InitializeBindsAndRemovesTheName)
{
    const RecordedSetUp setUp;
    EXPECT_EQ(endPoint.initialize("/a/name", false), 0);
    EXPECT_THAT(setUp.calls,
                ElementsAre("socket 1 1 0", "unlink /a/name", "bind /a/name 9", "unlink /a/name"));
    EXPECT_GE(endPoint.getReadEndPointID(), 0);
    EXPECT_EQ(endPoint.getWriteEndPointID(), endPoint.getReadEndPointID());
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getEndPointAddress(), "/a/name");
}

TEST_F(ZTIPCEndPointTest, ProgramsThatAreStartedInheritTheSocket)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    EXPECT_EQ(fcntl(endPoint.getReadEndPointID(), F_GETFD), 0);
}

TEST_F(ZTIPCEndPointTest, InitializeForAServerRemovesStaleFilesAndKeepsTheName)
{
    const RecordedSetUp setUp;
    EXPECT_EQ(endPoint.initialize("/a/name", true), 0);
    EXPECT_THAT(setUp.calls, ElementsAre("socket 1 1 0", "system rm -f /a/name*", "unlink /a/name",
                                         "bind /a/name 9"));
}

TEST_F(ZTIPCEndPointTest, TheNameIsGoneOrKeptInTheFileSystem)
{
    ASSERT_EQ(endPoint.initialize(path, false), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
    endPoint.deinitialize();
    ASSERT_EQ(endPoint.initialize(path, true), 0);
    EXPECT_TRUE(std::filesystem::is_socket(path));
    endPoint.deinitialize();
    EXPECT_TRUE(std::filesystem::is_socket(path));
}

TEST_F(ZTIPCEndPointTest, EveryFileThatBeginsWithAServersNameIsRemoved)
{
    writeAll(path, "");
    writeAll(path + ".old", "");
    writeAll(folder / "other", "");
    EXPECT_EQ(endPoint.initialize(path, true), 0);
    EXPECT_TRUE(std::filesystem::is_socket(path));
    EXPECT_FALSE(std::filesystem::exists(path + ".old"));
    EXPECT_TRUE(std::filesystem::exists(folder / "other"));
}

TEST_F(ZTIPCEndPointTest, AServersPathReachesTheShellAsItIs)
{
    const RecordedSetUp setUp;
    EXPECT_EQ(endPoint.initialize("/a b;'c\"$d", true), 0);
    EXPECT_EQ(setUp.calls[1], "system rm -f /a b;'c\"$d*");
}

TEST_F(ZTIPCEndPointTest, InitializeReplacesAFile)
{
    writeAll(path, "");
    EXPECT_EQ(endPoint.initialize(path, false), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ZTIPCEndPointTest, SecondInitializeReturns3AndKeepsTheFirst)
{
    ASSERT_EQ(endPoint.initialize(path, false), 0);
    const int descriptor = endPoint.getReadEndPointID();
    EXPECT_EQ(endPoint.initialize("", false), 3);
    EXPECT_EQ(endPoint.getReadEndPointID(), descriptor);
    EXPECT_EQ(endPoint.getEndPointAddress(), path);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("initialize() failed. EndPoint already initialized.")));
}

TEST_F(ZTIPCEndPointTest, InitializeWithoutAnAddressReturns20)
{
    const RecordedSetUp setUp;
    EXPECT_EQ(endPoint.initialize("", true), 20);
    EXPECT_THAT(setUp.calls, IsEmpty());
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("initialize() failed. endPointAddressLength is <= 0.")));
}

TEST_F(ZTIPCEndPointTest, InitializeWithoutASocketReturns3AfterRemovingStaleFiles)
{
    const RecordedSetUp setUp;
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(endPoint.initialize(path, true), 3);
    EXPECT_THAT(setUp.calls, ElementsAre("system rm -f " + path + "*"));
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
    EXPECT_EQ(endPoint.getEndPointAddress(), path);
}

TEST_F(ZTIPCEndPointTest, InitializeThatCannotBindReturns3AndClosesTheSocket)
{
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint.initialize(folder / "missing/socket", false), 3);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("initialize() bind failed.")));
    EXPECT_EQ(endPoint.initialize(path, false), 0);
}

TEST_F(ZTIPCEndPointTest, APathMayFillItsFieldWithoutANul)
{
    SKIP_UNDER_VALGRIND("it looks for the NUL of such a path behind its field");
    for (const std::size_t length : {107U, 108U}) {
        const std::string longPath = pathOfLength(length);
        EXPECT_EQ(endPoint.initialize(longPath, true), 0);
        EXPECT_TRUE(std::filesystem::is_socket(longPath)) << length;
        endPoint.deinitialize();
    }
}

TEST_F(ZTIPCEndPointTest, ALongerPathFailsToBind)
{
    const Interpose never(interposed::bind, [](auto...) {
        ADD_FAILURE();
        return 0;
    });
    for (const std::size_t length : {109U, 200U}) {
        EXPECT_EQ(endPoint.initialize(pathOfLength(length), false), 3);
        EXPECT_EQ(endPoint.getReadEndPointID(), -1);
        EXPECT_THAT(diagnostics.take(), ElementsAre(failure("initialize() bind failed.")));
    }
}

// initialize() with a connected socket

TEST_F(ZTIPCEndPointTest, InitializeTakesAConnectedSocketOver)
{
    const int taken = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(endPoint.initialize(taken, "own", "peer"), 0);
    EXPECT_EQ(endPoint.getReadEndPointID(), taken);
    EXPECT_EQ(endPoint.getWriteEndPointID(), taken);
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getEndPointAddress(), "own");
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), "peer");
    endPoint.deinitialize();
    EXPECT_FALSE(isOpen(taken));
}

TEST_F(ZTIPCEndPointTest, InitializeWithoutASocketOrAnAddressReturns20AndTakesNothing)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(endPoint.initialize(-1, "own", "peer"), 20);
    EXPECT_EQ(endPoint.initialize(descriptor, "", "peer"), 20);
    EXPECT_EQ(endPoint.initialize(descriptor, "own", ""), 20);
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getEndPointAddress(), "");
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), "");
    EXPECT_EQ(close(descriptor), 0);
}

TEST_F(ZTIPCEndPointTest, TakingASecondSocketOverClosesTheFirst)
{
    const int first = socket(AF_UNIX, SOCK_STREAM, 0);
    const int second = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(endPoint.initialize(first, "own", "peer"), 0);
    ASSERT_EQ(endPoint.initialize(second, "own", "peer"), 0);
    EXPECT_FALSE(isOpen(first));
    ASSERT_EQ(endPoint.initialize(second, "new own", "new peer"), 0);
    EXPECT_TRUE(isOpen(second));
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), "new peer");
}

// connectTo()

TEST_F(ZTIPCEndPointTest, ConnectReturns0AndLeavesTheSocketBlocking)
{
    const ListeningSocket server(path);
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    EXPECT_EQ(endPoint.connectTo(path), 0);
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), path);
    EXPECT_FALSE(isNonBlocking(endPoint.getReadEndPointID()));
}

TEST_F(ZTIPCEndPointTest, ConnectWithATimeoutMakesTheSocketNonBlockingForGood)
{
    const ListeningSocket server(path);
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    EXPECT_EQ(fcntl(endPoint.getReadEndPointID(), F_SETFL, O_APPEND), 0);
    endPoint.setConnectTimeout(0);
    EXPECT_EQ(endPoint.connectTo(path), 0);
    EXPECT_TRUE(isNonBlocking(endPoint.getReadEndPointID()));
    EXPECT_EQ(fcntl(endPoint.getReadEndPointID(), F_GETFL) & O_APPEND, O_APPEND) << "others stay";
}

TEST_F(ZTIPCEndPointTest, ConnectPassesTheWholeAddress)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    const ScriptedConnect connecting(0);
    EXPECT_EQ(endPoint.connectTo("/a/server"), 0);
    EXPECT_EQ(connecting.size, 110U);
    sockaddr_un expected{};
    expected.sun_family = AF_UNIX;
    std::string("/a/server").copy(expected.sun_path, sizeof expected.sun_path);
    EXPECT_EQ(std::memcmp(&*connecting.address, &expected, sizeof expected), 0);
}

TEST_F(ZTIPCEndPointTest, ConnectBeforeInitializeReturns14)
{
    EXPECT_EQ(endPoint.connectTo(""), 14);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("connectTo() failed. Invalid endPointID.")));
}

TEST_F(ConnectedTest, ConnectWithoutAPeerReturns14AndChangesNothing)
{
    EXPECT_EQ(endPoint.connectTo(""), 14);
    expectKept(descriptor, "connectTo() failed. peerEndPointAddressLength is == 0.");
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), "peer");
}

TEST_F(ZTIPCEndPointTest, ConnectToAMissingPathReturns14AndPrintsThePeerAsANumber)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    const int descriptor = endPoint.getReadEndPointID();
    EXPECT_EQ(endPoint.connectTo(path), 14);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getReadEndPointID(), descriptor);
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), path);
    const auto lines = diagnostics.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 1);
    EXPECT_EQ(lines[0].section, "zt_ipc_endpoint");
    EXPECT_THAT(
        lines[0].text,
        MatchesRegex("connectTo\\(\\) failed:  No such file or directory  peer:  -?[0-9]+"));
}

TEST_F(ZTIPCEndPointTest, AConnectThatFailedCanBeTriedAgain)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    ASSERT_EQ(endPoint.connectTo(path), 14);
    diagnostics.take();
    const ListeningSocket server(path);
    EXPECT_EQ(endPoint.connectTo(path), 0);
}

TEST_F(ZTIPCEndPointTest, ConnectingAgainReturns14AndCountsAsDisconnected)
{
    const ListeningSocket server(path);
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    ASSERT_EQ(endPoint.connectTo(path), 0);
    EXPECT_EQ(endPoint.connectTo(path), 14);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_GE(endPoint.getReadEndPointID(), 0);
    EXPECT_THAT(diagnostics.take()[0].text,
                StartsWith("connectTo() failed:  Transport endpoint is already connected  peer: "));
}

TEST_F(ZTIPCEndPointTest, AFullBacklogIsAFailureAndNoTimeout)
{
    const ListeningSocket server(path, 0);
    ZTIPCEndPoint first(false);
    ASSERT_EQ(first.initialize(folder / "first", false), 0);
    ASSERT_EQ(first.connectTo(path), 0);
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    endPoint.setConnectTimeout(60000);
    EXPECT_EQ(endPoint.connectTo(path), 14);
    EXPECT_THAT(diagnostics.take()[0].text,
                StartsWith("connectTo() failed:  Resource temporarily unavailable  peer: "));
}

TEST_F(ZTIPCEndPointTest, ConnectThatHadToWaitReturns1)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    endPoint.setConnectTimeout(2500);
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(1);
    EXPECT_EQ(endPoint.connectTo(path), 1);
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_EQ(selecting.count, endPoint.getWriteEndPointID() + 1);
    EXPECT_TRUE(selecting.writing);
    EXPECT_FALSE(selecting.reading);
    EXPECT_EQ(selecting.timeout, Timeout(2, 500000));
}

TEST_F(ConnectedTest, ConnectThatTimesOutReturns17)
{
    endPoint.setConnectTimeout(1);
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(0);
    EXPECT_EQ(endPoint.connectTo(path), 17);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_EQ(endPoint.getReadEndPointID(), descriptor);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("connectTo() times out")));
}

TEST_F(ConnectedTest, ConnectWhoseWaitFailsReturns14)
{
    endPoint.setConnectTimeout(1);
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(-1);
    EXPECT_EQ(endPoint.connectTo(path), 14);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("connectTo() failed")));
}

TEST_F(ZTIPCEndPointTest, ANegativeConnectTimeoutWaitsWithoutLimit)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(1);
    EXPECT_EQ(endPoint.connectTo(path), 1);
    EXPECT_FALSE(selecting.timeout.has_value());
}

TEST_F(ZTIPCEndPointTest, AfterDeinitializeConnectDoesNotWait)
{
    endPoint.deinitialize();
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(1);
    EXPECT_EQ(endPoint.connectTo(path), 1);
    EXPECT_TRUE(isNonBlocking(endPoint.getReadEndPointID()));
    EXPECT_EQ(selecting.timeout, Timeout(0, 0));
}

TEST_F(ConnectedTest, AConnectThatASignalInterruptsReturns14AndIsNeitherRepeatedNorWaitedFor)
{
    const Interrupted connecting(interposed::connect);
    const ScriptedSelect selecting(1);
    EXPECT_EQ(endPoint.connectTo(path), 14);
    EXPECT_EQ(connecting.calls, 1);
    EXPECT_EQ(selecting.count, -1);
    EXPECT_FALSE(endPoint.isConnected());
    EXPECT_THAT(diagnostics.take().at(0).text,
                StartsWith("connectTo() failed:  Interrupted system call  peer: "));
}

TEST_F(ConnectedTest, AWaitThatASignalInterruptsIsNotRepeated)
{
    const ScriptedConnect connecting(EINPROGRESS);
    const Interrupted selecting(interposed::select);
    endPoint.setSendTimeout(-1);
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_EQ(endPoint.connectTo(path), 14);
    EXPECT_EQ(selecting.calls, 3);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("connectTo() failed")));
}

TEST_F(ZTIPCEndPointTest, ConnectsToAPathOf108Bytes)
{
    SKIP_UNDER_VALGRIND("it looks for the NUL of such a path behind its field");
    const std::string longPath = pathOfLength(108);
    const ListeningSocket server(longPath);
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    EXPECT_EQ(endPoint.connectTo(longPath), 0);
}

TEST_F(ZTIPCEndPointTest, ConnectToALongerPathFails)
{
    ASSERT_EQ(endPoint.initialize(folder / "own", false), 0);
    const ScriptedConnect connecting(0);
    EXPECT_EQ(endPoint.connectTo(pathOfLength(109)), 14);
    EXPECT_EQ(endPoint.connectTo(pathOfLength(200)), 14);
    EXPECT_FALSE(connecting.address.has_value());
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), pathOfLength(200));
    EXPECT_THAT(diagnostics.take()[1].text,
                StartsWith("connectTo() failed:  File name too long  peer: "));
}

TEST_F(ConnectedTest, AConnectDuringWhichTheSocketIsLostLeavesItDisconnected)
{
    const Interpose connecting(interposed::connect, [this](auto...) {
        peer.hangUp();
        EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
        return 0;
    });
    EXPECT_EQ(endPoint.connectTo("peer"), 0);
    expectLost(descriptor,
               "receiveMessage() Connection refused peerThe other end of the connection is "
               "closed. (0 bytesH)");
}

// reconnect()

TEST_F(ConnectedTest, ReconnectOnAnOpenSocketOnlyConnects)
{
    const ScriptedConnect connecting(0);
    const RecordedSetUp setUp;
    EXPECT_EQ(endPoint.reconnect(), 0);
    EXPECT_THAT(setUp.calls, IsEmpty());
    EXPECT_STREQ(connecting.address->sun_path, "peer");
    EXPECT_EQ(endPoint.getReadEndPointID(), descriptor);
}

TEST_F(ConnectedTest, ReconnectAfterALossBindsTheOwnNameFirst)
{
    peer.hangUp();
    ASSERT_EQ(endPoint.receiveMessage(&message), 8);
    diagnostics.take();
    const ScriptedConnect connecting(0);
    const RecordedSetUp setUp;
    EXPECT_EQ(endPoint.reconnect(), 0);
    EXPECT_THAT(setUp.calls, ElementsAre("socket 1 1 0", "unlink own", "bind own 5", "unlink own"));
    EXPECT_STREQ(connecting.address->sun_path, "peer");
    EXPECT_TRUE(endPoint.isConnected());
}

TEST_F(ZTIPCEndPointTest, ReconnectWithoutAnAddressReturnsTheErrorOfInitialize)
{
    EXPECT_EQ(endPoint.reconnect(), 20);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("initialize() failed. endPointAddressLength is <= 0.")));
}

TEST_F(ZTIPCEndPointTest, ReconnectWithoutAPeerReturnsTheErrorOfConnect)
{
    ASSERT_EQ(endPoint.initialize(path, false), 0);
    EXPECT_EQ(endPoint.reconnect(), 14);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("connectTo() failed. peerEndPointAddressLength is == 0.")));
}

// isSocketAvailable()

TEST_F(ZTIPCEndPointTest, AListeningServerIsAvailableAndTheProbeClosed)
{
    const ListeningSocket server(path);
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint.isSocketAvailable(path), 0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
}

TEST_F(ZTIPCEndPointTest, TheProbeIsANonBlockingSocketOfItsOwn)
{
    const ScriptedConnect connecting(0);
    const Interpose making(interposed::socket, [](int domain, int type, int protocol) {
        EXPECT_EQ(domain, AF_UNIX);
        EXPECT_EQ(type, SOCK_STREAM | SOCK_NONBLOCK);
        EXPECT_EQ(protocol, 0);
        return interposed::socket.real(domain, type, protocol);
    });
    EXPECT_EQ(endPoint.isSocketAvailable("/a/server"), 0);
    EXPECT_EQ(connecting.size, 110U);
    EXPECT_STREQ(connecting.address->sun_path, "/a/server");
}

TEST_F(ZTIPCEndPointTest, AvailabilityOfAnEmptyPathReturns20)
{
    EXPECT_EQ(endPoint.isSocketAvailable(""), 20);
    EXPECT_THAT(
        diagnostics.take(),
        ElementsAre(failure("isSocketAvailable() failed. peerEndPointAddressLength is == 0.")));
}

TEST_F(ZTIPCEndPointTest, APathWhereNothingListensReturns14AndLeavesTheProbeOpen)
{
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint.isSocketAvailable(path), 14);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_THAT(diagnostics.take()[0].text,
                MatchesRegex("isSocketAvailable\\(\\) failed:  No such file or directory  peer:  "
                             "-?[0-9]+"));
}

TEST_F(ZTIPCEndPointTest, AvailabilityThatHadToWaitReturns0AndClosesTheProbe)
{
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(1);
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint.isSocketAvailable(path), 0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(selecting.writing);
    EXPECT_EQ(selecting.timeout, Timeout(0, 100000));
}

TEST_F(ZTIPCEndPointTest, AvailabilityThatTimesOutReturns17AndLeavesTheProbeOpen)
{
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(0);
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint.isSocketAvailable(path), 17);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("isSocketAvailable() times out")));
}

TEST_F(ZTIPCEndPointTest, AvailabilityWhoseWaitFailsReturns14AndLeavesTheProbeOpen)
{
    const ScriptedConnect connecting(EINPROGRESS);
    const ScriptedSelect selecting(-1);
    const auto before = openDescriptors();
    EXPECT_EQ(endPoint.isSocketAvailable(path), 14);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("isSocketAvailable() failed")));
}

TEST_F(ZTIPCEndPointTest, AvailabilityOfALongPathReturns14)
{
    const ScriptedConnect connecting(0);
    EXPECT_EQ(endPoint.isSocketAvailable(pathOfLength(200)), 14);
    EXPECT_FALSE(connecting.address.has_value());
    EXPECT_THAT(diagnostics.take()[0].text,
                StartsWith("isSocketAvailable() failed:  File name too long  peer: "));
}

TEST_F(ZTIPCEndPointTest, AvailabilityWithoutASocketReturns14)
{
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(endPoint.isSocketAvailable(path), 14);
    EXPECT_THAT(diagnostics.take()[0].text,
                StartsWith("isSocketAvailable() failed:  Bad file descriptor  peer: "));
}

// sendMessage()

TEST_F(ZTIPCEndPointTest, SendingWithoutASocketReturns7)
{
    EXPECT_EQ(endPoint.sendMessage(nullptr), 7);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("sendMessage() failed. Invalid linkID.")));
}

TEST_F(ZTIPCEndPointTest, SendingWithoutAConnectionReturns7)
{
    ASSERT_EQ(endPoint.initialize(path, false), 0);
    EXPECT_EQ(endPoint.sendMessage(nullptr), 7);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("sendMessage() failed. Endpoint not connected.")));
}

TEST_F(ConnectedTest, SendingNothingReturns20)
{
    EXPECT_EQ(endPoint.sendMessage(nullptr), 20);
    IPCMessage none{1, 2, 0, nullptr};
    EXPECT_EQ(endPoint.sendMessage(&none), 20);
    none.dataLength = 1;
    EXPECT_EQ(endPoint.sendMessage(&none), 20);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("sendMessage() failed. message is nullptr."),
                            failure("sendMessage() failed. message->dataLength is 0."),
                            failure("sendMessage() failed. message->data is nullptr.")));
    EXPECT_EQ(peer.unread(), 0U);
}

TEST_F(ConnectedTest, AMessageGoesOutAsOneFrameInOneSend)
{
    int sends = 0;
    const Interpose sending(interposed::send,
                            [&](int to, const void* data, size_t size, int flags) {
                                ++sends;
                                EXPECT_EQ(to, descriptor);
                                EXPECT_EQ(flags, MSG_NOSIGNAL);
                                return interposed::send.real(to, data, size, flags);
                            });
    message.header1 = 0x04030201;
    message.header2 = 0xF4F3F2F1;
    EXPECT_EQ(endPoint.sendMessage(&message), 0);
    EXPECT_EQ(peer.read(14), std::string("\1\2\3\4\xF1\xF2\xF3\xF4\5hello"));
    EXPECT_EQ(peer.unread(), 0U);
    EXPECT_EQ(sends, 1);
}

TEST_F(ConnectedTest, OnlyTheLowByteOfTheLengthTravels)
{
    for (const std::size_t size : {255U, 256U, 300U}) {
        OwnedMessage large(std::string(size, 'x'));
        EXPECT_EQ(endPoint.sendMessage(&large), 0);
        EXPECT_EQ(peer.read(9 + size),
                  frameBytes(0, 0, static_cast<unsigned char>(size), std::string(size, 'x')));
    }
}

TEST_F(ConnectedTest, SendingSetsTheLowWaterMarkToTheFrame)
{
    std::vector<int> set;
    const Interpose setting(interposed::setsockopt, [&](int socket, int level, int option,
                                                        const void* value, socklen_t size) {
        set = {socket, level, option, static_cast<int>(size), *static_cast<const int*>(value)};
        return -1;
    });
    EXPECT_EQ(endPoint.sendMessage(&message), 0);
    EXPECT_THAT(set, ElementsAre(descriptor, SOL_SOCKET, SO_SNDLOWAT, 4, 9 + 5));
}

TEST_F(ConnectedTest, TheSendMarkOfTheLongestMessagesIsTheLargestThereIs)
{
    std::vector<int> marks;
    const Interpose setting(interposed::setsockopt, [&](int, int, int, const void* value, auto...) {
        marks.push_back(*static_cast<const int*>(value));
        return 0;
    });
    const ScriptedSelect selecting(0);
    for (const std::uint32_t length :
         {0x7FFFFFF5U, 0x7FFFFFF6U, 0x7FFFFFF7U, 0xFFFFFFF7U, 0xFFFFFFFFU}) {
        message.dataLength = length;
        EXPECT_EQ(endPoint.sendMessage(&message), 17);
        EXPECT_EQ(endPoint.receiveMessage(&message, 0), 17);
    }
    EXPECT_THAT(marks, ElementsAre(0x7FFFFFFE, 0x7FFFFFFE, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF,
                                   0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF));
    diagnostics.take();
}

TEST_F(ConnectedTest, SendingWaitsForTheSocketAsLongAsTheTimeoutSays)
{
    const ScriptedSelect selecting(0);
    EXPECT_EQ(endPoint.sendMessage(&message), 17);
    EXPECT_EQ(selecting.count, descriptor + 1);
    EXPECT_TRUE(selecting.writing);
    EXPECT_FALSE(selecting.reading);
    EXPECT_EQ(selecting.timeout, Timeout(0, 0));
    endPoint.setSendTimeout(1999);
    EXPECT_EQ(endPoint.sendMessage(&message), 17);
    EXPECT_EQ(selecting.timeout, Timeout(1, 999000));
    endPoint.setSendTimeout(-1);
    EXPECT_EQ(endPoint.sendMessage(&message), 17);
    EXPECT_FALSE(selecting.timeout.has_value());
    EXPECT_EQ(peer.unread(), 0U);
    EXPECT_TRUE(endPoint.isConnected());
}

TEST_F(ConnectedTest, SendingWhoseWaitFailsReturns7)
{
    const ScriptedSelect selecting(-1);
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    EXPECT_TRUE(endPoint.isConnected());
    EXPECT_EQ(peer.unread(), 0U);
}

TEST_F(ConnectedTest, SendingToASocketThatIsNotReadyAfterAllReturns0WithoutSending)
{
    ScriptedSelect selecting(1);
    selecting.change = [this](fd_set* set) { FD_CLR(descriptor, set); };
    EXPECT_EQ(endPoint.sendMessage(&message), 0);
    EXPECT_EQ(peer.unread(), 0U);
}

TEST_F(ConnectedTest, SendingIntoAFullSocketReturns17)
{
    endPoint.setSendTimeout(1);
    int result = 0;
    OwnedMessage large(std::string(200, 'x'));
    while ((result = endPoint.sendMessage(&large)) == 0) {
    }
    EXPECT_EQ(result, 17);
    EXPECT_TRUE(endPoint.isConnected());
}

TEST_F(ConnectedTest, SendingToAPeerThatHasGoneLosesTheConnectionWithoutASignal)
{
    peer.hangUp();
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    expectLost(descriptor, "sendMessage() The other end of the connection is closed. (EPIPE)");
}

TEST_F(ConnectedTest, AFailedSendReturns7AndKeepsTheConnection)
{
    const Interpose failing(interposed::send, [](auto...) {
        errno = ECONNRESET;
        return -1;
    });
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    expectKept(descriptor, "sendMessage() Message could not be sent. Unknown error");
}

TEST_F(ConnectedTest, ASendThatASignalInterruptsIsNotRepeated)
{
    const Interrupted sending(interposed::send);
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    EXPECT_EQ(sending.calls, 1);
    expectKept(descriptor, "sendMessage() Message could not be sent. Unknown error");
}

TEST_F(ConnectedTest, AnOldEPIPEIsNotTakenForALostConnection)
{
    const Interpose partial(interposed::send, [](int to, const void* data, size_t size, int flags) {
        const ssize_t sent = interposed::send.real(to, data, size - 1, flags);
        errno = EPIPE;
        return sent;
    });
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    expectKept(descriptor, "sendMessage() Incomplete message sent.");
}

TEST_F(ConnectedTest, AShortSendReturns7AndIsNotRepeated)
{
    int sends = 0;
    const Interpose failing(interposed::send, [&](auto...) {
        ++sends;
        return 13;
    });
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    EXPECT_EQ(sends, 1);
    expectKept(descriptor, "sendMessage() Incomplete message sent.");
}

TEST_F(ConnectedTest, ASendOfNothingLosesTheConnection)
{
    const Interpose failing(interposed::send, [](auto...) { return 0; });
    EXPECT_EQ(endPoint.sendMessage(&message), 7);
    expectLost(descriptor, "sendMessage() The other end of the connection is closed. (0 bytesS)");
}

// receiveMessage()

TEST_F(ZTIPCEndPointTest, ReceivingWithoutASocketReturns8)
{
    EXPECT_EQ(endPoint.receiveMessage(nullptr, 0), 8);
    EXPECT_EQ(endPoint.receiveMessage(nullptr), 8);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("receiveMessage() failed. Invalid linkID."),
                            failure("receiveMessage() failed. Invalid linkID.")));
}

TEST_F(ZTIPCEndPointTest, ReceivingWithoutAConnectionReturns8)
{
    ASSERT_EQ(endPoint.initialize(path, false), 0);
    EXPECT_EQ(endPoint.receiveMessage(nullptr, 0), 8);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("receiveMessage() failed. Endpoint not connected.")));
}

TEST_F(ConnectedTest, ReceivingIntoNothingReturns20)
{
    EXPECT_EQ(endPoint.receiveMessage(nullptr, 0), 20);
    expectKept(descriptor, "receiveMessage() failed. message is nullptr.");
}

TEST_F(ConnectedTest, AFrameIsReceivedIntoABufferThatSuffices)
{
    peer.write(frameBytes(0x04030201, 0xF4F3F2F1, 5, "hello"));
    OwnedMessage received(std::string("0123456789abcdef"));
    const unsigned char* buffer = received.data;
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.header1, 0x04030201U);
    EXPECT_EQ(received.header2, 0xF4F3F2F1U);
    EXPECT_EQ(received.dataLength, 5U);
    EXPECT_EQ(received.data, buffer);
    EXPECT_EQ(received.text(16), "hello" + std::string(11, '\0')) << "the rest is cleared";
}

TEST_F(ConnectedTest, ABufferThatFitsExactlyIsReused)
{
    peer.write(frameBytes("hello"));
    OwnedMessage received(64); // where no smaller one is put
    received.dataLength = 5;
    const unsigned char* buffer = received.data;
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.data, buffer);
    EXPECT_EQ(received.text(), "hello");
}

TEST_F(ConnectedTest, ABufferThatIsTooSmallIsReplaced)
{
    peer.write(frameBytes("hello"));
    OwnedMessage received(4);
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.text(), "hello");
}

TEST_F(ConnectedTest, AMissingBufferIsMadeWhateverItsLengthSays)
{
    for (const std::uint32_t capacity : {0U, 4U, 5U, 16U}) {
        peer.write(frameBytes("hello"));
        OwnedMessage received;
        received.dataLength = capacity;
        EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
        EXPECT_EQ(received.text(), "hello") << capacity;
    }
}

TEST_F(ConnectedTest, ABufferOfLengthZeroIsReplaced)
{
    peer.write(frameBytes("hello"));
    OwnedMessage received(0);
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.text(), "hello");
}

TEST_F(ConnectedTest, TheReceiverKeepsItsOwnUpper24Bits)
{
    peer.write(frameBytes(1, 2, 5, std::string(261, 'p')));
    OwnedMessage received(300);
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.dataLength, 261U);
    EXPECT_EQ(received.text(), std::string(261, 'p'));
}

TEST_F(ConnectedTest, ThreeHundredBytesArriveAs44AndTheRestStaysInTheSocket)
{
    peer.write(frameBytes(1, 2, 44, std::string(44, 'a') + std::string(256, 'b')));
    OwnedMessage received(16);
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.dataLength, 44U);
    EXPECT_EQ(received.text(), std::string(44, 'a'));
    char rest[512];
    EXPECT_EQ(recv(descriptor, rest, sizeof rest, MSG_DONTWAIT), 256);
    EXPECT_EQ(std::string(rest, 256), std::string(256, 'b'));
}

TEST_F(ConnectedTest, ALengthOfZeroIsSuccessAndReadsNoData)
{
    peer.write(frameBytes(1, 2, 0, ""));
    int reads = 0;
    const Interpose reading(interposed::recv, [&](int from, void* data, size_t size, int flags) {
        ++reads;
        EXPECT_EQ(size, 9U);
        return interposed::recv.real(from, data, size, flags);
    });
    OwnedMessage received(std::string("old"));
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_EQ(received.dataLength, 0U);
    EXPECT_EQ(received.text(3), std::string(3, '\0'));
    EXPECT_EQ(reads, 1);
}

TEST_F(ConnectedTest, ALengthOfZeroNeedsNoBuffer)
{
    for (const std::uint32_t capacity : {0U, 16U}) {
        peer.write(frameBytes(1, 2, 0, ""));
        OwnedMessage received;
        received.dataLength = capacity;
        EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
        EXPECT_EQ(received.dataLength, 0U);
        EXPECT_EQ(received.data, nullptr);
    }
}

TEST_F(ConnectedTest, ReceivingSetsTheLowWaterMarkToTheLargestFrameExpected)
{
    peer.write(frameBytes("hello"));
    std::vector<int> set;
    const Interpose setting(interposed::setsockopt, [&](int socket, int level, int option,
                                                        const void* value, socklen_t size) {
        set = {socket, level, option, static_cast<int>(size), *static_cast<const int*>(value)};
        return -1;
    });
    OwnedMessage received(16);
    EXPECT_EQ(endPoint.receiveMessage(&received, 0), 0);
    EXPECT_THAT(set, ElementsAre(descriptor, SOL_SOCKET, SO_RCVLOWAT, 4, 16 + 9));
}

TEST_F(ConnectedTest, ReceivingWaitsAsLongAsItsTimeoutSays)
{
    const std::string text = "receiveMessage() Receive timeout expired.";
    const ScriptedSelect selecting(0);
    EXPECT_EQ(endPoint.receiveMessage(&message, 1250), 17);
    EXPECT_EQ(selecting.count, descriptor + 1);
    EXPECT_TRUE(selecting.reading);
    EXPECT_FALSE(selecting.writing);
    EXPECT_EQ(selecting.timeout, Timeout(1, 250000));
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 17);
    EXPECT_FALSE(selecting.timeout.has_value());
    EXPECT_EQ(endPoint.receiveMessage(&message), 17);
    EXPECT_EQ(selecting.timeout, Timeout(0, 0));
    endPoint.setReceiveTimeout(3000);
    EXPECT_EQ(endPoint.receiveMessage(&message), 17);
    EXPECT_EQ(selecting.timeout, Timeout(3, 0));
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure(text), failure(text), failure(text), failure(text)));
    EXPECT_EQ(message.text(), "hello");
}

TEST_F(ConnectedTest, ReceivingWhoseWaitFailsReturns8)
{
    const ScriptedSelect selecting(-1);
    EXPECT_EQ(endPoint.receiveMessage(&message, 0), 8);
    EXPECT_TRUE(endPoint.isConnected());
}

TEST_F(ConnectedTest, ReceivingFromASocketThatIsNotReadyAfterAllReturns0WithoutReading)
{
    peer.write(frameBytes("other"));
    ScriptedSelect selecting(1);
    selecting.change = [this](fd_set* set) { FD_CLR(descriptor, set); };
    EXPECT_EQ(endPoint.receiveMessage(&message, 0), 0);
    EXPECT_EQ(message.text(), "hello");
}

TEST_F(ConnectedTest, AFailedReadOfTheHeaderReturns8AndKeepsTheConnection)
{
    peer.write(frameBytes("hello"));
    const Interpose failing(interposed::recv, [](auto...) {
        errno = ECONNRESET;
        return -1;
    });
    EXPECT_EQ(endPoint.receiveMessage(&message, 0), 8);
    expectKept(descriptor, "receiveMessage() failed due to unknown error.");
    EXPECT_EQ(message.text(), "hello");
}

TEST_F(ConnectedTest, AFailedReadOfTheDataReturns8AndKeepsTheConnection)
{
    peer.write(frameBytes("hello"));
    const Interpose failing(interposed::recv, [](int from, void* data, size_t size, int flags) {
        EXPECT_EQ(flags, 0);
        return size == 9 ? interposed::recv.real(from, data, size, flags) : -1;
    });
    EXPECT_EQ(endPoint.receiveMessage(&message, 0), 8);
    expectKept(descriptor, "receiveMessage() failed due to unknown error.");
}

TEST_F(ConnectedTest, AReceiveThatASignalInterruptsIsNotRepeated)
{
    peer.write(frameBytes("hello"));
    {
        const Interrupted receiving(interposed::recv);
        EXPECT_EQ(endPoint.receiveMessage(&message, 0), 8);
        EXPECT_EQ(receiving.calls, 1);
    }
    expectKept(descriptor, "receiveMessage() failed due to unknown error.");
    int calls = 0;
    const Interpose onlyTheHeader(interposed::recv, [&](auto... arguments) -> ssize_t {
        if (++calls == 1) {
            return interposed::recv.real(arguments...);
        }
        errno = EINTR;
        return -1;
    });
    EXPECT_EQ(endPoint.receiveMessage(&message, 0), 8);
    EXPECT_EQ(calls, 2);
    expectKept(descriptor, "receiveMessage() failed due to unknown error.");
}

TEST_F(ConnectedTest, ReceivingFromAPeerThatHasGoneLosesTheConnection)
{
    peer.hangUp();
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectLost(descriptor, "receiveMessage() Connection refused peerThe other end of the "
                           "connection is closed. (0 bytesH)");
}

TEST_F(ConnectedTest, ALostConnectionIsClosedBeforeThatIsPrinted)
{
    peer.hangUp();
    int closes = 0;
    const Interpose closing(interposed::close, [&](int number) {
        ++closes;
        EXPECT_EQ(number, descriptor);
        EXPECT_FALSE(endPoint.isConnected());
        EXPECT_THAT(diagnostics.take(), IsEmpty());
        return interposed::close.real(number);
    });
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    EXPECT_EQ(closes, 1);
    diagnostics.take();
}

TEST_F(ConnectedTest, AHeaderThatIsCutShortReturns8AndKeepsTheConnection)
{
    peer.write(frameBytes("hello").substr(0, 8));
    peer.hangUp();
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectKept(descriptor, "receiveMessage() Incomplete message header received.");
    EXPECT_EQ(message.header1, 1U) << "laid over the message as far as it came";
    EXPECT_EQ(message.header2, 2U);
    EXPECT_EQ(message.text(), "hello");
}

TEST_F(ConnectedTest, APeerThatLeavesAfterTheHeaderLosesTheConnection)
{
    peer.write(frameBytes("hello").substr(0, 9));
    peer.hangUp();
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectLost(descriptor,
               "receiveMessage() The other end of the connection is closed. (0 bytesR)");
}

TEST_F(ConnectedTest, DataThatIsCutShortReturns8AndKeepsTheConnection)
{
    peer.write(frameBytes("hello").substr(0, 13));
    peer.hangUp();
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectKept(descriptor, "receiveMessage() Incomplete message data bytes received.");
}

TEST_F(ConnectedTest, WhatDoesNotArriveIsZeroInANewBuffer)
{
    peer.write(frameBytes(std::string(40, 'x')).substr(0, 9 + 20));
    peer.hangUp();
    OwnedMessage received;
    {
        const OwnedMessage used(std::string(40, 'y')); // the new buffer is likely to be its
    }
    EXPECT_EQ(endPoint.receiveMessage(&received, -1), 8);
    expectKept(descriptor, "receiveMessage() Incomplete message data bytes received.");
    EXPECT_EQ(received.text(), std::string(20, 'x') + std::string(20, '\0'));
}

TEST_F(ConnectedTest, ANonBlockingSocketDoesNotWaitForTheRestOfAFrame)
{
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    peer.write(frameBytes("hello").substr(0, 4));
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectKept(descriptor, "receiveMessage() Incomplete message header received.");
    peer.write(frameBytes("hello").substr(0, 10));
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectKept(descriptor, "receiveMessage() Incomplete message data bytes received.");
    peer.write(frameBytes("hello").substr(0, 9));
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 8);
    expectKept(descriptor, "receiveMessage() failed due to unknown error.");
}

TEST_F(ConnectedTest, WhatIsSentArrivesAgainWhenItIsSentBack)
{
    for (std::size_t size = 1; size <= 255; ++size) {
        const std::string payload(size, static_cast<char>(size));
        OwnedMessage sent(payload);
        sent.header1 = static_cast<std::uint32_t>(size);
        sent.header2 = ~sent.header1;
        ASSERT_EQ(endPoint.sendMessage(&sent), 0);
        peer.write(peer.read(9 + size));
        OwnedMessage received;
        ASSERT_EQ(endPoint.receiveMessage(&received, -1), 0);
        ASSERT_EQ(received.header1, sent.header1);
        ASSERT_EQ(received.header2, sent.header2);
        ASSERT_EQ(received.text(), payload);
    }
}

TEST_F(ZTIPCEndPointTest, WorksWithADescriptorBeyondTheSizeOfAnFdSet)
{
    SKIP_WHERE_SELECT_IS_EMULATED();
    const HighDescriptors high;
    LocalPeer peer(endPoint);
    ASSERT_GE(endPoint.getReadEndPointID(), FD_SETSIZE);
    OwnedMessage message(std::string("hello"));
    EXPECT_EQ(endPoint.sendMessage(&message), 0);
    EXPECT_EQ(peer.read(14), frameBytes(0, 0, 5, "hello"));
    peer.write(frameBytes("world"));
    EXPECT_EQ(endPoint.receiveMessage(&message, -1), 0);
    EXPECT_EQ(message.text(), "world");
}

// sendMessage() and receiveMessage()

TEST_F(ConnectedTest, SendingAndReceivingTakeNoLock)
{
    int locked = 0;
    const Interpose locking(interposed::pthread_mutex_lock, [&](pthread_mutex_t* mutex) {
        ++locked;
        return interposed::pthread_mutex_lock.real(mutex);
    });
    EXPECT_EQ(endPoint.sendMessage(&message), 0);
    peer.write(frameBytes("hello"));
    EXPECT_EQ(endPoint.receiveMessage(&message, 0), 0);
    EXPECT_EQ(locked, 0);
    EXPECT_EQ(endPoint.getEndPointAddress(), "own");
    EXPECT_EQ(locked, 1);
}

// deinitialize()

TEST_F(ConnectedTest, DeinitializeClosesAndForgets)
{
    endPoint.setSendTimeout(5000);
    endPoint.setReceiveTimeout(5000);
    endPoint.deinitialize();
    expectNotConnected();
    EXPECT_FALSE(isOpen(descriptor));
    EXPECT_EQ(endPoint.getEndPointAddress(), "");
    EXPECT_EQ(endPoint.getPeerEndPointAddress(), "");
    const LocalPeer another(endPoint);
    const ScriptedSelect selecting(0);
    EXPECT_EQ(endPoint.sendMessage(&message), 17);
    EXPECT_EQ(selecting.timeout, Timeout(0, 0));
    EXPECT_EQ(endPoint.receiveMessage(&message), 17);
    EXPECT_EQ(selecting.timeout, Timeout(0, 0));
    diagnostics.take();
}

TEST_F(ConnectedTest, TheDestructorCloses)
{
    const auto before = openDescriptors();
    {
        ZTIPCEndPoint other(false);
        const LocalPeer otherPeer(other);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ZTIPCEndPointTest, DeinitializeWithoutAnythingDoesNothing)
{
    endPoint.deinitialize();
    endPoint.deinitialize();
    EXPECT_EQ(endPoint.getReadEndPointID(), -1);
}
