#include "zt/ZTNetworkLinux.h"

#include "Commands.h"
#include "FakeInterfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

namespace {

const char GATEWAY_COMMAND[] = "route -n";

// Notes what it is asked to validate, and finds everything valid but the word "invalid".
class PickyNetwork : public ZTNetworkLinux {
public:
    bool isIPAddressValid(const std::string& ip) override
    {
        validated.push_back(ip);
        return ip != "invalid";
    }

    bool applyNetworkSettings() override
    {
        ++applied;
        return applyResult;
    }

    std::vector<std::string> validated;
    int applied = 0;
    bool applyResult = true;
};

// A system in which every command succeeds: eth0 has 10.0.0.2 of 255.255.0.0, and the gateway is
// 10.0.0.1.
class ZTNetworkLinuxTest : public testing::Test {
protected:
    ZTNetworkLinuxTest()
    {
        interfaces.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.0.0.2"}};
        routes.output = "0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth0\n";
    }

    // Shows the pending values: of a write, the address and netmask of "ifconfig", and the gateway
    // of "route add".
    std::vector<std::string> pending()
    {
        commands.take();
        network.applyNetworkSettings();
        const std::vector<std::string> run = commands.take();
        return {run.front(), run.back()};
    }

    void expectCurrent(const std::string& ip, const std::string& netmask,
                       const std::string& gateway)
    {
        EXPECT_EQ(config.ipAddress, ip);
        EXPECT_EQ(config.netmask, netmask);
        EXPECT_EQ(config.gateway, gateway);
    }

    FakeInterfaces interfaces;
    Commands commands;
    CommandOutput routes;
    ZTNetworkLinux network;
    const ZTNetworkConfig& config = *network.getNetworkConfig();
};

} // namespace

TEST_F(ZTNetworkLinuxTest, ANewObjectHasTheDefaultsAndHasAskedForNothing)
{
    EXPECT_EQ(network.getDefaultIPAdress(), "192.168.135.6");
    EXPECT_EQ(network.getDefaultNetmaskIP(), "255.255.255.0");
    EXPECT_EQ(network.getDefaultGatewayIP(), "192.168.135.1");
    expectCurrent("192.168.135.6", "255.255.255.0", "192.168.135.1");
    EXPECT_THAT(interfaces.created, IsEmpty());
    EXPECT_THAT(commands.take(), IsEmpty());
    EXPECT_THAT(routes.commands, IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, TheDefaultsAreThereForEver)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_EQ(network.getDefaultIPAdress(), "192.168.135.6");
    EXPECT_EQ(network.getDefaultNetmaskIP(), "255.255.255.0");
    EXPECT_EQ(network.getDefaultGatewayIP(), "192.168.135.1");
}

TEST_F(ZTNetworkLinuxTest, GetNetworkConfigIsTheObjectsOwnRecord)
{
    EXPECT_EQ(network.getNetworkConfig(), network.getNetworkConfig());
    EXPECT_TRUE(network.readNetworkSettings());
    expectCurrent("10.0.0.2", "255.255.0.0", "10.0.0.1");
}

TEST_F(ZTNetworkLinuxTest, ValidIsADottedQuad)
{
    for (const char* valid : {"0.0.0.0", "255.255.255.255", "192.168.135.6", "1.2.3.4"}) {
        EXPECT_TRUE(network.isIPAddressValid(valid)) << valid;
    }
    for (const char* invalid :
         {"", "300.1.1.1", "1.2.3", "1.2.3.4.5", "1.2.3.4 ", " 1.2.3.4", "1.2.3.-4", "1.2.3.256",
          "a.b.c.d", "::1", "1.2.3.4;reboot", "0x1.2.3.4", "1.2.3.4\n", "1..3.4", "eth0"}) {
        EXPECT_FALSE(network.isIPAddressValid(invalid)) << invalid;
    }
    EXPECT_FALSE(network.isIPAddressValid(std::string("1.2.3.4\0", 8)));
    EXPECT_FALSE(network.isIPAddressValid(std::string("1.2.3.4\0; reboot", 16)));
}

TEST_F(ZTNetworkLinuxTest, WithANulInTheInterfacesNameNothingIsRun)
{
    network.setNetworkinterface(std::string("eth0\0x", 6));
    EXPECT_EQ(network.setEthernet("10.0.0.2", "255.255.0.0"), 6);
    EXPECT_EQ(network.setGateway("10.0.0.1"), 0);
    EXPECT_THAT(commands.take(), IsEmpty());
    EXPECT_FALSE(network.readNetworkSettings());
    expectCurrent("192.168.135.6", "255.255.255.0", "192.168.135.1");
}

