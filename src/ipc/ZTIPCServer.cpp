#include "zt/ZTIPCServer.h"

#include "ztutil/ZTDebug.h"

#include <cstring>
#include <memory>
#include <new>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ZT {

namespace {

const int BACKLOG = 128;

void print(const char* message)
{
    ZTDebug::debugPrintError(1, ZTIPCServer::debugSection, "%s", message);
}

} // namespace

ZTIPCServer::ZTIPCServer() : serverEndPoint(false) {}

ZTIPCServer::~ZTIPCServer()
{
    ZTIPCServer::deinitialize();
}

int ZTIPCServer::initialize(const std::string& serverAddress)
{
    if (serverAddress.empty()) {
        print("initialize() failed. serverAddress Length is == 0.");
        return 20;
    }
    const int result = serverEndPoint.initialize(serverAddress, true);
    if (result != 0) {
        return result;
    }
    const int listening = listen(serverEndPoint.getReadEndPointID(), BACKLOG);
    serverEndPoint.connected = true;
    return listening == 0 ? 0 : 3;
}

void ZTIPCServer::deinitialize() {}

ZTIPCEndPoint* ZTIPCServer::acceptConnection()
{
    auto accepted = std::make_unique<ZTIPCEndPoint>(false);
    sockaddr_un client{};
    socklen_t size = sizeof client;
    const int descriptor =
        accept(serverEndPoint.getReadEndPointID(), reinterpret_cast<sockaddr*>(&client), &size);
    if (descriptor < 0) {
        print("acceptConnection() failed");
        return nullptr;
    }
    try {
        // A name may fill its field and then has no end of its own.
        const std::string name(client.sun_path, strnlen(client.sun_path, sizeof client.sun_path));
        accepted->initialize(descriptor, serverEndPoint.getEndPointAddress(), name);
    } catch (const std::bad_alloc&) {
        close(descriptor);
        throw;
    }
    return accepted.release();
}

ZTIPCEndPoint* ZTIPCServer::getServerEndPoint()
{
    return &serverEndPoint;
}

} // namespace ZT
