// socket_sender stream|nng PORT SIZE: the other process of ZTSocket_bench. It connects to PORT and
// sends records of SIZE bytes, as fast as they are taken, until it is killed. An nng message is a
// record without a frame.

#include "bench/support/require.h"

#include <nng/nng.h>
#include <nng/protocol/pair0/pair.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <cstring>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

namespace {

std::string record(std::uint32_t size)
{
    std::string bytes(size, 'x');
    bytes.replace(0, 15, "ZTSOCKETMESSAGE");
    std::memcpy(&bytes[15], &size, sizeof size);
    return bytes;
}

// Many records at once, so that the reads at the other end are full.
std::string records(std::uint32_t size)
{
    const std::string one = record(size);
    std::string all;
    do {
        all += one;
    } while (all.size() < 65536);
    return all;
}

void sendStream(std::uint16_t port, std::uint32_t size)
{
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "connect");
    const std::string bytes = records(size);
    while (send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size())) {
    }
}

void sendByNng(std::uint16_t port, std::uint32_t size)
{
    nng_socket socket{};
    require(nng_pair0_open(&socket) == 0, "nng_pair0_open");
    const std::string url = "tcp://127.0.0.1:" + std::to_string(port);
    require(nng_dial(socket, url.c_str(), nullptr, 0) == 0, "nng_dial");
    std::string bytes = record(size);
    while (nng_send(socket, bytes.data(), bytes.size(), 0) == 0) {
    }
}

} // namespace

int main(int count, char** arguments)
{
    require(count == 4, "usage: socket_sender stream|nng PORT SIZE");
    const auto port = static_cast<std::uint16_t>(std::stoul(arguments[2]));
    const auto size = static_cast<std::uint32_t>(std::stoul(arguments[3]));
    if (arguments[1] == std::string("nng")) {
        sendByNng(port, size);
    } else {
        sendStream(port, size);
    }
    return 1;
}