TEST_F(ZTNetworkLinuxTest, ReadingReadsTheInterfaceAndThenTheGateway)
{
    EXPECT_TRUE(network.readNetworkSettings());
    expectCurrent("10.0.0.2", "255.255.0.0", "10.0.0.1");
    EXPECT_THAT(routes.commands, ElementsAre(GATEWAY_COMMAND));
    EXPECT_EQ(routes.closed, 1);
    EXPECT_THAT(commands.take(), IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, ReadingIsFalseAtTheInterfaceAndThenDoesNotAskForTheGateway)
{
    interfaces.interfaces = {};
    interfaces.netmask = "255.255.255.255";
    EXPECT_FALSE(network.readNetworkSettings());
    EXPECT_THAT(routes.commands, IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, ReadingIsFalseWithoutAGatewayAndKeepsTheOld)
{
    routes.output = "";
    EXPECT_FALSE(network.readNetworkSettings());
    expectCurrent("10.0.0.2", "255.255.0.0", "192.168.135.1");
}

TEST_F(ZTNetworkLinuxTest, ReadingLeavesThePendingValues)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_THAT(pending(), ElementsAre("ifconfig eth0 192.168.135.6 netmask 255.255.255.0",
                                       "route add default gw 192.168.135.1 eth0"));
}

TEST_F(ZTNetworkLinuxTest, ApplyingWritesThePendingValuesAndReadsThemBack)
{
    EXPECT_TRUE(network.setIPAddress("10.0.0.2", false));
    EXPECT_TRUE(network.setNetmaskIP("255.255.0.0", false));
    EXPECT_TRUE(network.setGatewayIP("10.0.0.1", false));
    EXPECT_TRUE(network.applyNetworkSettings());
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 10.0.0.2 netmask 255.255.0.0",
                                             "route del default gw 192.168.135.1 eth0",
                                             "route add default gw 10.0.0.1 eth0"));
    EXPECT_THAT(routes.commands, ElementsAre(GATEWAY_COMMAND));
    expectCurrent("10.0.0.2", "255.255.0.0", "10.0.0.1");
}

TEST_F(ZTNetworkLinuxTest, ApplyingIsTrueOnlyIfTheSystemHasTakenEachOfTheThree)
{
    EXPECT_TRUE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"));
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.3", "255.255.0.0", "10.0.0.1"));
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.255.0", "10.0.0.1"));
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.3"));
    EXPECT_TRUE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"));
}

TEST_F(ZTNetworkLinuxTest, ApplyingStopsWhereIfconfigFails)
{
    commands.status = 256;
    EXPECT_FALSE(network.applyNetworkSettings());
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 192.168.135.6 netmask 255.255.255.0"));
    EXPECT_THAT(interfaces.created, IsEmpty());
    EXPECT_THAT(routes.commands, IsEmpty());
    expectCurrent("192.168.135.6", "255.255.255.0", "192.168.135.1");
}

TEST_F(ZTNetworkLinuxTest, ApplyingStopsWhereTheInterfaceCannotBeRead)
{
    interfaces.interfaces.push_back({"eth1", "10.1.1.1"});
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"));
    EXPECT_EQ(commands.take().size(), 3U);
    EXPECT_THAT(routes.commands, IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, ApplyingIsFalseWhereTheGatewayCannotBeRead)
{
    routes.output = "";
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "192.168.135.1"))
        << "although the gateway last read is the same";
}

TEST_F(ZTNetworkLinuxTest, SetNetworkSettingsRefusesWhatIsNotValidAndChangesNothing)
{
    EXPECT_FALSE(network.setNetworkSettings("300.1.1.1", "255.255.0.0", "10.0.0.1"));
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.0", "10.0.0.1"));
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", ""));
    EXPECT_THAT(commands.take(), IsEmpty());
    EXPECT_THAT(interfaces.created, IsEmpty());
    EXPECT_THAT(pending(), ElementsAre("ifconfig eth0 192.168.135.6 netmask 255.255.255.0",
                                       "route add default gw 192.168.135.1 eth0"));
}

