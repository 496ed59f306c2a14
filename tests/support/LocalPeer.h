#ifndef ZT_TESTS_LOCALPEER_H
#define ZT_TESTS_LOCALPEER_H

#include "zt/ZTIPCEndPoint.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

/// The other end of an endpoint's connection: it speaks bytes, and knows nothing of messages.
class LocalPeer {
public:
    /// Connects `endPoint`, which then has the addresses "own" and "peer".
    explicit LocalPeer(ZT::ZTIPCEndPoint& endPoint)
    {
        int sockets[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
        EXPECT_EQ(endPoint.initialize(sockets[0], "own", "peer"), 0);
        descriptor = sockets[1];
    }

    ~LocalPeer() { hangUp(); }

    LocalPeer(const LocalPeer&) = delete;
    LocalPeer& operator=(const LocalPeer&) = delete;

    void hangUp()
    {
        if (descriptor >= 0) {
            close(descriptor);
            descriptor = -1;
        }
    }

    /// What the endpoint sends from now on fails; what it is sent still arrives.
    void readNoMore() const { EXPECT_EQ(shutdown(descriptor, SHUT_RD), 0); }

    /// What it has sent was all; it still reads.
    void writeNoMore() const { EXPECT_EQ(shutdown(descriptor, SHUT_WR), 0); }

    void write(const std::string& bytes) const
    {
        EXPECT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// Waits for `size` bytes; fewer if the endpoint closes before.
    std::string read(std::size_t size) const
    {
        std::string bytes(size, '\0');
        const ssize_t count = recv(descriptor, bytes.data(), size, MSG_WAITALL);
        bytes.resize(static_cast<std::size_t>(count > 0 ? count : 0));
        return bytes;
    }

    /// How many bytes there are to read.
    std::size_t unread() const
    {
        char bytes[65536];
        const ssize_t count = recv(descriptor, bytes, sizeof bytes, MSG_PEEK | MSG_DONTWAIT);
        return static_cast<std::size_t>(count > 0 ? count : 0);
    }

    /// Sends until the endpoint's socket takes no more.
    void fill() const
    {
        const std::string bytes(4096, 'x');
        while (send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0) {
        }
    }

private:
    int descriptor;
};

/// A frame as it is on the wire, with this length byte.
inline std::string frameBytes(std::uint32_t header1, std::uint32_t header2, unsigned char length,
                              const std::string& payload)
{
    std::string bytes;
    for (const std::uint32_t word : {header1, header2}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(word >> shift & 0xFF);
        }
    }
    return bytes + static_cast<char>(length) + payload;
}

inline std::string frameBytes(const std::string& payload)
{
    return frameBytes(1, 2, static_cast<unsigned char>(payload.size()), payload);
}

/// A message that releases its data.
struct OwnedMessage : IPCMessage {
    OwnedMessage() : IPCMessage{0, 0, 0, nullptr} {}

    /// With room for so many bytes.
    explicit OwnedMessage(std::uint32_t capacity)
        : IPCMessage{0, 0, capacity, new unsigned char[capacity]()}
    {}

    explicit OwnedMessage(const std::string& payload)
        : OwnedMessage(static_cast<std::uint32_t>(payload.size()))
    {
        payload.copy(reinterpret_cast<char*>(data), payload.size());
    }

    ~OwnedMessage() { delete[] data; }

    OwnedMessage(const OwnedMessage&) = delete;
    OwnedMessage& operator=(const OwnedMessage&) = delete;

    std::string text(std::size_t size) const { return {reinterpret_cast<const char*>(data), size}; }
    std::string text() const { return text(dataLength); }
};

#endif
