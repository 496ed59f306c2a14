// ZTNetworkLinux with the system's own ifconfig and route, on a device that has eth0 with the
// default settings and a gateway that answers.

#include "zt/ZTNetworkConfigFactory.h"
#include "zt/ZTNetworkLinux.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using testing::HasSubstr;
using namespace ZT;

namespace {

void run(const std::string& command)
{
    EXPECT_EQ(system(command.c_str()), 0) << command;
}

std::string outputOf(const std::string& command)
{
    std::FILE* stream = popen(command.c_str(), "r");
    char text[4096] = "";
    text[std::fread(text, 1, sizeof text - 1, stream)] = '\0';
    EXPECT_EQ(pclose(stream), 0) << command;
    return text;
}

std::string addressInKernel()
{
    return outputOf("ip -brief -4 address show dev eth0");
}

std::string defaultRouteInKernel()
{
    return outputOf("ip route show default");
}

void addSecondInterface()
{
    run("ip link add eth1 type veth peer name peer1");
    run("ifconfig eth1 10.1.0.1 netmask 255.255.0.0");
}

sockaddr_in internetAddress(const char* text, in_port_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_aton(text, &address.sin_addr);
    return address;
}

// Knocks at a closed port of the gateway, from that address. ECONNREFUSED is the gateway's answer.
int knockAtGateway(const char* from)
{
    const sockaddr_in own = internetAddress(from, 0);
    const sockaddr_in gateway = internetAddress("192.168.135.1", 1);
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isConnected =
        bind(descriptor, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0 &&
        connect(descriptor, reinterpret_cast<const sockaddr*>(&gateway), sizeof gateway) == 0;
    const int error = isConnected ? 0 : errno;
    close(descriptor);
    return error;
}

class Eth0Test : public testing::Test {
protected:
    Eth0Test() { forget(); }

    void forget() { *network.getNetworkConfig() = {"", "", ""}; }

    void expectCurrent(const std::string& ip, const std::string& netmask,
                       const std::string& gateway)
    {
        EXPECT_EQ(config.ipAddress, ip);
        EXPECT_EQ(config.netmask, netmask);
        EXPECT_EQ(config.gateway, gateway);
    }

    ZTNetworkLinux network;
    const ZTNetworkConfig& config = *network.getNetworkConfig();
};

} // namespace

TEST_F(Eth0Test, IsReadAsItIs)
{
    EXPECT_TRUE(network.readNetworkSettings());
    expectCurrent("192.168.135.6", "255.255.255.0", "192.168.135.1");
    run("ifconfig eth0 10.20.30.40 netmask 255.255.128.0");
    run("route add default gw 10.20.0.9 eth0");
    EXPECT_TRUE(network.readNetworkSettings());
    expectCurrent("10.20.30.40", "255.255.128.0", "10.20.0.9");
}

TEST_F(Eth0Test, TakesNewSettings)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_TRUE(network.setNetworkSettings("10.20.30.40", "255.255.0.0", "10.20.0.1"));
    expectCurrent("10.20.30.40", "255.255.0.0", "10.20.0.1");
    EXPECT_THAT(addressInKernel(), HasSubstr("10.20.30.40/16"));
    EXPECT_EQ(defaultRouteInKernel(), "default via 10.20.0.1 dev eth0 \n");
}

TEST_F(Eth0Test, TakesSettingsThatItHasAlready)
{
    EXPECT_TRUE(network.readNetworkSettings());
    for (int time = 0; time < 3; ++time) {
        EXPECT_TRUE(network.applyNetworkSettings());
        EXPECT_EQ(defaultRouteInKernel(), "default via 192.168.135.1 dev eth0 \n");
    }
}

TEST_F(Eth0Test, TakesARecord)
{
    ZTNetworkConfig given{"192.168.135.7", "255.255.255.128", "192.168.135.2"};
    EXPECT_TRUE(network.setNetworkConfig(&given));
    EXPECT_THAT(addressInKernel(), HasSubstr("192.168.135.7/25"));
    EXPECT_EQ(defaultRouteInKernel(), "default via 192.168.135.2 dev eth0 \n");
}

