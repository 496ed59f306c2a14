#ifndef ZT_TESTS_SOCKET_LOOPBACK_H
#define ZT_TESTS_SOCKET_LOOPBACK_H

#include "zt/ZTSocketLinux.h"

#include <gtest/gtest.h>

/// The local port of a socket.
inline unsigned int portOf(int descriptor)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

/// A server on a port of 127.0.0.1 that the system picks, and one client's connection to it.
class Loopback {
public:
    Loopback()
    {
        server.bindSocket(localhost, 0);
        EXPECT_EQ(server.listenSocket(), 0);
        port = portOf(server.getSocketIdentifier());
        EXPECT_EQ(client.connectSocket(localhost, port), 0);
        accepted = server.acceptSocket();
        EXPECT_GE(accepted, 1);
    }

    ~Loopback() { server.closeSocket(id()); }

    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

    /// The server's end of the connection.
    unsigned int id() const { return static_cast<unsigned int>(accepted); }

    ZT::ZTSocketLinux server;
    ZT::ZTSocketLinux client;
    unsigned int port = 0;
    int accepted = -1;

private:
    char localhost[10] = "127.0.0.1";
};

#endif
