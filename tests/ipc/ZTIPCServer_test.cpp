#include "zt/ZTIPCServer.h"

#include "support/Diagnostics.h"
#include "support/Emulation.h"
#include "support/Interpose.h"
#include "support/LocalPeer.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTIPCEndPoint;
using ZT::ZTIPCServer;

namespace {

class ZTIPCServerTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_THAT(diagnostics.take(), IsEmpty()); }

    // Whether a client of that name reaches `server`, which then accepts it.
    bool reaches(ZTIPCServer& wanted, const std::string& name)
    {
        client.deinitialize();
        client.setConnectTimeout(-1);
        EXPECT_EQ(client.initialize(folder / name, false), 0);
        EXPECT_EQ(client.connectTo(path), 0);
        fcntl(wanted.getServerEndPoint()->getReadEndPointID(), F_SETFL, O_NONBLOCK);
        accepted.reset(wanted.acceptConnection());
        return accepted != nullptr;
    }

    const TemporaryFolder folder;
    const std::string path = folder / "server";
    Diagnostics diagnostics;
    ZTIPCServer server;
    ZTIPCEndPoint client{false};
    std::unique_ptr<ZTIPCEndPoint> accepted;
};

Line failure(const std::string& text)
{
    return {1, "zt_ipc_server", text};
}

} // namespace

TEST_F(ZTIPCServerTest, OpensNothingWhenConstructed)
{
    EXPECT_EQ(server.getServerEndPoint()->getReadEndPointID(), -1);
    EXPECT_FALSE(server.getServerEndPoint()->isConnected());
    EXPECT_FALSE(server.getServerEndPoint()->autoReconnect);
}

TEST_F(ZTIPCServerTest, InitializeListensOnThePath)
{
    std::vector<int> listened;
    const Interpose listening(interposed::listen, [&](int descriptor, int backlog) {
        listened = {descriptor, backlog};
        return interposed::listen.real(descriptor, backlog);
    });
    EXPECT_EQ(server.initialize(path), 0);
    ZTIPCEndPoint* endPoint = server.getServerEndPoint();
    EXPECT_THAT(listened, ElementsAre(endPoint->getReadEndPointID(), 128));
    EXPECT_TRUE(endPoint->isConnected());
    EXPECT_EQ(endPoint->getEndPointAddress(), path);
    EXPECT_TRUE(std::filesystem::is_socket(path));
    EXPECT_EQ(client.isSocketAvailable(path), 0);
}

TEST_F(ZTIPCServerTest, InitializeRemovesStaleFiles)
{
    writeAll(path + ".old", "");
    EXPECT_EQ(server.initialize(path), 0);
    EXPECT_FALSE(std::filesystem::exists(path + ".old"));
}

TEST_F(ZTIPCServerTest, InitializeWithoutAPathReturns20)
{
    EXPECT_EQ(server.initialize(""), 20);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(failure("initialize() failed. serverAddress Length is == 0.")));
    EXPECT_EQ(server.getServerEndPoint()->getReadEndPointID(), -1);
}

TEST_F(ZTIPCServerTest, InitializeReturnsTheErrorOfItsEndPointAndDoesNotListen)
{
    const Interpose never(interposed::listen, [](auto...) {
        ADD_FAILURE();
        return 0;
    });
    EXPECT_EQ(server.initialize(folder / "missing/server"), 3);
    EXPECT_FALSE(server.getServerEndPoint()->isConnected());
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, "zt_ipc_endpoint", "initialize() bind failed."}));
}

TEST_F(ZTIPCServerTest, SecondInitializeReturns3AndGoesOnListening)
{
    ASSERT_EQ(server.initialize(path), 0);
    EXPECT_EQ(server.initialize(folder / "other"), 3);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, "zt_ipc_endpoint",
                                 "initialize() failed. EndPoint already initialized."}));
    EXPECT_TRUE(reaches(server, "client"));
}

TEST_F(ZTIPCServerTest, WithoutListeningItReturns3AndCountsAsConnected)
{
    const Interpose refused(interposed::listen, [](auto...) {
        errno = EADDRINUSE;
        return -1;
    });
    EXPECT_EQ(server.initialize(path), 3);
    EXPECT_TRUE(server.getServerEndPoint()->isConnected());
    EXPECT_GE(server.getServerEndPoint()->getReadEndPointID(), 0);
}

TEST_F(ZTIPCServerTest, ASecondServerTakesThePathOver)
{
    ASSERT_EQ(server.initialize(path), 0);
    ZTIPCServer second;
    EXPECT_EQ(second.initialize(path), 0);
    EXPECT_TRUE(reaches(second, "client"));
    EXPECT_FALSE(reaches(server, "another"));
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("acceptConnection() failed")));
}

