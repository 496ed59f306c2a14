// On the simulated device, where the default port is nobody else's.

#include "Loopback.h"
#include "RecordBytes.h"
#include "support/CapturedStream.h"
#include "zt/ZTSocketMessage.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <string>

using namespace ZT;

TEST(ZTSocketLinuxDefault, ClientAndServerMeetAt127001Port15000)
{
    ZTSocketLinux server;
    EXPECT_EQ(server.bindSocket(), 0);
    EXPECT_EQ(portOf(server.getSocketIdentifier()), 15000U);
    ASSERT_EQ(server.listenSocket(), 0);
    ZTSocketLinux client;
    ASSERT_EQ(client.connectSocket(), 0);
    const int accepted = server.acceptSocket();
    ASSERT_GE(accepted, 1);

    ZTSocketMessage message;
    EXPECT_EQ(client.sendSocketData(&message), 28);
    int status = -1;
    const std::unique_ptr<char[]> received(server.getNextSocketBuffer(status, accepted));
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(std::string(received.get(), 28), shortRecord(200));
    server.closeSocket(static_cast<unsigned int>(accepted));
}

TEST(ZTSocketLinuxDefault, ASecondServerIsToldThatThePortIsInUse)
{
    ZTSocketLinux first;
    EXPECT_EQ(first.bindSocket(), 0);
    ASSERT_EQ(first.listenSocket(), 0);
    const CapturedStream output(std::cout);
    ZTSocketLinux second;
    EXPECT_EQ(second.bindSocket(), 0);
    EXPECT_EQ(output.text(), "Bind error: Address already in use for 127.0.0.1:15000\n");
}