TEST_F(Eth0Test, TheGatewayAnswersToTheNewAddressAndTheOldOneIsGone)
{
    EXPECT_EQ(knockAtGateway("192.168.135.6"), ECONNREFUSED);
    EXPECT_EQ(knockAtGateway("192.168.135.77"), EADDRNOTAVAIL);
    EXPECT_TRUE(network.setIPAddress("192.168.135.77", true));
    EXPECT_EQ(config.ipAddress, "192.168.135.77");
    EXPECT_EQ(knockAtGateway("192.168.135.77"), ECONNREFUSED);
    EXPECT_EQ(knockAtGateway("192.168.135.6"), EADDRNOTAVAIL);
}

TEST_F(Eth0Test, LosesItsGatewayWithItsAddress)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_TRUE(network.setIPAddress("192.168.135.77", true));
    EXPECT_FALSE(network.readNetworkSettings());
    EXPECT_EQ(defaultRouteInKernel(), "");
    EXPECT_TRUE(network.setGatewayIP("192.168.135.1", true));
    EXPECT_EQ(defaultRouteInKernel(), "default via 192.168.135.1 dev eth0 \n");
}

TEST_F(Eth0Test, TakesANewNetmask)
{
    EXPECT_TRUE(network.setNetmaskIP("255.255.240.0", true));
    EXPECT_EQ(config.netmask, "255.255.240.0");
    EXPECT_THAT(addressInKernel(), HasSubstr("192.168.135.6/20"));
}

TEST_F(Eth0Test, LosesItsGatewayWithItsNetmask)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_TRUE(network.setNetmaskIP("255.255.240.0", true));
    EXPECT_EQ(defaultRouteInKernel(), "");
    EXPECT_TRUE(network.setGatewayIP("192.168.135.1", true));
    EXPECT_EQ(defaultRouteInKernel(), "default via 192.168.135.1 dev eth0 \n");
}

TEST_F(Eth0Test, TakesANewGatewayInThePlaceOfTheOld)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_TRUE(network.setGatewayIP("192.168.135.9", true));
    EXPECT_EQ(config.gateway, "192.168.135.9");
    EXPECT_EQ(defaultRouteInKernel(), "default via 192.168.135.9 dev eth0 \n");
}

TEST_F(Eth0Test, KeepsAGatewayThatWasNeverRead)
{
    run("route add default gw 192.168.135.2 metric 1 eth0");
    run("route del default gw 192.168.135.1 eth0");
    EXPECT_TRUE(network.setGatewayIP("192.168.135.9", true));
    EXPECT_THAT(defaultRouteInKernel(), HasSubstr("default via 192.168.135.2 dev eth0"));
    EXPECT_THAT(defaultRouteInKernel(), HasSubstr("default via 192.168.135.9 dev eth0"));
}

TEST_F(Eth0Test, HasNoGatewayAnyMoreAfterOneThatTheSystemRefuses)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_FALSE(network.setGatewayIP("172.16.0.1", true));
    EXPECT_EQ(config.gateway, "192.168.135.1") << "as last read";
    EXPECT_EQ(defaultRouteInKernel(), "");
}

TEST_F(Eth0Test, TheNetmaskOfOnesIsTakenButNotRead)
{
    EXPECT_TRUE(network.readNetworkSettings());
    EXPECT_FALSE(network.setNetmaskIP("255.255.255.255", true));
    EXPECT_THAT(addressInKernel(), HasSubstr("192.168.135.6/32"));
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.netmask, "255.255.255.0");
}

TEST_F(Eth0Test, IsReadAsTheLastOfSeveral)
{
    run("ip link set eth0 down && ip link set eth0 name eth9 && ifconfig eth9 up");
    run("ip link add eth0 type veth peer name peer0");
    for (int alias = 1; alias <= 20; ++alias) {
        run("ifconfig lo:" + std::to_string(alias) + " 127.0.1." + std::to_string(alias));
    }
    EXPECT_TRUE(network.setNetworkSettings("10.20.30.40", "255.255.0.0", "10.20.0.1"));
    expectCurrent("10.20.30.40", "255.255.0.0", "10.20.0.1");
}