TEST_F(ZTIPCServerTest, AnAcceptedEndPointIsConnectedAndKnowsBothNames)
{
    ASSERT_EQ(server.initialize(path), 0);
    ASSERT_TRUE(reaches(server, "client"));
    EXPECT_TRUE(accepted->isConnected());
    EXPECT_FALSE(accepted->autoReconnect);
    EXPECT_EQ(accepted->getEndPointAddress(), path);
    EXPECT_EQ(accepted->getPeerEndPointAddress(), folder / "client");

    OwnedMessage question(std::string("question"));
    ASSERT_EQ(client.sendMessage(&question), 0);
    OwnedMessage message;
    ASSERT_EQ(accepted->receiveMessage(&message, -1), 0);
    EXPECT_EQ(message.text(), "question");
    OwnedMessage answer(std::string("answer"));
    ASSERT_EQ(accepted->sendMessage(&answer), 0);
    ASSERT_EQ(client.receiveMessage(&message, -1), 0);
    EXPECT_EQ(message.text(), "answer");
}

TEST_F(ZTIPCServerTest, AcceptGetsTheWholeAddressZeroed)
{
    ASSERT_EQ(server.initialize(path), 0);
    const Interpose accepting(interposed::accept, [&](int from, sockaddr* name, socklen_t* size) {
        EXPECT_EQ(from, server.getServerEndPoint()->getReadEndPointID());
        EXPECT_EQ(*size, 110U);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(name), 110), std::string(110, '\0'));
        errno = EMFILE;
        return -1;
    });
    EXPECT_EQ(server.acceptConnection(), nullptr);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("acceptConnection() failed")));
}

TEST_F(ZTIPCServerTest, AnAcceptThatASignalInterruptsReturnsNullAndLeavesTheClientWaiting)
{
    ASSERT_EQ(server.initialize(path), 0);
    ASSERT_EQ(client.initialize(folder / "client", false), 0);
    ASSERT_EQ(client.connectTo(path), 0);
    int calls = 0;
    {
        const Interpose interrupted(interposed::accept, [&](auto...) {
            ++calls;
            errno = EINTR;
            return -1;
        });
        EXPECT_EQ(server.acceptConnection(), nullptr);
    }
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("acceptConnection() failed")));
    accepted.reset(server.acceptConnection());
    EXPECT_NE(accepted, nullptr);
}

TEST_F(ZTIPCServerTest, AClientsNameMayFillItsFieldWithoutANul)
{
    SKIP_UNDER_VALGRIND("it looks for the NUL of such a path behind its field");
    ASSERT_EQ(server.initialize(path), 0);
    for (const std::size_t length : {107U, 108U}) {
        const std::string name(length - (folder / "").size(), 'c');
        ASSERT_TRUE(reaches(server, name));
        EXPECT_EQ(accepted->getPeerEndPointAddress(), folder / name);
        EXPECT_EQ(accepted->getPeerEndPointAddress().size(), length);
    }
}

TEST_F(ZTIPCServerTest, ADescriptorOf0IsAConnectionLikeAnyOther)
{
    EXPECT_EQ(server.initialize(path), 0);
    const int standardInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 32);
    const Interpose accepting(interposed::accept, [](auto... arguments) {
        const int descriptor = interposed::accept.real(arguments...);
        return dup2(descriptor, STDIN_FILENO) == STDIN_FILENO && close(descriptor) == 0
                   ? STDIN_FILENO
                   : -1;
    });
    EXPECT_TRUE(reaches(server, "client"));
    EXPECT_EQ(accepted->getReadEndPointID(), STDIN_FILENO);
    EXPECT_TRUE(accepted->isConnected());
    accepted.reset();
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    dup2(standardInput, STDIN_FILENO);
    close(standardInput);
}

