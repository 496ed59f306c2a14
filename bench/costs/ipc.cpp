#include "bench/costs/Operations.h"
#include "bench/support/require.h"
#include "tests/support/TemporaryFolder.h"
#include "zt/IPCMessage.h"
#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTIPCMessageArrivalListener.h"
#include "zt/ZTIPCServer.h"
#include "zt/ZTPipe.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const long LIMIT_MS = 10000;
const std::size_t HEADER_SIZE = 9;
const std::size_t LONGEST_DATA = 255;
const long REST_US = 200000;

// Two endpoints that are connected.
class Connection {
public:
    Connection() : path(folder / "socket"), client(false)
    {
        require(server.initialize(path) == 0, "initialize");
        require(client.initialize(path + ".client", false) == 0, "initialize");
        require(client.connectTo(path) == 0, "connectTo");
        accepted.reset(server.acceptConnection());
        require(accepted != nullptr, "acceptConnection");
        client.setSendTimeout(LIMIT_MS);
        accepted->setReceiveTimeout(LIMIT_MS);
    }

    void send(std::vector<unsigned char>& data)
    {
        IPCMessage message{1, 2, static_cast<std::uint32_t>(data.size()), data.data()};
        require(client.sendMessage(&message) == 0, "sendMessage");
    }

    // Only the low byte of its size travels: `data` has room for the most that may come.
    void receive(std::vector<unsigned char>& data)
    {
        IPCMessage message{0, 0, static_cast<std::uint32_t>(data.size()), data.data()};
        require(accepted->receiveMessage(&message) == 0, "receiveMessage");
    }

    // Takes a whole frame out of the socket, past the endpoint.
    void drain(std::size_t size)
    {
        std::vector<unsigned char> frame(HEADER_SIZE + size);
        require(recv(accepted->getReadEndPointID(), frame.data(), frame.size(), MSG_WAITALL) ==
                    static_cast<ssize_t>(frame.size()),
                "recv");
    }

    ZT::ZTIPCEndPoint& receiver() { return *accepted; }

private:
    const TemporaryFolder folder;
    const std::string path;
    ZT::ZTIPCServer server;
    ZT::ZTIPCEndPoint client;
    std::unique_ptr<ZT::ZTIPCEndPoint> accepted;
};

void send(Meter& meter, std::size_t size)
{
    Connection connection;
    std::vector<unsigned char> data(size, 'x');
    bool isFirst = true;
    const auto makeRoom = [&] {
        if (!isFirst) {
            connection.drain(size);
        }
        isFirst = false;
    };
    meter.count(makeRoom, [&] { connection.send(data); });
}

void receive(Meter& meter, std::size_t size)
{
    Connection connection;
    std::vector<unsigned char> sent(size, 'x');
    std::vector<unsigned char> data(std::max(size, LONGEST_DATA));
    meter.count([&] { connection.send(sent); }, [&] { connection.receive(data); });
}

// The system calls that an endpoint makes.
class Sockets {
public:
    Sockets() { require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair"); }
    ~Sockets()
    {
        close(ends[0]);
        close(ends[1]);
    }

    Sockets(const Sockets&) = delete;
    Sockets& operator=(const Sockets&) = delete;

    void send(const std::vector<unsigned char>& data) const
    {
        const auto frameSize = static_cast<std::uint32_t>(HEADER_SIZE + data.size());
        setsockopt(ends[0], SOL_SOCKET, SO_SNDLOWAT, &frameSize, sizeof frameSize);
        fd_set writable;
        FD_ZERO(&writable);
        FD_SET(ends[0], &writable);
        timeval limit = {LIMIT_MS / 1000, 0};
        require(select(ends[0] + 1, nullptr, &writable, nullptr, &limit) == 1, "select");
        unsigned char frame[HEADER_SIZE + LONGEST_DATA];
        const IPCMessage header{1, 2, static_cast<std::uint32_t>(data.size()), nullptr};
        std::memcpy(frame, &header, HEADER_SIZE);
        std::memcpy(frame + HEADER_SIZE, data.data(), data.size());
        require(::send(ends[0], frame, frameSize, MSG_NOSIGNAL) == static_cast<ssize_t>(frameSize),
                "send");
    }

    void receive(std::vector<unsigned char>& data) const
    {
        const std::uint32_t frameSize = HEADER_SIZE + LONGEST_DATA;
        setsockopt(ends[1], SOL_SOCKET, SO_RCVLOWAT, &frameSize, sizeof frameSize);
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(ends[1], &readable);
        timeval limit = {LIMIT_MS / 1000, 0};
        require(select(ends[1] + 1, &readable, nullptr, nullptr, &limit) == 1, "select");
        unsigned char header[HEADER_SIZE];
        require(recv(ends[1], header, HEADER_SIZE, 0) == HEADER_SIZE, "recv of a header");
        const std::size_t size = header[HEADER_SIZE - 1];
        std::memset(data.data(), 0, data.size()); // which an endpoint promises
        require(recv(ends[1], data.data(), size, 0) == static_cast<ssize_t>(size), "recv");
    }

private:
    int ends[2];
};

void sendByHand(Meter& meter, std::size_t size)
{
    const Sockets sockets;
    std::vector<unsigned char> data(size, 'x');
    std::vector<unsigned char> received(LONGEST_DATA);
    bool isFirst = true;
    const auto makeRoom = [&] {
        if (!isFirst) {
            sockets.receive(received);
        }
        isFirst = false;
    };
    meter.count(makeRoom, [&] { sockets.send(data); });
}

void receiveByHand(Meter& meter, std::size_t size)
{
    const Sockets sockets;
    const std::vector<unsigned char> sent(size, 'x');
    std::vector<unsigned char> data(LONGEST_DATA);
    meter.count([&] { sockets.send(sent); }, [&] { sockets.receive(data); });
}

// Counts the thread that calls it, from the end of a callback to the beginning of the next.
class CountedListener : public ZT::ZTIPCMessageArrivalListener {
public:
    explicit CountedListener(Meter& meter) : meter(meter), done(eventfd(0, 0)) {}
    ~CountedListener() { close(done); }

