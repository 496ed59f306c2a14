#ifndef ZT_BENCH_FLOORCLIENT_H
#define ZT_BENCH_FLOORCLIENT_H

#include "bench/support/require.h"
#include "zt/ztpmd_msg.h"

#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// The system calls of a power request and of its event, by hand.
class FloorClient {
public:
    FloorClient() : descriptor(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address = {AF_UNIX, "/var/run/ztpmd_api"};
        require(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                    0,
                "connect");
    }

    ~FloorClient() { close(descriptor); }

    FloorClient(const FloorClient&) = delete;
    FloorClient& operator=(const FloorClient&) = delete;

    void ask()
    {
        pollfd waited = {descriptor, POLLOUT | POLLERR | POLLRDHUP, 0};
        require(poll(&waited, 1, 50) == 1 && waited.revents == POLLOUT, "poll");
        ZT::ztpmd_msg_t message{};
        message.type = ZT::ZTPMD_GET_POWER_STATE;
        require(write(descriptor, &message, sizeof message) == sizeof message, "write");
    }

    void takeAnswer()
    {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(descriptor, &readable);
        require(select(descriptor + 1, &readable, nullptr, nullptr, nullptr) == 1, "select");
        ZT::ztpmd_msg_t message{};
        require(read(descriptor, &message, sizeof message) == sizeof message, "read");
        require(message.type == ZT::ZTPMD_POWER_STATE_1, "an answer");
    }

private:
    const int descriptor;
};

#endif