TEST_F(ZTIPCServerTest, AClientWithoutANameGivesAnEndPointWithoutConnectionAndStaysOpen)
{
    ASSERT_EQ(server.initialize(path), 0);
    const int unnamed = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path);
    ASSERT_EQ(connect(unnamed, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    int descriptor = -1;
    {
        const Interpose accepting(interposed::accept, [&](auto... arguments) {
            descriptor = interposed::accept.real(arguments...);
            return descriptor;
        });
        accepted.reset(server.acceptConnection());
    }
    ASSERT_NE(accepted, nullptr);
    EXPECT_FALSE(accepted->isConnected());
    EXPECT_EQ(accepted->getReadEndPointID(), -1);
    accepted.reset();
    char byte = 0;
    EXPECT_EQ(recv(unnamed, &byte, 1, MSG_DONTWAIT), -1) << "no end of file";
    EXPECT_EQ(errno, EAGAIN);
    close(unnamed);
    close(descriptor);
}

TEST_F(ZTIPCServerTest, AcceptingWithoutInitializeReturnsNull)
{
    EXPECT_EQ(server.acceptConnection(), nullptr);
    EXPECT_THAT(diagnostics.take(), ElementsAre(failure("acceptConnection() failed")));
}

TEST_F(ZTIPCServerTest, ReconnectingAnAcceptedEndPointTakesTheServersPath)
{
    ASSERT_EQ(server.initialize(path), 0);
    ASSERT_TRUE(reaches(server, "client"));
    client.deinitialize();
    OwnedMessage message;
    ASSERT_EQ(accepted->receiveMessage(&message, -1), 8);
    EXPECT_EQ(accepted->reconnect(), 14);
    EXPECT_FALSE(std::filesystem::exists(path));
    diagnostics.take();
}

TEST_F(ZTIPCServerTest, DeinitializeDoesNothing)
{
    ASSERT_EQ(server.initialize(path), 0);
    server.deinitialize();
    EXPECT_TRUE(reaches(server, "client"));
}

TEST_F(ZTIPCServerTest, TheDestructorClosesAndLeavesTheFileAndTheConnections)
{
    auto ending = std::make_unique<ZTIPCServer>();
    ASSERT_EQ(ending->initialize(path), 0);
    ASSERT_TRUE(reaches(*ending, "client"));
    ending.reset();
    EXPECT_TRUE(std::filesystem::is_socket(path));
    OwnedMessage message(std::string("still there"));
    EXPECT_EQ(client.sendMessage(&message), 0);
    EXPECT_EQ(accepted->receiveMessage(&message, -1), 0);
    ZTIPCEndPoint late(false);
    ASSERT_EQ(late.initialize(folder / "late", false), 0);
    EXPECT_EQ(late.connectTo(path), 14);
    diagnostics.take();
}

TEST_F(ZTIPCServerTest, AnEndPointManagerTellsOfAWaitingClient)
{
    class Accepting : public ZT::ZTEndPointHandler {
    public:
        explicit Accepting(ZTIPCServer& server) : server(server) {}
        int onEndPointReadable(ZT::ZTEndPoint*, ZT::ZTEndPointManager*) override
        {
            accepted.reset(server.acceptConnection());
            return 0;
        }
        int onEndPointReconnected(ZT::ZTEndPoint*) override { return 0; }
        int onEndPointDisconnected(ZT::ZTEndPoint*) override { return 0; }

        ZTIPCServer& server;
        std::unique_ptr<ZTIPCEndPoint> accepted;
    } handler(server);
    ASSERT_EQ(server.initialize(path), 0);
    ZT::ZTEndPointManager manager;
    ASSERT_EQ(manager.addEndPoint(server.getServerEndPoint(), &handler), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, 1), 17);
    ASSERT_EQ(client.initialize(folder / "client", false), 0);
    ASSERT_EQ(client.connectTo(path), 0);
    EXPECT_EQ(manager.waitForEndPoints(0, 2), 0);
    ASSERT_NE(handler.accepted, nullptr);
    EXPECT_TRUE(handler.accepted->isConnected());
}

TEST_F(ZTIPCServerTest, AnAcceptedSocketBlocksAndIsInherited)
{
    ASSERT_EQ(server.initialize(path), 0);
    ASSERT_TRUE(reaches(server, "client"));
    EXPECT_EQ(fcntl(accepted->getReadEndPointID(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(accepted->getReadEndPointID(), F_GETFD), 0);
}

TEST_F(ZTIPCServerTest, AnAcceptedSocketThatDoesNotBlockGives8ForHalfAFrame)
{
    ASSERT_EQ(server.initialize(path), 0);
    ASSERT_TRUE(reaches(server, "client"));
    fcntl(accepted->getReadEndPointID(), F_SETFL, O_NONBLOCK);
    ASSERT_EQ(write(client.getWriteEndPointID(), "half", 4), 4);
    IPCMessage message{};
    EXPECT_EQ(accepted->receiveMessage(&message, -1), 8);
    EXPECT_TRUE(accepted->isConnected());
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{1, "zt_ipc_endpoint",
                                 "receiveMessage() Incomplete message header received."}));
}