    CountedListener(const CountedListener&) = delete;
    CountedListener& operator=(const CountedListener&) = delete;

    void onMessageArrival(IPCMessage* /*message*/) override
    {
        if (number > Meter::WARM_UP) {
            meter.end();
        }
        ++number;
        eventfd_write(done, 1);
        if (number > Meter::WARM_UP && number <= Meter::WARM_UP + Meter::TIMES) {
            meter.begin();
        }
    }

    void await() const
    {
        eventfd_t count = 0;
        eventfd_read(done, &count);
    }

private:
    Meter& meter;
    const int done;
    int number = 0;
};

void deliver(Meter& meter, std::size_t size)
{
    Connection connection;
    CountedListener listener(meter);
    connection.receiver().setReceiveTimeout(-1);
    require(connection.receiver().setMessageArrivalListener(&listener) == 0, "a listener");
    std::vector<unsigned char> data(size, 'x');
    for (int i = 0; i <= Meter::WARM_UP + Meter::TIMES; ++i) {
        connection.send(data);
        listener.await();
    }
    connection.receiver().setMessageArrivalListener(nullptr);
}

// How often the other threads of the process have waited so far.
std::uint64_t waitsOfOthers()
{
    std::uint64_t all = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        if (thread.path().filename() == std::to_string(getpid())) {
            continue;
        }
        const std::string status = readAll(thread.path() / "status");
        const char name[] = "\nvoluntary_ctxt_switches:";
        all += std::stoul(status.substr(status.find(name) + sizeof name - 1));
    }
    return all;
}

void listenAtRest(Meter& meter, std::size_t /*size*/)
{
    Connection connection;
    CountedListener listener(meter);
    connection.receiver().setReceiveTimeout(-1);
    require(connection.receiver().setMessageArrivalListener(&listener) == 0, "a listener");
    usleep(REST_US); // until the thread waits
    const std::uint64_t before = waitsOfOthers();
    usleep(REST_US);
    Meter::counts.wakeUps = waitsOfOthers() - before;
    connection.receiver().setMessageArrivalListener(nullptr);
}

void write(Meter& meter, std::size_t /*size*/)
{
    ZT::ZTPipe pipe;
    require(pipe.init() == 0, "init");
    const char byte = 0;
    meter.count([&] { require(pipe.writeIntoPipe(&byte, 1) == 0, "writeIntoPipe"); });
}

void read(Meter& meter, std::size_t /*size*/)
{
    ZT::ZTPipe pipe;
    require(pipe.init() == 0, "init");
    char byte = 0;
    meter.count([&] { require(pipe.writeIntoPipe(&byte, 1) == 0, "writeIntoPipe"); },
                [&] { require(pipe.readFromPipe(&byte, 1) == 0, "readFromPipe"); });
}

void readByte(int descriptor)
{
    char byte = 0;
    require(::read(descriptor, &byte, 1) == 1, "read");
}