TEST_F(ZTNetworkLinuxTest, SetNetworkConfigDoesTheSameWithARecordThatItOnlyReads)
{
    ZTNetworkConfig given{"10.0.0.2", "255.255.0.0", "10.0.0.1"};
    EXPECT_TRUE(network.setNetworkConfig(&given));
    EXPECT_EQ(given.ipAddress, "10.0.0.2");
    EXPECT_EQ(given.netmask, "255.255.0.0");
    EXPECT_EQ(given.gateway, "10.0.0.1");
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 10.0.0.2 netmask 255.255.0.0",
                                             "route del default gw 192.168.135.1 eth0",
                                             "route add default gw 10.0.0.1 eth0"));
    for (std::string ZTNetworkConfig::*field :
         {&ZTNetworkConfig::ipAddress, &ZTNetworkConfig::netmask, &ZTNetworkConfig::gateway}) {
        ZTNetworkConfig invalid = given;
        invalid.*field = "300.1.1.1";
        EXPECT_FALSE(network.setNetworkConfig(&invalid));
    }
    EXPECT_THAT(commands.take(), IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, SetNetworkConfigTakesTheObjectsOwnRecord)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_TRUE(network.setNetworkConfig(network.getNetworkConfig()));
    EXPECT_EQ(commands.take().front(), "ifconfig eth0 10.0.0.2 netmask 255.255.0.0");
}

