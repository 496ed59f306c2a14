#include "Loopback.h"
#include "zt/ZTSocketMessage.h"

#include <cstdint>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace ZT;

namespace {

// The next record; null when the peer has closed the connection. Waits until more than its marker
// has come, for a marker alone is dropped.
std::unique_ptr<char[]> receive(ZTSocketLinux& server, int id)
{
    char beginning[16];
    EXPECT_GE(recv(id, beginning, sizeof beginning, MSG_PEEK | MSG_WAITALL), 0);
    std::unique_ptr<char[]> record;
    int status = -1;
    while (status == -1) {
        record.reset(server.getNextSocketBuffer(status, id));
    }
    EXPECT_EQ(status, record == nullptr ? 14 : 0);
    return record;
}

} // namespace

TEST(ForeignPeer, SendsRecordsByteByByteAndGetsThemBackWithTheirFlagTurned)
{
    ZTSocketLinux server;
    char localhost[] = "127.0.0.1";
    server.bindSocket(localhost, 0);
    ASSERT_EQ(server.listenSocket(), 0);
    const unsigned int port = portOf(server.getSocketIdentifier());
    FILE* peer = popen(("python3 " PEER " " + std::to_string(port)).c_str(), "r");
    const int accepted = server.acceptSocket();
    const auto id = static_cast<unsigned int>(accepted);

    std::vector<unsigned int> types;
    while (const auto record = receive(server, accepted)) {
        ZTSocketMessage message(record.get());
        types.push_back(message.messageType);
        EXPECT_FALSE(message.messageFlag);
        EXPECT_EQ(message.parameter1, 1U);
        EXPECT_EQ(message.parameter2, 2U);
        EXPECT_EQ(message.parameter3, 65535U);
        const auto body = message.messageLength - 28;
        EXPECT_EQ(body, message.messageType % 5000U);

        message.messageFlag = true;
        message.fillBuffer(record.get());
        message.updateMessageLength(record.get(), message.messageLength);
        auto* bytes = reinterpret_cast<int*>(record.get());
        EXPECT_EQ(server.sendSocketData(id, bytes, 28 + body), static_cast<int>(28 + body));
    }
    EXPECT_THAT(types, testing::ElementsAre(0, 1, 200, 65535));
    server.closeSocket(id);
    EXPECT_EQ(pclose(peer), 0);
}