// The write ends are above the descriptors of an fd_set, which a thousand read ends fill.
class Pipes {
public:
    explicit Pipes(std::size_t count)
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        while (readEnds.size() < count) {
            int ends[2];
            require(pipe(ends) == 0, "pipe");
            readEnds.push_back(ends[0]);
            writeEnds.push_back(dup2(ends[1], FD_SETSIZE + static_cast<int>(writeEnds.size())));
            require(writeEnds.back() >= 0, "dup2");
            close(ends[1]);
        }
    }
    ~Pipes()
    {
        for (std::size_t i = 0; i < readEnds.size(); ++i) {
            close(readEnds[i]);
            close(writeEnds[i]);
        }
    }

    Pipes(const Pipes&) = delete;
    Pipes& operator=(const Pipes&) = delete;

    void wakeOne()
    {
        const char byte = 0;
        require(::write(writeEnds[writeEnds.size() / 2], &byte, 1) == 1, "write");
    }

    const std::vector<int>& getReadEnds() const { return readEnds; }

private:
    std::vector<int> readEnds;
    std::vector<int> writeEnds;
};

class ReadEnd : public ZT::ZTEndPoint {
public:
    explicit ReadEnd(int descriptor) : descriptor(descriptor) {}

    int getReadEndPointID() const override { return descriptor; }
    int getWriteEndPointID() const override { return -1; }
    bool isConnected() const override { return descriptor >= 0; }
    int reconnect() override { return 0; }

private:
    const int descriptor;
};

class Reader : public ZT::ZTEndPointHandler {
public:
    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* /*manager*/) override
    {
        readByte(endPoint->getReadEndPointID());
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
};

struct Managed {
    explicit Managed(std::size_t count) : pipes(count)
    {
        for (const int descriptor : pipes.getReadEnds()) {
            endPoints.emplace_back(descriptor);
            require(manager.addEndPoint(&endPoints.back(), &reader) == 0, "addEndPoint");
        }
    }

    Pipes pipes;
    std::deque<ReadEnd> endPoints;
    Reader reader;
    ZT::ZTEndPointManager manager;
};

void wait(Meter& meter, std::size_t count)
{
    Managed managed(count);
    meter.count([&] { managed.pipes.wakeOne(); },
                [&] { require(managed.manager.waitForEndPoints(0, 2) == 0, "wait"); });
}

void dispatch(Meter& meter, std::size_t count)
{
    Managed managed(count);
    require(managed.manager.getDescriptor() >= 0, "getDescriptor");
    meter.count([&] { managed.pipes.wakeOne(); },
                [&] { require(managed.manager.dispatch() == 0, "dispatch"); });
}

void waitByHand(Meter& meter, std::size_t count)
{
    Pipes pipes(count);
    const auto wait = [&] {
        fd_set readable;
        FD_ZERO(&readable);
        int highest = 0;
        for (const int descriptor : pipes.getReadEnds()) {
            FD_SET(descriptor, &readable);
            highest = std::max(highest, descriptor);
        }
        require(select(highest + 1, &readable, nullptr, nullptr, nullptr) == 1, "select");
        for (const int descriptor : pipes.getReadEnds()) {
            if (FD_ISSET(descriptor, &readable)) {
                readByte(descriptor);
            }
        }
    };
    meter.count([&] { pipes.wakeOne(); }, wait);
}

const Operations ADDED({
    {"pipe: write 1 byte", write, 0},
    {"pipe: read 1 byte", read, 0},
    {"IPC: send 1 byte", send, 1},
    {"IPC: send 64 bytes", send, 64},
    {"IPC: send 64 bytes, by hand", sendByHand, 64},
    {"IPC: send 255 bytes", send, 255},
    {"IPC: send 255 bytes, by hand", sendByHand, 255},
    {"IPC: send 64 KiB", send, 65536},
    {"IPC: receive 1 byte", receive, 1},
    {"IPC: receive 64 bytes", receive, 64},
    {"IPC: receive 64 bytes, by hand", receiveByHand, 64},
    {"IPC: receive 255 bytes", receive, 255},
    {"IPC: receive 255 bytes, by hand", receiveByHand, 255},
    {"IPC: receive 64 KiB", receive, 65536},
    {"IPC: deliver 1 byte to a listener", deliver, 1},
    {"IPC: deliver 64 bytes to a listener", deliver, 64},
    {"IPC: listen at rest", listenAtRest, 0},
    {"manager: wait for 1 of 1", wait, 1},
    {"manager: wait for 1 of 1, by hand", waitByHand, 1},
    {"manager: wait for 1 of 10", wait, 10},
    {"manager: wait for 1 of 10, by hand", waitByHand, 10},
    {"manager: wait for 1 of 100", wait, 100},
    {"manager: wait for 1 of 100, by hand", waitByHand, 100},
    {"manager: wait for 1 of 1000", wait, 1000},
    {"manager: wait for 1 of 1000, by hand", waitByHand, 1000},
    {"manager: dispatch 1 of 1", dispatch, 1},
    {"manager: dispatch 1 of 1000", dispatch, 1000},
});

} // namespace