TEST_F(ZTNetworkLinuxTest, SetNetworkConfigOfNullIsFalse)
{
    EXPECT_FALSE(network.setNetworkConfig(nullptr));
    EXPECT_THAT(commands.take(), IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, SetNetworkConfigDoesNotDependOnAnOverrideOfSetNetworkSettings)
{
    class Refusing : public ZTNetworkLinux {
        bool setNetworkSettings(const std::string&, const std::string&, const std::string&) override
        {
            return false;
        }
    } refusing;
    ZTNetworkConfig given{"10.0.0.2", "255.255.0.0", "10.0.0.1"};
    EXPECT_TRUE(refusing.setNetworkConfig(&given));
}

TEST_F(ZTNetworkLinuxTest, ValidationAndApplyingGoThroughTheVirtualSlots)
{
    PickyNetwork picky;
    EXPECT_TRUE(picky.setNetworkSettings("a", "b", "c"));
    EXPECT_THAT(picky.validated, ElementsAre("a", "b", "c"));
    EXPECT_EQ(picky.applied, 1);
    picky.applyResult = false;
    ZTNetworkConfig config{"d", "e", "f"};
    EXPECT_FALSE(picky.setNetworkConfig(&config));
    EXPECT_EQ(picky.applied, 2);
    picky.validated.clear();
    EXPECT_FALSE(picky.setNetworkSettings("g", "invalid", "h"));
    EXPECT_THAT(picky.validated, ElementsAre("g", "invalid"));
    EXPECT_EQ(picky.applied, 2);
    picky.validated.clear();
    EXPECT_FALSE(picky.setIPAddress("invalid", false));
    EXPECT_TRUE(picky.setIPAddress("i", false));
    EXPECT_FALSE(picky.setNetmaskIP("invalid", false));
    EXPECT_TRUE(picky.setNetmaskIP("j", false));
    EXPECT_FALSE(picky.setGatewayIP("invalid", false));
    EXPECT_TRUE(picky.setGatewayIP("k", false));
    EXPECT_THAT(picky.validated, ElementsAre("invalid", "i", "invalid", "j", "invalid", "k"));
    EXPECT_THAT(commands.take(), IsEmpty());
}

TEST_F(ZTNetworkLinuxTest, SettersWithoutApplyRunNothing)
{
    EXPECT_TRUE(network.setIPAddress("10.0.0.3", false));
    EXPECT_TRUE(network.setNetmaskIP("255.0.0.0", false));
    EXPECT_TRUE(network.setGatewayIP("10.0.0.4", false));
    EXPECT_THAT(commands.take(), IsEmpty());
    EXPECT_THAT(routes.commands, IsEmpty());
    EXPECT_THAT(interfaces.created, IsEmpty());
    expectCurrent("192.168.135.6", "255.255.255.0", "192.168.135.1");
    EXPECT_THAT(pending(), ElementsAre("ifconfig eth0 10.0.0.3 netmask 255.0.0.0",
                                       "route add default gw 10.0.0.4 eth0"));
}

TEST_F(ZTNetworkLinuxTest, SettersRefuseWhatIsNotValid)
{
    for (const bool apply : {false, true}) {
        EXPECT_FALSE(network.setIPAddress("300.1.1.1", apply));
        EXPECT_FALSE(network.setNetmaskIP("300.1.1.1", apply));
        EXPECT_FALSE(network.setGatewayIP("300.1.1.1", apply));
    }
    EXPECT_THAT(commands.take(), IsEmpty());
    EXPECT_THAT(routes.commands, IsEmpty());
    EXPECT_THAT(pending(), ElementsAre("ifconfig eth0 192.168.135.6 netmask 255.255.255.0",
                                       "route add default gw 192.168.135.1 eth0"));
}

TEST_F(ZTNetworkLinuxTest, SetIPAddressAppliesItWithThePendingNetmask)
{
    EXPECT_TRUE(network.setNetmaskIP("255.0.0.0", false));
    EXPECT_TRUE(network.setIPAddress("10.0.0.3", true))
        << "although the system has taken another value";
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 10.0.0.3 netmask 255.0.0.0"));
    EXPECT_THAT(routes.commands, IsEmpty());
    expectCurrent("10.0.0.2", "255.255.0.0", "192.168.135.1");
    EXPECT_EQ(pending().front(), "ifconfig eth0 10.0.0.2 netmask 255.0.0.0")
        << "the address is what was read back, the netmask still pending";
}

TEST_F(ZTNetworkLinuxTest, SetNetmaskIPAppliesItWithThePendingAddress)
{
    EXPECT_TRUE(network.setIPAddress("10.0.0.3", false));
    EXPECT_TRUE(network.setNetmaskIP("255.0.0.0", true));
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 10.0.0.3 netmask 255.0.0.0"));
    EXPECT_THAT(routes.commands, IsEmpty());
    expectCurrent("10.0.0.2", "255.255.0.0", "192.168.135.1");
    EXPECT_EQ(pending().front(), "ifconfig eth0 10.0.0.3 netmask 255.255.0.0");
}

TEST_F(ZTNetworkLinuxTest, SetGatewayIPAppliesItAndReadsTheGatewayOnly)
{
    EXPECT_TRUE(network.setGatewayIP("10.0.0.4", true));
    EXPECT_THAT(commands.take(), ElementsAre("route del default gw 192.168.135.1 eth0",
                                             "route add default gw 10.0.0.4 eth0"));
    EXPECT_THAT(routes.commands, ElementsAre(GATEWAY_COMMAND));
    EXPECT_THAT(interfaces.created, IsEmpty());
    expectCurrent("192.168.135.6", "255.255.255.0", "10.0.0.1");
    EXPECT_EQ(pending().back(), "route add default gw 10.0.0.1 eth0");
}

TEST_F(ZTNetworkLinuxTest, ASetterWhoseCommandFailsIsFalseAndItsPendingValueTheCurrentOne)
{
    EXPECT_TRUE(network.setNetmaskIP("255.0.0.0", false));
    commands.status = 256;
    EXPECT_FALSE(network.setIPAddress("10.0.0.3", true));
    EXPECT_EQ(pending().front(), "ifconfig eth0 192.168.135.6 netmask 255.0.0.0");
    EXPECT_TRUE(network.setIPAddress("10.0.0.3", false));
    EXPECT_FALSE(network.setNetmaskIP("255.128.0.0", true));
    EXPECT_EQ(pending().front(), "ifconfig eth0 10.0.0.3 netmask 255.255.255.0");
    EXPECT_THAT(interfaces.created, IsEmpty()) << "nothing is read after a command that fails";
}

TEST_F(ZTNetworkLinuxTest, ASetterThatCannotReadBackIsFalseAndItsPendingValueTheCurrentOne)
{
    interfaces.interfaces.push_back({"eth1", "10.1.1.1"});
    EXPECT_FALSE(network.setIPAddress("10.0.0.3", true));
    EXPECT_EQ(pending().front(), "ifconfig eth0 10.0.0.2 netmask 255.255.255.0")
        << "the address was found before the interface turned out not to be the last";
    EXPECT_FALSE(network.setNetmaskIP("255.0.0.0", true));
    EXPECT_EQ(pending().front(), "ifconfig eth0 10.0.0.2 netmask 255.255.255.0");
    routes.output = "";
    EXPECT_FALSE(network.setGatewayIP("10.0.0.4", true));
    interfaces.interfaces.pop_back();
    EXPECT_EQ(pending().back(), "route add default gw 192.168.135.1 eth0");
}

TEST_F(ZTNetworkLinuxTest, SetNetworkinterfaceRunsNothingAndNamesTheInterfaceOfAllCommands)
{
    network.setNetworkinterface("eth2");
    EXPECT_THAT(commands.take(), IsEmpty());
    EXPECT_THAT(interfaces.created, IsEmpty());
    interfaces.interfaces.push_back({"eth2", "10.0.0.2"});
    routes.output = "0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth2\n";
    EXPECT_TRUE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"));
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth2 10.0.0.2 netmask 255.255.0.0",
                                             "route del default gw 192.168.135.1 eth2",
                                             "route add default gw 10.0.0.1 eth2"));
}

