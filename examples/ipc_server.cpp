// Answers messages in upper case, many clients on one thread, until a number of them have left.

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTIPCServer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace {

const unsigned int WITHOUT_LIMIT = 2;

std::string nameOf(const ZT::ZTIPCEndPoint& client)
{
    const std::string path = client.getPeerEndPointAddress();
    return path.substr(path.rfind('/') + 1);
}

// False if the client is lost, or leaves so much unread that the answer finds no room.
bool answer(ZT::ZTIPCEndPoint& client)
{
    IPCMessage message{};
    const int result = client.receiveMessage(&message);
    const std::unique_ptr<unsigned char[]> data(message.data);
    if (result != 0) {
        return false;
    }
    const std::string text(data.get(), data.get() + message.dataLength);
    std::printf("%s: %s\n", nameOf(client).c_str(), text.c_str());
    std::transform(data.get(), data.get() + message.dataLength, data.get(), ::toupper);
    return client.sendMessage(&message) == 0;
}

class Server : public ZT::ZTIPCServer, public ZT::ZTEndPointHandler {
public:
    std::size_t left = 0;
    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* manager) override
    {
        if (endPoint == getServerEndPoint()) {
            std::unique_ptr<ZT::ZTIPCEndPoint> client(acceptConnection());
            if (client != nullptr && client->isConnected()) { // it is not if it has bound no name
                std::printf("%s connected\n", nameOf(*client).c_str());
                manager->addEndPoint(client.get(), this);
                clients.emplace(client.get(), std::move(client));
            }
        } else if (ZT::ZTIPCEndPoint& client = *clients[endPoint]; !answer(client)) {
            std::printf("%s has left\n", nameOf(client).c_str());
            manager->removeExactEndPoint(endPoint); // it is closed, and others may be, too
            left += clients.erase(endPoint);
        }
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint*) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint*) override { return 0; }

private:
    std::map<ZT::ZTEndPoint*, std::unique_ptr<ZT::ZTIPCEndPoint>> clients;
};

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    Server server;
    ZT::ZTEndPointManager manager;
    if (argc != 3 || server.initialize(argv[1]) != 0) {
        std::fputs("cannot listen; usage: ipc_server PATH CLIENTS\n", stderr);
        return 1;
    }
    manager.addEndPoint(server.getServerEndPoint(), &server);
    std::puts("listening");
    while (server.left < std::strtoul(argv[2], nullptr, 10)) {
        manager.waitForEndPoints(0, WITHOUT_LIMIT);
    }
}
