// Clients and servers that are killed, at one system call after the other of an exchange: what they
// leave behind, what their peer hears, and the next start.

#include "support/Diagnostics.h"
#include "support/KilledChild.h"
#include "support/StubCommands.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTIPCEndPoint.h"
#include "zt/ZTIPCServer.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using testing::AnyOf;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;
using ZT::ZTIPCEndPoint;
using ZT::ZTIPCServer;
namespace fs = std::filesystem;

namespace {

const int WITHOUT_LIMIT = -1;

// A process whose lines nobody wants to see; killed in the end if it has not ended.
class Process {
public:
    explicit Process(const std::function<int()>& action) : id(fork())
    {
        if (id == 0) {
            dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
            _exit(action());
        }
    }

    ~Process()
    {
        if (id != -1) {
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
    }

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Returns the exit code.
    int await()
    {
        int status = -1;
        waitpid(std::exchange(id, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t id;
};

// Both ends of a pipe.
struct Channel {
    Channel() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
    ~Channel()
    {
        closeReader();
        closeWriter();
    }

    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void closeReader() { close(std::exchange(ends[0], -1)); }
    void closeWriter() { close(std::exchange(ends[1], -1)); }

    void tell() const { EXPECT_EQ(write(ends[1], "!", 1), 1); }

    // Whether somebody has told something; waits until nobody can any more.
    bool isTold() const
    {
        char byte = 0;
        return read(ends[0], &byte, 1) == 1;
    }

    int ends[2];
};

IPCMessage message(unsigned char* data)
{
    return {7, 8, 5, data};
}

// Return the result of the first call that does not return 0.

int echoOnce(ZTIPCServer& server)
{
    const std::unique_ptr<ZTIPCEndPoint> endPoint(server.acceptConnection());
    IPCMessage received{255, 0, 0, nullptr};
    const int result = endPoint->receiveMessage(&received, WITHOUT_LIMIT);
    const int sent = result != 0 ? result : endPoint->sendMessage(&received);
    delete[] received.data;
    return sent;
}

int exchange(ZTIPCEndPoint& client, const std::string& name, const std::string& server)
{
    client.setSendTimeout(WITHOUT_LIMIT);
    int result = client.initialize(name, false);
    result = result != 0 ? result : client.connectTo(server);
    unsigned char data[] = {'h', 'e', 'l', 'l', 'o'};
    IPCMessage sent = message(data);
    result = result != 0 ? result : client.sendMessage(&sent);
    IPCMessage received{255, 0, 0, nullptr};
    result = result != 0 ? result : client.receiveMessage(&received, WITHOUT_LIMIT);
    if (result == 0) {
        EXPECT_EQ(received.header1, 7U);
        EXPECT_EQ(received.header2, 8U);
        EXPECT_EQ(std::string(received.data, received.data + received.dataLength), "hello");
    }
    delete[] received.data;
    return result;
}

class KilledIPC : public testing::Test {
protected:
    // Serves one client, once it has told that there is a server.
    int serveOnce(const Channel& listening) const
    {
        ZTIPCServer echo;
        const int result = echo.initialize(server);
        listening.tell();
        return result != 0 ? result : echoOnce(echo);
    }

    int exchangeOnce() const
    {
        ZTIPCEndPoint endPoint(false);
        return exchange(endPoint, client, server);
    }

    void expectAServerCanStart() const
    {
        Channel listening;
        Process serving([&] { return serveOnce(listening); });
        EXPECT_TRUE(listening.isTold());
        EXPECT_EQ(exchangeOnce(), 0);
        EXPECT_EQ(serving.await(), 0);
    }

    std::set<std::string> namesLeft() const
    {
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(folder / "")) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    Diagnostics diagnostics;
    const TemporaryFolder folder;
    const std::string client = folder / "client";
    const std::string server = folder / "server";
};

} // namespace

TEST_F(KilledIPC, AClientLeavesAtMostItsNameWhichTheNextReplacesAndTheServerGoesOn)
{
    SKIP_WHERE_NOTHING_CAN_BE_TRACED();
    Channel listening;
    const Process serving([&] {
        ZTIPCServer echo;
        EXPECT_EQ(echo.initialize(server), 0);
        listening.tell();
        while (true) {
            echoOnce(echo);
        }
        return 0;
    });
    ASSERT_TRUE(listening.isTold());
    std::set<std::set<std::string>> left;
    bool killed = true;
    for (int call = 1; killed; ++call) {
        SCOPED_TRACE("system call " + std::to_string(call));
        killed = isKilledAtSystemCall(call, [this] { EXPECT_EQ(exchangeOnce(), 0); });
        left.insert(namesLeft());
        EXPECT_EQ(exchangeOnce(), 0);
    }
    EXPECT_THAT(left, UnorderedElementsAre(UnorderedElementsAre("server"),
                                           UnorderedElementsAre("client", "server")));
}

TEST_F(KilledIPC, AServerLeavesAtMostItsNameWhichTheNextReplacesAndItsClientIsTold)
{
    SKIP_WHERE_NOTHING_CAN_BE_TRACED();
    const int NO_SERVER = 100;
    std::set<int> results;
    std::set<std::set<std::string>> left;
    bool killed = true;
    for (int call = 1; killed; ++call) {
        SCOPED_TRACE("system call " + std::to_string(call));
        Channel listening;
        Process asking([&] {
            listening.closeWriter();
            return listening.isTold() ? exchangeOnce() : NO_SERVER;
        });
        killed = isKilledAtSystemCall(call, [&] { EXPECT_EQ(serveOnce(listening), 0); });
        listening.closeWriter();
        const int result = asking.await();
        EXPECT_THAT(result, AnyOf(0, 7, 8, 14, NO_SERVER));
        EXPECT_TRUE(killed || result == 0);
        results.insert(result);
        left.insert(namesLeft());
        EXPECT_EQ(ZTIPCEndPoint(false).isSocketAvailable(server), 14);
        expectAServerCanStart();
        fs::remove(server);
    }
    EXPECT_THAT(left, UnorderedElementsAre(IsEmpty(), UnorderedElementsAre("server")));
    EXPECT_THAT(results, IsSupersetOf({0, 8, NO_SERVER}));
}

TEST_F(KilledIPC, TheCommandOfAKilledServerGoesOnAndMayTakeTheNameFromTheNext)
{
    writeAll(server, "left by a former one");
    const std::string started = folder / "started";
    const std::string goOn = folder / "go on";
    const std::string done = folder / "done";
    for (const std::string& fifo : {started, goOn, done}) {
        ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    }
    {
        const StubCommands commands;
        commands.add("rm", "echo >'" + started + "'; read line <'" + goOn +
                               "'; /bin/rm \"$@\"; echo >'" + done + "'");
        const Process killed([this] { return ZTIPCServer().initialize(server); });
        readAll(started);
    }
    ZTIPCServer next;
    EXPECT_EQ(next.initialize(server), 0);
    EXPECT_EQ(access(server.c_str(), F_OK), 0);
    writeAll(goOn, "\n");
    readAll(done);
    EXPECT_EQ(access(server.c_str(), F_OK), -1);
}
