// Waits for a client on 127.0.0.1, prints the texts that it sends, and answers each with its
// length.

#include "TextMessage.h"
#include "zt/ZTSocketFactory.h"

#include <cstdio>
#include <memory>
#include <string>

namespace {

const int CONNECTION_CLOSED = 14;

void answer(ZT::ZTSocket& server, unsigned int id, const TextMessage& request)
{
    std::printf("received: %s\n", request.text.c_str());
    TextMessage reply("your text has " + std::to_string(request.text.size()) + " bytes");
    reply.parameter1 = request.parameter1;
    server.sendSocketData(id, &reply);
}

} // namespace

int main()
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::unique_ptr<ZT::ZTSocket> server(ZT::ZTSocketFactory::createSocketClass());
    server->bindSocket(); // whether it worked shows when listening
    if (server->listenSocket() != 0) {
        return 1;
    }
    std::puts("listening");
    const int accepted = server->acceptSocket();
    if (accepted < 1) {
        return 1;
    }
    const auto id = static_cast<unsigned int>(accepted);
    int status = 0;
    while (status == 0) {
        // No record with status 0 means that a part of one has come.
        const std::unique_ptr<char[]> record(server->getNextSocketBuffer(status, accepted));
        if (record != nullptr && TextMessage::getMessageType(record.get()) == TextMessage::TYPE) {
            answer(*server, id, TextMessage(record.get()));
        }
    }
    server->closeSocket(id);
    std::puts(status == CONNECTION_CLOSED ? "the client has gone" : "cannot receive");
    return status == CONNECTION_CLOSED ? 0 : 1;
}
