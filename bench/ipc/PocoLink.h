#ifndef ZT_BENCH_POCOLINK_H
#define ZT_BENCH_POCOLINK_H

#include "bench/ipc/Link.h"

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>

/// The library's frames over a stream socket.
class PocoLink {
public:
    static constexpr const char* NAME = "Poco";

    PocoLink(End end, const std::string& path)
        : end(end), address(Poco::Net::SocketAddress::UNIX_LOCAL, path)
    {
        if (end == End::SERVER) {
            server.bind(address);
            server.listen(1);
        }
    }

    void meet()
    {
        if (end == End::SERVER) {
            stream = server.acceptConnection();
        } else {
            stream.connect(address);
        }
        stream.setSendTimeout(limit);
        stream.setReceiveTimeout(limit);
    }

    void send(std::uint32_t size)
    {
        unsigned char frame[HEADER_SIZE + LONGEST_MESSAGE];
        std::memset(frame, 0, HEADER_SIZE);
        frame[HEADER_SIZE - 1] = static_cast<unsigned char>(size);
        std::memcpy(frame + HEADER_SIZE, payload, size);
        const int frameSize = static_cast<int>(HEADER_SIZE + size);
        require(stream.sendBytes(frame, frameSize) == frameSize, "sendBytes");
    }

    void receive(std::uint32_t size)
    {
        unsigned char header[HEADER_SIZE];
        require(stream.receiveBytes(header, HEADER_SIZE) == HEADER_SIZE, "a header");
        require(header[HEADER_SIZE - 1] == size, "length");
        const int length = static_cast<int>(size);
        require(stream.receiveBytes(payload, length) == length, "receiveBytes");
    }

private:
    static const std::uint32_t HEADER_SIZE = 9;

    const End end;
    const Poco::Net::SocketAddress address;
    const Poco::Timespan limit{LIMIT_MS / 1000, 0};
    Poco::Net::ServerSocket server;
    Poco::Net::StreamSocket stream;
    unsigned char payload[LONGEST_MESSAGE] = {};
};

#endif
