#include "PowerSocket.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(ZtsimPowerInitial, StateIsTheGivenOne)
{
    EXPECT_EQ(PowerSocket().ask(power(8)), power(10, 2));
}

TEST(ZtsimPowerInitial, TimeoutsAreTheGivenOnesOrZero)
{
    const PowerSocket client;
    EXPECT_EQ(client.ask(power(0, 0)), power(2, 0, 10));
    EXPECT_EQ(client.ask(power(0, 1)), power(2, 1, 0));
    EXPECT_EQ(client.ask(power(0, 5)), power(2, 5, std::numeric_limits<std::uint32_t>::max()));
}

TEST(ZtsimPowerInitial, PropagationTimeIsTheGivenOne)
{
    EXPECT_EQ(PowerSocket().ask(power(14, 2)), power(16, 2, 30));
}

TEST(ZtsimPowerInitial, DeviceStatesAreTheGivenOnesOrZero)
{
    const PowerSocket client;
    EXPECT_EQ(client.ask(device(3, "touch")), device(5, "touch", 7));
    EXPECT_EQ(client.ask(device(3, "console")), device(5, "console", -2));
    EXPECT_EQ(client.ask(device(3, "display")), device(5, "display", 0));
}

} // namespace
