// A ZeroMQ socket in the endpoint manager's loop, beside all else that it waits for. Another thread
// sends.

#include "zt/ZTDescriptorEndPoint.h"
#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTThread.h"

#include <cstdio>
#include <memory>
#include <string>
#include <zmq.h>

namespace {

const char* const ADDRESS = "inproc://texts";
const unsigned int WITHOUT_LIMIT = 2;

int descriptorOf(void* socket)
{
    int descriptor = -1;
    std::size_t size = sizeof descriptor;
    zmq_getsockopt(socket, ZMQ_FD, &descriptor, &size);
    return descriptor;
}

struct Texts : ZT::ZTEndPointHandler {
    explicit Texts(void* source) : socket(source) {}

    int onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/,
                           ZT::ZTEndPointManager* /*manager*/) override
    {
        // Its descriptor tells of news only once: take all there is, or the rest is never heard of.
        char text[32];
        for (int size = 0; (size = zmq_recv(socket, text, sizeof text, ZMQ_DONTWAIT)) >= 0;) {
            stopped = std::string(text, static_cast<std::size_t>(size)) == "stop";
            std::printf("heard %.*s\n", size, text);
        }
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }

    void* const socket;
    bool stopped = false;
};

void send(void* context)
{
    void* const socket = zmq_socket(context, ZMQ_PUSH);
    zmq_connect(socket, ADDRESS);
    for (const std::string text : {"one", "two", "stop"}) {
        zmq_send(socket, text.data(), text.size(), 0);
    }
    zmq_close(socket);
}

} // namespace

int main()
{
    void* const context = zmq_ctx_new();
    void* const socket = zmq_socket(context, ZMQ_PULL);
    zmq_bind(socket, ADDRESS);
    ZT::ZTDescriptorEndPoint endPoint(descriptorOf(socket));
    ZT::ZTEndPointManager manager;
    Texts texts(socket);
    manager.addEndPoint(&endPoint, &texts);
    const std::unique_ptr<ZT::ZTThread> sender(ZT::ZTThread::create("sender"));
    sender->startThread(send, context);
    texts.onEndPointReadable(&endPoint, &manager); // what came before the first wait
    while (!texts.stopped) {
        manager.waitForEndPoints(0, WITHOUT_LIMIT);
    }
    sender->join();
    manager.removeExactEndPoint(&endPoint);
    zmq_close(socket);
    zmq_ctx_term(context);
}
