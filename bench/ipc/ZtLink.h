#ifndef ZT_BENCH_ZTLINK_H
#define ZT_BENCH_ZTLINK_H

#include "bench/ipc/Link.h"
#include "zt/ZTIPCServer.h"

#include <memory>

class ZtLink {
public:
    static constexpr const char* NAME = "Zt";

    ZtLink(End end, const std::string& path) : end(end), path(path)
    {
        if (end == End::SERVER) {
            require(server.initialize(path) == 0, "initialize");
        }
    }

    void meet()
    {
        if (end == End::SERVER) {
            endPoint.reset(server.acceptConnection());
        } else {
            endPoint = std::make_unique<ZT::ZTIPCEndPoint>(false);
            require(endPoint->initialize(path + ".client", false) == 0, "initialize");
            require(endPoint->connectTo(path) == 0, "connectTo");
        }
        endPoint->setSendTimeout(LIMIT_MS);
        endPoint->setReceiveTimeout(LIMIT_MS);
    }

    void send(std::uint32_t size)
    {
        IPCMessage message{0, 0, size, payload};
        require(endPoint->sendMessage(&message) == 0, "sendMessage");
    }

    void receive(std::uint32_t size)
    {
        IPCMessage message{0, 0, LONGEST_MESSAGE, payload};
        require(endPoint->receiveMessage(&message) == 0, "receiveMessage");
        require(message.dataLength == size, "length");
    }

private:
    const End end;
    const std::string path;
    ZT::ZTIPCServer server;
    std::unique_ptr<ZT::ZTIPCEndPoint> endPoint;
    unsigned char payload[LONGEST_MESSAGE] = {};
};

#endif
