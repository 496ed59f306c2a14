// The commands that ZTNetworkLinux runs, with a real shell and commands that stand in for the
// system's.

#include "FakeInterfaces.h"
#include "support/StubCommands.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTNetworkLinux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

using namespace ZT;

namespace {

const char ROUTES[] = "echo 'Kernel IP routing table'\n"
                      "echo '0.0.0.0         10.0.0.1        0.0.0.0         UG    0      0 eth0'";

class NetworkCommandsTest : public testing::Test {
protected:
    NetworkCommandsTest()
    {
        commands.add("ifconfig", "exit 0");
        commands.add("route", ROUTES);
        interfaces.interfaces = {{"eth0", "10.0.0.2"}};
    }

    FakeInterfaces interfaces;
    const StubCommands commands;
    ZTNetworkLinux network;
};

} // namespace

TEST_F(NetworkCommandsTest, ApplyingRunsThemWithTheseArguments)
{
    EXPECT_TRUE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"));
    EXPECT_EQ(commands.notes(), "ifconfig <eth0> <10.0.0.2> <netmask> <255.255.0.0>\n"
                                "route <del> <default> <gw> <192.168.135.1> <eth0>\n"
                                "route <add> <default> <gw> <10.0.0.1> <eth0>\n"
                                "route <-n>\n");
}

TEST_F(NetworkCommandsTest, AnIfconfigThatFailsEndsTheApplying)
{
    for (const char* end : {"exit 1", "exit 255", "kill -9 $$"}) {
        commands.add("ifconfig", end);
        EXPECT_EQ(network.setEthernet("10.0.0.2", "255.255.0.0"), 6) << end;
    }
    EXPECT_FALSE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"));
    EXPECT_EQ(commands.notes().find("route"), std::string::npos);
}

TEST_F(NetworkCommandsTest, ARouteThatFailsToChangeAnythingIsNotNoticed)
{
    commands.add("route", std::string(ROUTES) + "; exit 7");
    EXPECT_EQ(network.setGateway("10.0.0.1"), 0);
    EXPECT_TRUE(network.setNetworkSettings("10.0.0.2", "255.255.0.0", "10.0.0.1"))
        << "the gateway that is read back counts";
}

TEST_F(NetworkCommandsTest, TheOutputOfARouteThatFailsIsReadAllTheSame)
{
    commands.add("route", std::string(ROUTES) + "; exit 7");
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_EQ(network.getNetworkConfig()->gateway, "10.0.0.1");
    commands.add("route", "exit 7");
    EXPECT_EQ(network.readGateway(), 6);
    EXPECT_EQ(network.getNetworkConfig()->gateway, "10.0.0.1");
}

TEST_F(NetworkCommandsTest, WithoutTheCommandsNothingWorks)
{
    const StubCommands none;
    none.hideOthers();
    EXPECT_EQ(network.setEthernet("10.0.0.2", "255.255.0.0"), 6);
    EXPECT_EQ(network.setGateway("10.0.0.1"), 0);
    EXPECT_EQ(network.readGateway(), 6);
    EXPECT_FALSE(network.applyNetworkSettings());
    EXPECT_FALSE(network.readNetworkSettings());
    EXPECT_EQ(network.getNetworkConfig()->gateway, "192.168.135.1");
}

TEST_F(NetworkCommandsTest, TheInterfacesNameReachesTheShellAsItIs)
{
    const TemporaryFolder folder;
    network.setNetworkinterface("'eth 0'; echo done >" + folder / "file");
    EXPECT_EQ(network.setGateway("10.0.0.1"), 0);
    EXPECT_EQ(commands.notes(), "route <del> <default> <gw> <192.168.135.1> <eth 0>\n"
                                "route <add> <default> <gw> <10.0.0.1> <eth 0>\n");
    EXPECT_EQ(readAll(folder / "file"), "done\n");
}

TEST_F(NetworkCommandsTest, TheGatewayThatWasLastReadReachesTheShellAsItIs)
{
    const TemporaryFolder folder;
    commands.add("route", "echo '0.0.0.0 $(echo>" + folder / "read" + ") 0.0.0.0 UG 0 0 0 eth0'");
    EXPECT_EQ(network.readGateway(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "read"));
    EXPECT_EQ(network.setGateway("10.0.0.1"), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "read"));
    network.getNetworkConfig()->gateway = "$(echo>" + folder / "changed" + ")";
    EXPECT_EQ(network.setGateway("10.0.0.1"), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "changed"));
}

TEST_F(NetworkCommandsTest, TheNewGatewayReachesTheShellAsItIsToo)
{
    const TemporaryFolder folder;
    EXPECT_EQ(network.setGateway("$(echo>" + folder / "file" + ")"), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "file"));
}

TEST_F(NetworkCommandsTest, ExecuteCommandReturnsWhatTheCommandWroteToItsStandardOutput)
{
    EXPECT_EQ(network.executeCommand("printf 'a\\n\\nb'; echo c >&2; exit 3"), "a\n\nb");
    EXPECT_EQ(network.executeCommand("exit 3"), "");
    EXPECT_EQ(network.executeCommand(std::string("echo a\0b", 8)), "ERROR");
}
