#include "zt/ZTNetworkConfigFactory.h"

#include "Commands.h"
#include "FakeInterfaces.h"
#include "zt/ZTNetworkLinux.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

namespace {

const int NO_INTERFACES[] = {4, 5, 7, 1000000, INT_MAX, -1, -2, -4, -1000000, INT_MIN};

class ZTNetworkConfigFactoryTest : public testing::Test {
protected:
    FakeInterfaces interfaces;
    Commands commands;
    CommandOutput routes;
    ZTNetworkConfigFactory factory;
};

// Writes where it gets its memory that the factory is to keep away from.
struct Framed {
    unsigned char before[64];
    alignas(ZTNetworkConfigFactory) unsigned char memory[sizeof(ZTNetworkConfigFactory)];
    unsigned char behind[64];
};

} // namespace

TEST_F(ZTNetworkConfigFactoryTest, StartsWithoutObjects)
{
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(factory.getEthInstance(n), nullptr);
        EXPECT_EQ(factory.getConfig(n), nullptr);
        EXPECT_FALSE(factory.readNetworkSettings(n));
        EXPECT_FALSE(factory.setNetworkSettings(n, "10.0.0.2", "255.255.0.0", "10.0.0.1"));
        EXPECT_EQ(factory.getDefaultIPAdress(n), "");
        EXPECT_EQ(factory.getDefaultNetmaskIP(n), "");
        EXPECT_EQ(factory.getDefaultGatewayIP(n), "");
    }
    EXPECT_EQ(ZTNetworkConfigFactory::emptyString, "");
    EXPECT_THAT(commands.take(), IsEmpty());
}

TEST_F(ZTNetworkConfigFactoryTest, CreatesAnObjectForEachInterfaceAndReturns0)
{
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(factory.create(n), 0);
        auto* network = dynamic_cast<ZTNetworkLinux*>(factory.getEthInstance(n));
        ASSERT_NE(network, nullptr);
        EXPECT_EQ(network->setEthernet("1.2.3.4", "255.0.0.0"), 0);
        EXPECT_EQ(factory.getConfig(n), network->getNetworkConfig());
        EXPECT_EQ(factory.getDefaultIPAdress(n), "192.168.135.6");
        EXPECT_EQ(factory.getDefaultNetmaskIP(n), "255.255.255.0");
        EXPECT_EQ(factory.getDefaultGatewayIP(n), "192.168.135.1");
    }
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 1.2.3.4 netmask 255.0.0.0",
                                             "ifconfig eth1 1.2.3.4 netmask 255.0.0.0",
                                             "ifconfig eth2 1.2.3.4 netmask 255.0.0.0",
                                             "ifconfig eth3 1.2.3.4 netmask 255.0.0.0"));
    EXPECT_NE(factory.getEthInstance(0), factory.getEthInstance(1));
}

TEST_F(ZTNetworkConfigFactoryTest, ASecondCreateDeletesTheFirstObjectAndMakesANewOne)
{
    EXPECT_EQ(factory.create(2), 0);
    factory.getConfig(2)->gateway = "changed"; // a leak is the sanitizer's to see
    EXPECT_EQ(factory.create(2), 0);
    EXPECT_EQ(factory.getConfig(2)->gateway, "192.168.135.1");
}

TEST_F(ZTNetworkConfigFactoryTest, OnlyTheOneThatIsNamedIsCreatedAndReleased)
{
    EXPECT_EQ(factory.create(1), 0);
    EXPECT_EQ(factory.create(3), 0);
    EXPECT_EQ(factory.getEthInstance(0), nullptr);
    EXPECT_EQ(factory.getEthInstance(2), nullptr);
    factory.release(1);
    EXPECT_EQ(factory.getEthInstance(1), nullptr);
    EXPECT_NE(factory.getEthInstance(3), nullptr);
    factory.release(1);
    EXPECT_EQ(factory.getEthInstance(1), nullptr);
}

TEST_F(ZTNetworkConfigFactoryTest, ReleaseAllLeavesNoObject)
{
    for (int n = 0; n < 4; ++n) {
        factory.create(n);
    }
    factory.releaseAll();
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(factory.getEthInstance(n), nullptr);
    }
    factory.releaseAll();
}

