// ipc_receiver PATH CONNECTIONS: receives one message on each connection, says what came of it, and
// sends the message back if it came whole.

#include "zt/ZTIPCServer.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

int main(int count, char** arguments)
{
    ZT::ZTIPCServer server;
    if (count != 3 || server.initialize(arguments[1]) != 0) {
        return 1;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::puts("listening");
    for (long left = std::strtol(arguments[2], nullptr, 10); left > 0; --left) {
        const std::unique_ptr<ZT::ZTIPCEndPoint> endPoint(server.acceptConnection());
        IPCMessage message{255, 0, 0, nullptr};
        const int result = endPoint->receiveMessage(&message, -1);
        std::printf("%d %s\n", result, endPoint->isConnected() ? "connected" : "lost");
        if (result == 0) {
            endPoint->sendMessage(&message);
        }
        delete[] message.data;
    }
}