TEST_F(Eth0Test, CanNeitherBeReadNorSetWithSuccessIfItIsNotTheLast)
{
    addSecondInterface();
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_FALSE(network.readNetworkSettings());
    expectCurrent("192.168.135.6", "", "");
    EXPECT_FALSE(network.setNetworkSettings("10.20.30.40", "255.255.0.0", "10.20.0.1"));
    EXPECT_THAT(addressInKernel(), HasSubstr("10.20.30.40/16")) << "the system has taken it";
    EXPECT_EQ(defaultRouteInKernel(), "default via 10.20.0.1 dev eth0 \n");
    EXPECT_FALSE(network.setIPAddress("10.20.30.41", true));
    network.setNetworkinterface("eth1");
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.1.0.1");
    EXPECT_EQ(config.netmask, "255.255.0.0");
}

TEST_F(Eth0Test, IsReadBesideALaterInterfaceWithoutAnAddress)
{
    run("ip link add eth1 type veth peer name peer1");
    EXPECT_TRUE(network.readNetworkSettings());
}

TEST_F(Eth0Test, AnAliasOfItsOwnIsALaterInterface)
{
    run("ifconfig eth0:1 10.1.0.1 netmask 255.255.0.0");
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    network.setNetworkinterface("eth0:1");
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.1.0.1");
}

TEST_F(Eth0Test, WhenItIsDownItsAddressIsReadButNotItsGateway)
{
    run("ifconfig eth0 down");
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(network.readGateway(), 6);
    EXPECT_FALSE(network.readNetworkSettings());
    expectCurrent("192.168.135.6", "255.255.255.0", "");
    EXPECT_FALSE(network.setGatewayIP("192.168.135.1", true));
    EXPECT_TRUE(network.setNetworkSettings("192.168.135.6", "255.255.255.0", "192.168.135.1"))
        << "an address starts it";
}

TEST_F(Eth0Test, WithoutAnAddressItCannotBeReadButSet)
{
    run("ifconfig eth0 0.0.0.0");
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_FALSE(network.readNetworkSettings());
    expectCurrent("", "", "");
    EXPECT_TRUE(network.applyNetworkSettings());
    expectCurrent("192.168.135.6", "255.255.255.0", "192.168.135.1");
}

TEST_F(Eth0Test, WhenItIsAbsentNothingWorks)
{
    run("ip link delete eth0");
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(network.readGateway(), 6);
    EXPECT_EQ(network.setEthernet("192.168.135.6", "255.255.255.0"), 6);
    EXPECT_EQ(network.setGateway("192.168.135.1"), 0);
    EXPECT_FALSE(network.applyNetworkSettings());
    EXPECT_FALSE(network.setIPAddress("192.168.135.6", true));
    expectCurrent("", "", "");
}

TEST_F(Eth0Test, WithoutAnyAddressOnTheDeviceAnAbsentOneIsReadAsNothing)
{
    run("ip link delete eth0 && ip address flush dev lo");
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    expectCurrent("", "", "");
}

TEST_F(Eth0Test, WithoutAnyAddressOnTheDeviceItCannotBeRead)
{
    run("ifconfig eth0 0.0.0.0 && ip address flush dev lo");
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    expectCurrent("", "", "");
}

TEST_F(Eth0Test, LeavesNoDescriptorOpen)
{
    const int before = dup(STDERR_FILENO);
    close(before);
    EXPECT_TRUE(network.readNetworkSettings());
    addSecondInterface();
    EXPECT_FALSE(network.readNetworkSettings());
    const int after = dup(STDERR_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(Eth0Test, AFactoryReadsAndSetsIt)
{
    ZTNetworkConfigFactory factory;
    EXPECT_EQ(factory.create(0), 0);
    EXPECT_EQ(factory.create(1), 0);
    EXPECT_TRUE(factory.readNetworkSettings(0));
    EXPECT_FALSE(factory.readNetworkSettings(1));
    EXPECT_TRUE(factory.setNetworkSettings(0, "10.20.30.40", "255.255.0.0", "10.20.0.1"));
    EXPECT_EQ(factory.getConfig(0)->ipAddress, "10.20.30.40");
    EXPECT_FALSE(factory.setNetworkSettings(1, "10.20.30.41", "255.255.0.0", "10.20.0.1"));
    addSecondInterface();
    EXPECT_TRUE(factory.setNetworkSettings(1, "10.1.0.2", "255.255.0.0", "10.1.0.9"));
    EXPECT_FALSE(factory.readNetworkSettings(0));
}
