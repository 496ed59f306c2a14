#ifndef ZT_EXAMPLES_TEXTSERVER_H
#define ZT_EXAMPLES_TEXTSERVER_H

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTIPCServer.h"

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

/// Answers the messages of local clients in upper case, and hands their texts out.
class TextServer : public ZT::ZTEndPointHandler {
public:
    using Heard = std::function<void(const std::string& text)>;

    TextServer(ZT::ZTEndPointManager& manager, const std::string& path, Heard heard)
        : manager(manager), heard(std::move(heard)), listening(server.initialize(path) == 0)
    {
        if (listening) {
            manager.addEndPoint(server.getServerEndPoint(), this);
        }
    }
    virtual ~TextServer() { manager.removeEndPointsOf(this); }

    bool isListening() const { return listening; }

    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager*) override
    {
        if (endPoint == server.getServerEndPoint()) {
            accept();
        } else if (!answer(*clients.at(endPoint))) {
            manager.removeExactEndPoint(endPoint);
            clients.erase(endPoint);
        }
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint*) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint*) override { return 0; }

private:
    void accept()
    {
        std::unique_ptr<ZT::ZTIPCEndPoint> client(server.acceptConnection());
        if (client != nullptr && client->isConnected()) {
            fcntl(client->getReadEndPointID(), F_SETFL, O_NONBLOCK); // half a frame must not wait
            manager.addEndPoint(client.get(), this);
            clients.emplace(client.get(), std::move(client));
        }
    }

    bool answer(ZT::ZTIPCEndPoint& client) const
    {
        IPCMessage message{};
        const int result = client.receiveMessage(&message);
        const std::unique_ptr<unsigned char[]> data(message.data);
        if (result != 0) {
            return false;
        }
        heard(std::string(data.get(), data.get() + message.dataLength));
        std::transform(data.get(), data.get() + message.dataLength, data.get(), ::toupper);
        return client.sendMessage(&message) == 0;
    }

    ZT::ZTEndPointManager& manager;
    const Heard heard;
    ZT::ZTIPCServer server;
    const bool listening;
    std::map<ZT::ZTEndPoint*, std::unique_ptr<ZT::ZTIPCEndPoint>> clients;
};

#endif
