// One of many pipes becomes readable, each in its turn: waiting for it and reading its byte, in the
// manager's own wait, and in a main loop of another kind.

#include "bench/support/Pinning.h"
#include "bench/support/require.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"

#include <benchmark/benchmark.h>

#include <event2/event.h>
#include <uv.h>

#include <algorithm>
#include <deque>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>
#include <vector>

namespace {

// The read ends have the lowest numbers: a thousand of them still fit into an fd_set, and some
// contenders know no other.
class Pipes {
public:
    explicit Pipes(int count)
    {
        allowDescriptors(FD_SETSIZE + static_cast<rlim_t>(count) + 100);
        for (int number = 0; number < count; ++number) {
            int ends[2];
            require(pipe(ends) == 0, "pipe");
            readEnds.push_back(ends[0]);
            writeEnds.push_back(fcntl(ends[1], F_DUPFD, FD_SETSIZE));
            close(ends[1]);
        }
    }

    ~Pipes()
    {
        for (const std::vector<int>& ends : {readEnds, writeEnds}) {
            std::for_each(ends.begin(), ends.end(), close);
        }
    }

    Pipes(const Pipes&) = delete;
    Pipes& operator=(const Pipes&) = delete;

    // Makes the next one readable.
    void wakeNext()
    {
        const char byte = 0;
        require(write(writeEnds[next], &byte, 1) == 1, "write");
        next = (next + 1) % writeEnds.size();
    }

    const std::vector<int>& getReadEnds() const { return readEnds; }

private:
    static void allowDescriptors(rlim_t count)
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::max(limit.rlim_cur, std::min(count, limit.rlim_max));
        setrlimit(RLIMIT_NOFILE, &limit);
    }

    std::vector<int> readEnds;
    std::vector<int> writeEnds;
    std::size_t next = 0;
};

void readByte(int descriptor)
{
    char byte = 0;
    require(read(descriptor, &byte, 1) == 1, "read");
}

// Each contender waits with wait() until a pipe is readable, and has then read its byte.

class FloorLoop {
public:
    explicit FloorLoop(const Pipes& pipes) : descriptors(pipes.getReadEnds()) {}

    void wait()
    {
        fd_set readable;
        FD_ZERO(&readable);
        int highest = 0;
        for (const int descriptor : descriptors) {
            FD_SET(descriptor, &readable);
            highest = std::max(highest, descriptor);
        }
        require(select(highest + 1, &readable, nullptr, nullptr, nullptr) == 1, "select");
        for (const int descriptor : descriptors) {
            if (FD_ISSET(descriptor, &readable)) {
                readByte(descriptor);
            }
        }
    }

private:
    const std::vector<int> descriptors;
};

class FloorEpollLoop {
public:
    explicit FloorEpollLoop(const Pipes& pipes) : poller(epoll_create1(0))
    {
        for (const int descriptor : pipes.getReadEnds()) {
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.fd = descriptor;
            require(epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event) == 0, "epoll_ctl");
        }
    }
    ~FloorEpollLoop() { close(poller); }

    FloorEpollLoop(const FloorEpollLoop&) = delete;
    FloorEpollLoop& operator=(const FloorEpollLoop&) = delete;

    void wait() const
    {
        epoll_event event{};
        require(epoll_wait(poller, &event, 1, -1) == 1, "epoll_wait");
        readByte(event.data.fd);
    }

private:
    const int poller;
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

class ZtLoop : ZT::ZTEndPointHandler {
public:
    explicit ZtLoop(const Pipes& pipes)
    {
        for (const int descriptor : pipes.getReadEnds()) {
            endPoints.emplace_back(descriptor);
            require(manager.addEndPoint(&endPoints.back(), this) == 0, "addEndPoint");
        }
    }

    void wait() { require(manager.waitForEndPoints(0, 2) == 0, "waitForEndPoints"); }

protected:
    ZT::ZTEndPointManager manager;

private:
    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* /*manager*/) override
    {
        readByte(endPoint->getReadEndPointID());
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }

    std::deque<ReadEnd> endPoints;
};

// The manager in a main loop of another kind, which waits for its descriptor. The looks for lost
// endpoints, which let it wake up without a byte, are its own.
class ZtDescriptorLoop : public ZtLoop {
public:
    explicit ZtDescriptorLoop(const Pipes& pipes) : ZtLoop(pipes)
    {
        waited.fd = manager.getDescriptor();
        waited.events = POLLIN;
    }

