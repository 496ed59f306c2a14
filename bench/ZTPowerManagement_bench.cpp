// The power state is asked for, and the power-management daemon's answer taken. The daemon is
// another process, on the other core.

#include "bench/support/Pinning.h"
#include "bench/support/require.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "zt/ztpmd_msg.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

class FloorClient {
public:
    FloorClient() : descriptor(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address = {AF_UNIX, "/var/run/ztpmd_api"};
        require(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                    0,
                "connect");
    }

    ~FloorClient() { close(descriptor); }

    FloorClient(const FloorClient&) = delete;
    FloorClient& operator=(const FloorClient&) = delete;

    void ask()
    {
        pollfd waited = {descriptor, POLLOUT | POLLERR | POLLRDHUP, 0};
        require(poll(&waited, 1, 50) == 1 && waited.revents == POLLOUT, "poll");
        ZT::ztpmd_msg_t message{};
        message.type = ZT::ZTPMD_GET_POWER_STATE;
        require(write(descriptor, &message, sizeof message) == sizeof message, "write");
    }

    void takeAnswer()
    {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(descriptor, &readable);
        require(select(descriptor + 1, &readable, nullptr, nullptr, nullptr) == 1, "select");
        ZT::ztpmd_msg_t message{};
        require(read(descriptor, &message, sizeof message) == sizeof message, "read");
        require(message.type == ZT::ZTPMD_POWER_STATE_1, "an answer");
    }

private:
    const int descriptor;
};

class ZtClient : ZT::ZTSignalListener {
public:
    ZtClient()
    {
        require(power != nullptr, "create");
        power->setEventListener(this);
        require(power->subscribeToEndpointManager(&manager) == 0, "subscribeToEndpointManager");
    }

    void ask() { require(power->getPowerState() == 0, "getPowerState"); }

    void takeAnswer()
    {
        answered = false;
        require(manager.waitForEndPoints(0, 2) == 0, "waitForEndPoints");
        require(answered, "an answer");
    }

private:
    int onSignal(ZT::ZTSignal& signal) override
    {
        answered = signal.getEventID() == ZT::EVENT_POWER_STATE_1;
        return 0;
    }

    ZT::ZTEndPointManager manager;
    const std::unique_ptr<ZT::ZTPowerManagement> power{ZT::ZTPowerManagement::create()};
    bool answered = false;
};

template <class Client>
void powerRequestAndEvent(benchmark::State& state)
{
    pinTo(0);
    Client client;
    for ([[maybe_unused]] auto _ : state) {
        client.ask();
        client.takeAnswer();
    }
}

} // namespace

BENCHMARK_TEMPLATE(powerRequestAndEvent, FloorClient)->UseRealTime();
BENCHMARK_TEMPLATE(powerRequestAndEvent, ZtClient)->UseRealTime();