// --------------------------------------------------------------------------- the single steps

TEST_F(ZTNetworkLinuxTest, SetEthernetReturns0OnlyForACommandThatSucceeds)
{
    EXPECT_EQ(network.setEthernet("1.2.3.4", "255.0.0.0"), 0);
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 1.2.3.4 netmask 255.0.0.0"));
    for (const int status : {-1, 1, 256, 32512}) {
        commands.status = status;
        EXPECT_EQ(network.setEthernet("1.2.3.4", "255.0.0.0"), 6) << status;
    }
    EXPECT_EQ(commands.take().size(), 4U);
}

TEST_F(ZTNetworkLinuxTest, SetEthernetReturns6ForWhatIsNotValidAndRunsNothing)
{
    EXPECT_EQ(network.setEthernet("300.1.1.1", "255.0.0.0"), 6);
    EXPECT_EQ(network.setEthernet("1.2.3.4", "255.0.0"), 6);
    EXPECT_THAT(commands.take(), IsEmpty());
    PickyNetwork picky;
    EXPECT_EQ(picky.setEthernet("a", "invalid"), 6);
    EXPECT_EQ(picky.setEthernet("invalid", "b"), 6);
    EXPECT_EQ(picky.setEthernet("c", "d"), 0);
    EXPECT_THAT(picky.validated, ElementsAre("a", "invalid", "invalid", "c", "d"));
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 c netmask d"));
}

TEST_F(ZTNetworkLinuxTest, SetEthernetRunsWhatItWasGivenThoughValidationChangesIt)
{
    struct Changing : ZTNetworkLinux {
        bool isIPAddressValid(const std::string&) override
        {
            ip = "9.9.9.9";
            netmask = "9.0.0.0";
            return true;
        }
        std::string ip = "1.2.3.4";
        std::string netmask = "255.0.0.0";
    } changing;
    EXPECT_EQ(changing.setEthernet(changing.ip, changing.netmask), 0);
    EXPECT_THAT(commands.take(), ElementsAre("ifconfig eth0 1.2.3.4 netmask 255.0.0.0"));
}

TEST_F(ZTNetworkLinuxTest, SetGatewayDeletesTheGatewayLastReadThenAddsAndReturns0)
{
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_EQ(network.setGateway("10.0.0.9"), 0);
    EXPECT_EQ(network.setGateway("10.0.0.8"), 0);
    EXPECT_THAT(commands.take(), ElementsAre("route del default gw 10.0.0.1 eth0",
                                             "route add default gw 10.0.0.9 eth0",
                                             "route del default gw 10.0.0.1 eth0",
                                             "route add default gw 10.0.0.8 eth0"))
        << "it is still the one that was read";
}

TEST_F(ZTNetworkLinuxTest, SetGatewayReturns0AlthoughItsCommandsFail)
{
    for (const int status : {-1, 1, 256}) {
        commands.status = status;
        EXPECT_EQ(network.setGateway("10.0.0.9"), 0);
        EXPECT_THAT(commands.take(), ElementsAre("route del default gw 192.168.135.1 eth0",
                                                 "route add default gw 10.0.0.9 eth0"));
    }
}

TEST_F(ZTNetworkLinuxTest, SetGatewayOnlyAddsWhenNoGatewayIsKnown)
{
    network.getNetworkConfig()->gateway = "";
    EXPECT_EQ(network.setGateway("10.0.0.9"), 0);
    EXPECT_THAT(commands.take(), ElementsAre("route add default gw 10.0.0.9 eth0"));
}

