#ifndef ZT_BENCH_FLOORLINK_H
#define ZT_BENCH_FLOORLINK_H

#include "bench/ipc/Link.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// The system calls that a ZTIPCEndPoint has to make for a message, by hand.
class FloorLink {
public:
    static constexpr const char* NAME = "Floor";

    FloorLink(End end, const std::string& path)
        : end(end), descriptor(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (end == End::SERVER) {
            require(bind(descriptor, systemAddress(), sizeof address) == 0, "bind");
            require(listen(descriptor, 1) == 0, "listen");
        }
    }

    ~FloorLink() { close(descriptor); }

    FloorLink(const FloorLink&) = delete;
    FloorLink& operator=(const FloorLink&) = delete;

    void meet()
    {
        if (end == End::CLIENT) {
            require(connect(descriptor, systemAddress(), sizeof address) == 0, "connect");
            return;
        }
        const int accepted = accept(descriptor, nullptr, nullptr);
        require(accepted >= 0, "accept");
        close(descriptor);
        descriptor = accepted;
    }

    void send(std::uint32_t size)
    {
        const std::uint32_t frameSize = HEADER_SIZE + size;
        setsockopt(descriptor, SOL_SOCKET, SO_SNDLOWAT, &frameSize, sizeof frameSize);
        fd_set writable;
        FD_ZERO(&writable);
        FD_SET(descriptor, &writable);
        timeval limit = {LIMIT_MS / 1000, 0};
        require(select(descriptor + 1, nullptr, &writable, nullptr, &limit) == 1, "select");
        unsigned char frame[HEADER_SIZE + LONGEST_MESSAGE];
        std::memset(frame, 0, HEADER_SIZE);
        frame[HEADER_SIZE - 1] = static_cast<unsigned char>(size);
        std::memcpy(frame + HEADER_SIZE, payload, size);
        require(::send(descriptor, frame, frameSize, MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(frameSize),
                "send");
    }

    void receive(std::uint32_t size)
    {
        const std::uint32_t frameSize = HEADER_SIZE + LONGEST_MESSAGE;
        setsockopt(descriptor, SOL_SOCKET, SO_RCVLOWAT, &frameSize, sizeof frameSize);
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(descriptor, &readable);
        timeval limit = {LIMIT_MS / 1000, 0};
        require(select(descriptor + 1, &readable, nullptr, nullptr, &limit) == 1, "select");
        unsigned char header[HEADER_SIZE];
        require(recv(descriptor, header, HEADER_SIZE, 0) == HEADER_SIZE, "recv of a header");
        require(header[HEADER_SIZE - 1] == size, "length");
        require(recv(descriptor, payload, size, 0) == static_cast<ssize_t>(size), "recv");
    }

private:
    static const std::uint32_t HEADER_SIZE = 9;

    const sockaddr* systemAddress() const { return reinterpret_cast<const sockaddr*>(&address); }

    const End end;
    int descriptor;
    sockaddr_un address{};
    unsigned char payload[LONGEST_MESSAGE] = {};
};

#endif