TEST_F(ZTNetworkConfigFactoryTest, ResetForgetsTheObjectWithoutDeletingIt)
{
    factory.create(1);
    const std::unique_ptr<ZTNetwork> taken(factory.getEthInstance(1));
    factory.reset(1);
    EXPECT_EQ(factory.getEthInstance(1), nullptr);
    EXPECT_EQ(taken->getNetworkConfig()->ipAddress, "192.168.135.6");
}

TEST_F(ZTNetworkConfigFactoryTest, InitForgetsAllFour)
{
    std::vector<std::unique_ptr<ZTNetwork>> taken;
    for (int n = 0; n < 4; ++n) {
        factory.create(n);
        taken.emplace_back(factory.getEthInstance(n));
    }
    factory.init();
    for (int n = 0; n < 4; ++n) {
        EXPECT_EQ(factory.getEthInstance(n), nullptr);
        EXPECT_EQ(taken[static_cast<std::size_t>(n)]->getDefaultIPAdress(), "192.168.135.6");
    }
}

TEST_F(ZTNetworkConfigFactoryTest, SettingsAreReadAndSetThroughTheObject)
{
    factory.create(0);
    factory.create(1);
    interfaces.interfaces = {{"lo", "127.0.0.1"}, {"eth1", "10.0.0.2"}};
    routes.output = "0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth1\n";
    EXPECT_FALSE(factory.readNetworkSettings(0));
    EXPECT_TRUE(factory.readNetworkSettings(1));
    EXPECT_EQ(factory.getConfig(1)->ipAddress, "10.0.0.2");
    EXPECT_FALSE(factory.setNetworkSettings(1, "10.0.0.2", "255.255.0.0", "300.1.1.1"));
    EXPECT_FALSE(factory.setNetworkSettings(1, "10.0.0.3", "255.255.0.0", "10.0.0.1"));
    EXPECT_TRUE(factory.setNetworkSettings(1, "10.0.0.2", "255.255.0.0", "10.0.0.1"));
    EXPECT_EQ(commands.take().back(), "route add default gw 10.0.0.1 eth1");
}

TEST_F(ZTNetworkConfigFactoryTest, AnyOtherNumberIsRefusedAndAnsweredAsWithoutAnObject)
{
    for (int n = 0; n < 4; ++n) {
        factory.create(n);
    }
    commands.take();
    for (const int n : NO_INTERFACES) {
        EXPECT_EQ(factory.create(n), 20) << n;
        EXPECT_EQ(factory.getEthInstance(n), nullptr) << n;
        EXPECT_EQ(factory.getConfig(n), nullptr) << n;
        EXPECT_FALSE(factory.readNetworkSettings(n)) << n;
        EXPECT_FALSE(factory.setNetworkSettings(n, "10.0.0.2", "255.255.0.0", "10.0.0.1")) << n;
        EXPECT_EQ(factory.getDefaultIPAdress(n), "") << n;
        EXPECT_EQ(factory.getDefaultNetmaskIP(n), "") << n;
        EXPECT_EQ(factory.getDefaultGatewayIP(n), "") << n;
        factory.release(n);
        factory.reset(n);
    }
    EXPECT_THAT(commands.take(), IsEmpty());
    for (int n = 0; n < 4; ++n) {
        EXPECT_NE(factory.getEthInstance(n), nullptr) << n;
    }
}

TEST(ZTNetworkConfigFactoryMemory, NoNumberReachesBeyondTheFourSlots)
{
    Framed framed;
    std::fill(std::begin(framed.before), std::end(framed.before), 0xA5);
    std::fill(std::begin(framed.behind), std::end(framed.behind), 0xA5);
    auto* factory = new (framed.memory) ZTNetworkConfigFactory;
    for (int n = -9; n < 13; ++n) {
        EXPECT_EQ(factory->create(n), n >= 0 && n < 4 ? 0 : 20) << n;
        EXPECT_EQ(factory->getEthInstance(n) != nullptr, n >= 0 && n < 4) << n;
    }
    for (int n = -9; n < 13; ++n) {
        factory->release(n);
        factory->reset(n);
    }
    factory->~ZTNetworkConfigFactory();
    EXPECT_THAT(framed.before, testing::Each(0xA5));
    EXPECT_THAT(framed.behind, testing::Each(0xA5));
}