TEST_F(ZTNetworkLinuxTest, SetGatewayValidatesAndQuotesNothing)
{
    network.setNetworkinterface("my eth");
    EXPECT_EQ(network.setGateway("not an address"), 0);
    EXPECT_THAT(commands.take(), ElementsAre("route del default gw 192.168.135.1 my eth",
                                             "route add default gw not an address my eth"));
}

TEST_F(ZTNetworkLinuxTest, ReadGatewayReturns6WithoutALineOfTheInterface)
{
    for (const char* output :
         {"", "\n\n", "ERROR", "Kernel IP routing table\n",
          "0.0.0.0 10.0.0.1 0.0.0.0 UG 0 0 0 eth1\n", "10.0.0.0 10.0.0.1 0.0.0.0 U 0 0 0 eth0\n",
          "10.0.0.0 10.0.0.1 0.0.0.0 G 0 0 0 eth0\n", "0.0.0.0 10.0.0.1 0.0.0.0 ug 0 0 0 eth0\n",
          "UG0.0.0.0,10.0.0.1,eth0\n"}) {
        routes.output = output;
        EXPECT_EQ(network.readGateway(), 6) << output;
        EXPECT_EQ(config.gateway, "192.168.135.1") << output;
    }
}

TEST_F(ZTNetworkLinuxTest, ReadGatewayTakesTheSecondTokenThatIsNotEmpty)
{
    for (const char* line :
         {"0.0.0.0 10.0.0.7 UG eth0", "0.0.0.0  10.0.0.7  UG  eth0",
          "   0.0.0.0      10.0.0.7 0.0.0.0 UG eth0   ", "eth0 10.0.0.7 UG", "UGeth0 10.0.0.7"}) {
        network.getNetworkConfig()->gateway = "";
        routes.output = line;
        EXPECT_EQ(network.readGateway(), 0) << line;
        EXPECT_EQ(config.gateway, "10.0.0.7") << line;
    }
}

TEST_F(ZTNetworkLinuxTest, ReadGatewayKnowsNoOtherBlankThanTheOne)
{
    routes.output = "0.0.0.0\t10.0.0.7\tUG eth0\n";
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_EQ(config.gateway, "eth0");
}

TEST_F(ZTNetworkLinuxTest, ReadGatewayFindsFlagsAndNameInPartsOfWords)
{
    routes.output = "0.0.0.0 10.0.0.7 0.0.0.0 !UGHD 0 0 0 veth01\n";
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_EQ(config.gateway, "10.0.0.7");
}

TEST_F(ZTNetworkLinuxTest, OfManyLinesThatHoldAGatewayTheLastWins)
{
    routes.output = "0.0.0.0 10.0.0.7 0.0.0.0 UG 0 0 0 eth0\n"
                    "10.9.0.0 10.0.0.8 255.255.0.0 UG 0 0 0 eth0\n"
                    "10.8.0.0 10.0.0.9 255.255.0.0 UG 0 0 0 eth1\n"
                    "UGeth0\n";
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_EQ(config.gateway, "10.0.0.8");
}

TEST_F(ZTNetworkLinuxTest, WithoutAPipeTheOutputIsTheTextERRORAndReadGatewayReturns6)
{
    const Interpose refused(interposed::popen, [](auto...) { return nullptr; });
    EXPECT_EQ(network.executeCommand("anything"), "ERROR");
    EXPECT_EQ(network.readGateway(), 6);
    EXPECT_EQ(config.gateway, "192.168.135.1");
    EXPECT_EQ(routes.closed, 0);
}

TEST_F(ZTNetworkLinuxTest, ExecuteCommandReturnsTheWholeOutputAndCloses)
{
    routes.output = std::string(127, 'a') + std::string(300, 'b') + "\n\nand\n no end";
    EXPECT_EQ(network.executeCommand("a command"), routes.output);
    EXPECT_THAT(routes.commands, ElementsAre("a command"));
    EXPECT_EQ(routes.closed, 1);
}

TEST_F(ZTNetworkLinuxTest, ALongTableIsReadWhole)
{
    routes.output.clear();
    for (int line = 0; line < 300; ++line) {
        routes.output +=
            "10.1.0.0      0.0.0.0        255.255.0.0   U     0      0        0 eth0\n";
    }
    routes.output += "0.0.0.0       10.0.0.7       0.0.0.0       UG    0      0        0 eth0\n";
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_EQ(config.gateway, "10.0.0.7");
}