    void wait()
    {
        do {
            require(poll(&waited, 1, -1) == 1, "poll");
        } while (manager.dispatch() != 0);
    }

private:
    pollfd waited{};
};

class LibeventSelectLoop {
public:
    explicit LibeventSelectLoop(const Pipes& pipes)
    {
        const std::unique_ptr<event_config, void (*)(event_config*)> config(event_config_new(),
                                                                            event_config_free);
        event_config_avoid_method(config.get(), "epoll");
        event_config_avoid_method(config.get(), "poll");
        base = event_base_new_with_config(config.get());
        require(event_base_get_method(base) == std::string("select"), "no select");
        for (const int descriptor : pipes.getReadEnds()) {
            events.push_back(
                event_new(base, descriptor, EV_READ | EV_PERSIST, onReadable, nullptr));
            event_add(events.back(), nullptr);
        }
    }

    ~LibeventSelectLoop()
    {
        for (event* added : events) {
            event_free(added);
        }
        event_base_free(base);
    }

    LibeventSelectLoop(const LibeventSelectLoop&) = delete;
    LibeventSelectLoop& operator=(const LibeventSelectLoop&) = delete;

    void wait() { require(event_base_loop(base, EVLOOP_ONCE) == 0, "event_base_loop"); }

private:
    static void onReadable(evutil_socket_t descriptor, short /*what*/, void* /*argument*/)
    {
        readByte(descriptor);
    }

    event_base* base;
    std::vector<event*> events;
};

class LibuvLoop {
public:
    explicit LibuvLoop(const Pipes& pipes) : handles(pipes.getReadEnds().size())
    {
        uv_loop_init(&loop);
        std::size_t number = 0;
        for (const int descriptor : pipes.getReadEnds()) {
            uv_poll_t* handle = &handles[number++];
            uv_poll_init(&loop, handle, descriptor);
            uv_poll_start(handle, UV_READABLE, onReadable);
        }
    }

    ~LibuvLoop()
    {
        for (uv_poll_t& handle : handles) {
            uv_close(reinterpret_cast<uv_handle_t*>(&handle), nullptr);
        }
        uv_run(&loop, UV_RUN_DEFAULT);
        uv_loop_close(&loop);
    }

    LibuvLoop(const LibuvLoop&) = delete;
    LibuvLoop& operator=(const LibuvLoop&) = delete;

    void wait() { uv_run(&loop, UV_RUN_ONCE); }

private:
    static void onReadable(uv_poll_t* handle, int /*status*/, int /*events*/)
    {
        uv_os_fd_t descriptor = -1;
        uv_fileno(reinterpret_cast<const uv_handle_t*>(handle), &descriptor);
        readByte(descriptor);
    }

    uv_loop_t loop;
    std::vector<uv_poll_t> handles;
};

using OwnWaitLoop = ZtLoop;

template <class Loop>
void managerOneReady(benchmark::State& state)
{
    pinTo(0);
    Pipes pipes(static_cast<int>(state.range(0)));
    Loop loop(pipes);
    for ([[maybe_unused]] auto _ : state) {
        pipes.wakeNext();
        loop.wait();
    }
}

template <class Loop>
void descriptorOneReady(benchmark::State& state)
{
    managerOneReady<Loop>(state);
}

void counts(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->UseRealTime();
}

} // namespace

BENCHMARK_TEMPLATE(managerOneReady, FloorLoop)->Apply(counts);
BENCHMARK_TEMPLATE(managerOneReady, ZtLoop)->Apply(counts);
BENCHMARK_TEMPLATE(managerOneReady, LibeventSelectLoop)->Apply(counts);
BENCHMARK_TEMPLATE(managerOneReady, LibuvLoop)->Apply(counts);

BENCHMARK_TEMPLATE(descriptorOneReady, FloorEpollLoop)->Apply(counts);
BENCHMARK_TEMPLATE(descriptorOneReady, ZtDescriptorLoop)->Apply(counts);
BENCHMARK_TEMPLATE(descriptorOneReady, OwnWaitLoop)->Apply(counts);
BENCHMARK_TEMPLATE(descriptorOneReady, LibeventSelectLoop)->Apply(counts);
BENCHMARK_TEMPLATE(descriptorOneReady, LibuvLoop)->Apply(counts);
