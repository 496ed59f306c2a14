// The device is in power state 5. Record 2 meets silence, 4 an unknown type, 6 an unknown device
// and 8 a short record.

#include "PowerSocket.h"

#include <gtest/gtest.h>

namespace {

/// Record 2 is the one that is not answered.
void spendRecords(std::size_t count)
{
    const PowerSocket client;
    for (std::size_t i = 0; i < count; ++i) {
        client.send(power(8));
    }
    client.receiveBytes((count - 1) * sizeof(Record));
}

TEST(ZtsimPowerFault, SilenceIsNoAnswer)
{
    const PowerSocket client;
    EXPECT_EQ(client.ask(power(0, 1)), power(2, 1));
    client.send(power(0, 2));
    EXPECT_EQ(client.ask(power(0, 3)), power(2, 3));
}

TEST(ZtsimPowerFault, UnknownTypeTakesThePlaceOfTheHandling)
{
    spendRecords(3);
    const PowerSocket client;
    EXPECT_EQ(client.ask(power(1, 0, 9)), power(99));
    EXPECT_EQ(client.ask(power(0, 0)), power(2, 0, 0));
}

TEST(ZtsimPowerFault, UnknownDeviceTakesThePlaceOfTheHandling)
{
    spendRecords(5);
    const PowerSocket client;
    EXPECT_EQ(client.ask(device(4, "touch", 9)), device(5, "toaster", 1));
    EXPECT_EQ(client.ask(device(3, "touch")), device(5, "touch", 0));
}

TEST(ZtsimPowerFault, ShortRecordIsTheLastOfItsConnection)
{
    spendRecords(7);
    const PowerSocket client;
    const PowerSocket other;
    client.send(power(1, 0, 9));
    const Record answer = power(10, 5);
    EXPECT_EQ(client.receiveBytes(20), std::vector(answer.begin(), answer.begin() + 20));
    client.send(power(13));
    EXPECT_EQ(other.receive(), power(11, 3));
    EXPECT_EQ(other.ask(power(0, 0)), power(2, 0, 0));
    EXPECT_TRUE(client.isIdle());
    client.finish();
    EXPECT_TRUE(client.isAtEnd());
}

TEST(ZtsimPowerFault, ShortRecordMayStayUnread)
{
    spendRecords(7);
    {
        const PowerSocket client;
        const PowerSocket other;
        client.send(power(8));
        EXPECT_EQ(other.ask(power(8)), power(10, 5));
    }
    EXPECT_EQ(PowerSocket().ask(power(8)), power(10, 5));
}

} // namespace
