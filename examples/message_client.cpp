// Sends texts to a server on 127.0.0.1 and prints its answer to each.

#include "TextMessage.h"
#include "zt/ZTSocketFactory.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

const char* const TEXTS[] = {"hello", "", "a text that is longer than the others"};

// Waits for a whole record; null if the connection is lost.
std::unique_ptr<char[]> receive(ZT::ZTSocket& server)
{
    std::unique_ptr<char[]> record;
    int status = 0;
    while (record == nullptr && status == 0) {
        record.reset(server.getNextSocketBuffer(status, 0));
    }
    return record;
}

} // namespace

int main()
{
    const std::unique_ptr<ZT::ZTSocket> server(ZT::ZTSocketFactory::createSocketClass());
    if (server->connectSocket() != 0) {
        return 1;
    }
    std::uint16_t number = 0;
    for (const char* const text : TEXTS) {
        TextMessage request(text);
        request.parameter1 = ++number;
        server->sendSocketData(&request);
        const std::unique_ptr<char[]> record = receive(*server);
        if (record == nullptr) {
            std::puts("the server has gone");
            return 1;
        }
        const TextMessage reply(record.get());
        std::printf("answer %u: %s\n", reply.parameter1, reply.text.c_str());
    }
}
