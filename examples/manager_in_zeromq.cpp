// The endpoint manager in a loop of ZeroMQ: what the power-management daemon says goes on as a
// message, which a subscriber in the same loop hears.

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <zmq.h>

namespace {

const char* const ADDRESS = "inproc://power";

struct Publisher : ZT::ZTSignalListener {
    explicit Publisher(void* target) : socket(target) {}

    int onSignal(ZT::ZTSignal& signal) override
    {
        const std::int32_t state = signal.getState();
        return zmq_send(socket, &state, sizeof state, ZMQ_DONTWAIT) < 0 ? 1 : 0;
    }

    void* const socket;
};

void run(ZT::ZTEndPointManager& manager, void* subscriber)
{
    zmq_pollitem_t waited[] = {{nullptr, manager.getDescriptor(), ZMQ_POLLIN, 0},
                               {subscriber, 0, ZMQ_POLLIN, 0}};
    for (std::int32_t state = -1; state < 0 && zmq_poll(waited, 2, -1) > 0;) {
        if (waited[0].revents != 0) {
            manager.dispatch();
        }
        if (waited[1].revents != 0 && zmq_recv(subscriber, &state, sizeof state, 0) > 0) {
            std::printf("heard power state %d\n", state);
        }
    }
}

} // namespace

int main()
{
    std::signal(SIGPIPE, SIG_IGN);
    const std::unique_ptr<ZT::ZTPowerManagement> power(ZT::ZTPowerManagement::create());
    if (power == nullptr) {
        return 1;
    }
    void* const context = zmq_ctx_new();
    void* const publisher = zmq_socket(context, ZMQ_PUB);
    void* const subscriber = zmq_socket(context, ZMQ_SUB);
    zmq_bind(publisher, ADDRESS);
    zmq_connect(subscriber, ADDRESS);
    zmq_setsockopt(subscriber, ZMQ_SUBSCRIBE, "", 0);
    Publisher listener(publisher);
    ZT::ZTEndPointManager manager;
    power->setEventListener(&listener);
    power->subscribeToEndpointManager(&manager);
    power->getPowerState();
    run(manager, subscriber);
    power->unsubscribeFromEndpointManager(&manager);
    zmq_close(subscriber);
    zmq_close(publisher);
    zmq_ctx_term(context);
}
