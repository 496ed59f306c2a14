// Sends 300 bytes, where a message carries 255 at most: in pieces, each of which says in its second
// header how many bytes are still to come. Client and server are two threads here:
//
//     long_message PATH

#include "zt/ZTIPCServer.h"
#include "zt/ZTThread.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

namespace {

const std::uint32_t KIND = 1;
const std::size_t LONGEST = 255;
const long WITHOUT_LIMIT = -1;

bool sendAll(ZT::ZTIPCEndPoint& endPoint, std::string text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = std::min(LONGEST, text.size() - at);
        const auto left = static_cast<std::uint32_t>(text.size() - at - size);
        IPCMessage piece{KIND, left, static_cast<std::uint32_t>(size),
                         reinterpret_cast<unsigned char*>(&text[at])};
        if (endPoint.sendMessage(&piece) != 0) {
            return false;
        }
        at += size;
    }
    return true;
}

bool receiveAll(ZT::ZTIPCEndPoint& endPoint, std::string& text)
{
    for (std::uint32_t left = 1; left > 0;) {
        IPCMessage piece{};
        const int result = endPoint.receiveMessage(&piece, WITHOUT_LIMIT);
        const std::unique_ptr<unsigned char[]> data(piece.data); // there may be some in any case
        if (result != 0) {
            return false;
        }
        text.append(data.get(), data.get() + piece.dataLength);
        std::printf("%u bytes, %u to come\n", piece.dataLength, piece.header2);
        left = piece.header2;
    }
    return true;
}

void runClient(void* argument)
{
    const std::string& path = *static_cast<std::string*>(argument);
    ZT::ZTIPCEndPoint client(false);
    client.setSendTimeout(WITHOUT_LIMIT); // until the server has taken what came before
    if (client.initialize(path.substr(0, path.rfind('/') + 1) + "ann", false) == 0 &&
        client.connectTo(path) == 0) {
        sendAll(client, std::string(300, 'x'));
    }
}

} // namespace

int main(int argc, char** argv)
{
    std::string path = argc == 2 ? argv[1] : "";
    ZT::ZTIPCServer server;
    if (server.initialize(path) != 0) {
        return 1;
    }
    const std::unique_ptr<ZT::ZTThread> client(ZT::ZTThread::create("client"));
    client->startThread(runClient, &path);
    const std::unique_ptr<ZT::ZTIPCEndPoint> connection(server.acceptConnection());
    std::string text;
    const bool received = connection != nullptr && receiveAll(*connection, text);
    client->join();
    std::printf("received %zu bytes\n", text.size());
    return received ? 0 : 1;
}
