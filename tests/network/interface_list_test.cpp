// How ZTNetworkLinux reads address and netmask from the kernel's list of interfaces.

#include "FakeInterfaces.h"
#include "zt/ZTNetworkLinux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <sys/socket.h>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

// For this executable alone, which has one thread: ThreadSanitizer calls realloc() in threads that
// it is only setting up, where no code that it has instrumented can run.
namespace interposed {
InterposedCall<void*(void*, std::size_t)> realloc{"realloc"};
}
extern "C" void* realloc(void* memory, std::size_t size) noexcept
{
    return interposed::realloc.callFrom(__builtin_return_address(0), memory, size);
}

namespace {

class InterfaceListTest : public testing::Test {
protected:
    ~InterfaceListTest() override
    {
        EXPECT_EQ(config.gateway, "192.168.135.1") << "reading the interface leaves the gateway";
    }

    FakeInterfaces system;
    ZTNetworkLinux network;
    const ZTNetworkConfig& config = *network.getNetworkConfig();
};

const std::size_t MANY = 100;

} // namespace

TEST_F(InterfaceListTest, TakesTheAddressFromTheListAndAsksForTheNetmask)
{
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_EQ(config.netmask, "255.255.0.0");
    EXPECT_THAT(system.requests,
                ElementsAre("flags lo", "flags eth0", "hardware address eth0", "netmask eth0"));
}

TEST_F(InterfaceListTest, NothingOfTheNamesOfOthersGetsIntoTheRequests)
{
    system.interfaces = {{"a-longer-name", "127.0.0.1"}, {"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.requests, ElementsAre("flags a-longer-name", "flags eth0",
                                             "hardware address eth0", "netmask eth0"));
}

TEST_F(InterfaceListTest, UsesOneDatagramSocketAndClosesIt)
{
    system.interfaces = {{"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.created, ElementsAre(ElementsAre(AF_INET, SOCK_DGRAM, 0)));
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
}

TEST_F(InterfaceListTest, ASocketThatGetsTheDescriptor0IsUsedAndClosedToo)
{
    system.socket = 0;
    system.interfaces = {{"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_THAT(system.closed, ElementsAre(0));
}

TEST_F(InterfaceListTest, WithoutASocketReturns5AndAsksForNothing)
{
    const Interpose refused(interposed::socket, [](auto...) {
        errno = EMFILE;
        return -1;
    });
    system.interfaces = {{"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
    EXPECT_THAT(system.sizes, IsEmpty());
    EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(InterfaceListTest, TheBufferStartsAtTwoRecordsAndGrowsByOneWhileItIsFull)
{
    EXPECT_EQ(sizeof(ifreq), sizeof(void*) == 4 ? 32U : 40U);
    system.interfaces = {{"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.sizes, ElementsAre(2)) << "there is room for the spare record";
    system.sizes.clear();
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.20.30.41"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.sizes, ElementsAre(2, 3)) << "the spare record would be missing";
    system.sizes.clear();
    system.interfaces.insert(system.interfaces.begin(), 3, {"lo:1", "127.0.0.2"});
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.sizes, ElementsAre(2, 3, 4, 5, 6));
}

TEST_F(InterfaceListTest, ReadsTheLastOfMany)
{
    system.interfaces.assign(MANY, {"lo", "127.0.0.1"});
    system.interfaces.push_back({"eth0", "10.20.30.40"});
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_EQ(system.sizes.size(), MANY + 1);
}

TEST_F(InterfaceListTest, WithoutMemoryReturns5AndClosesTheSocket)
{
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.20.30.40"}};
    for (const int allowed : {0, 1}) {
        int calls = 0;
        const Interpose limited(interposed::realloc, [&](void* memory, std::size_t size) {
            return calls++ < allowed ? interposed::realloc.real(memory, size) : nullptr;
        });
        system.closed.clear();
        EXPECT_EQ(network.readCurrentIpSettings(), 5) << allowed;
        EXPECT_EQ(calls, allowed + 1);
        EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
    }
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
}

TEST_F(InterfaceListTest, AListThatIsRefusedReturns5AndClosesTheSocket)
{
    system.interfaces = {{"eth0", "10.20.30.40"}};
    system.refused = SIOCGIFCONF;
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
    EXPECT_THAT(system.requests, IsEmpty());
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
}

TEST_F(InterfaceListTest, AListThatIsRefusedWhenItIsAskedForAgainReturns5)
{
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.20.30.40"}};
    const Interpose once(interposed::ioctl, [&](int, unsigned long, void*) {
        system.sizes.push_back(0);
        return system.sizes.size() < 2 ? 0 : -1; // the list stays as long as its buffer
    });
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(system.sizes.size(), 2U);
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
}

TEST_F(InterfaceListTest, AnInterfaceThatIsNotTheLastReturns5ButItsAddressIsStored)
{
    system.interfaces = {{"eth0", "10.20.30.40"}, {"eth1", "10.1.1.1"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_EQ(config.netmask, "255.255.255.0");
    EXPECT_THAT(system.requests, ElementsAre("flags eth0", "flags eth1"));
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
}

TEST_F(InterfaceListTest, OfAnInterfaceThatIsListedTwiceTheLastAddressCounts)
{
    system.interfaces = {{"eth0", "10.20.30.40"}, {"lo", "127.0.0.1"}, {"eth0", "10.20.30.41"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.41");
}

TEST_F(InterfaceListTest, AnInterfaceThatIsNotListedReturns5)
{
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth1", "10.1.1.1"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
    EXPECT_EQ(config.netmask, "255.255.255.0");
}

TEST_F(InterfaceListTest, EntriesWhoseFlagsAreRefusedCountForNothing)
{
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.20.30.40"}, {"eth1", "10.1.1.1", false}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    system.interfaces = {{"lo", "127.0.0.1"}, {"eth0", "10.20.30.41", false}};
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "10.20.30.40") << "not that of an entry without flags";
}

TEST_F(InterfaceListTest, OnlyEntriesWithoutFlagsAreAsGoodAsNone)
{
    system.interfaces = {{"lo", "127.0.0.1", false}, {"eth0", "10.20.30.40", false}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
    EXPECT_EQ(config.netmask, "255.255.0.0");
}

TEST_F(InterfaceListTest, NamesAreComparedWhole)
{
    network.setNetworkinterface("eth");
    system.interfaces = {{"eth0", "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    network.setNetworkinterface("eth00");
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
}

TEST_F(InterfaceListTest, ANameThatFillsItsFieldIsRead)
{
    const std::string name = "a-longer-name15";
    network.setNetworkinterface(name);
    system.interfaces = {{name, "10.20.30.40"}};
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_EQ(system.requests.back(), "netmask a-longer-name15");
    system.interfaces = {{"sixteen-letters0", "10.20.30.41"}};
    network.setNetworkinterface("sixteen-letters0");
    EXPECT_EQ(network.readCurrentIpSettings(), 0) << "a field without a NUL is read to its end";
    EXPECT_EQ(config.ipAddress, "10.20.30.41");
    EXPECT_EQ(system.requests.back(), "netmask ") << "the system reads no field without a NUL";
}

TEST_F(InterfaceListTest, ANameThatIsTooLongIsNotCutOff)
{
    network.setNetworkinterface("a-longer-name-than-its-field");
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.requests, ElementsAre("hardware address ", "netmask "));
}

TEST_F(InterfaceListTest, ANameWithANulIsNotCutOffThere)
{
    network.setNetworkinterface(std::string("eth0\0x", 6));
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.requests, ElementsAre("hardware address ", "netmask "));
}

TEST_F(InterfaceListTest, WithoutAHardwareAddressReturns0AndLeavesTheNetmask)
{
    system.interfaces = {{"eth0", "10.20.30.40"}};
    system.refused = SIOCGIFHWADDR;
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_EQ(config.netmask, "255.255.255.0");
    EXPECT_THAT(system.requests, ElementsAre("flags eth0"));
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
}

TEST_F(InterfaceListTest, ANetmaskThatIsRefusedReturns5)
{
    system.interfaces = {{"eth0", "10.20.30.40"}};
    system.refused = SIOCGIFNETMASK;
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.ipAddress, "10.20.30.40");
    EXPECT_EQ(config.netmask, "255.255.255.0");
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
}

TEST_F(InterfaceListTest, TheNetmaskOfOnesReturns5AndIsNotStored)
{
    system.interfaces = {{"eth0", "10.20.30.40"}};
    system.netmask = "255.255.255.255";
    EXPECT_EQ(network.readCurrentIpSettings(), 5);
    EXPECT_EQ(config.netmask, "255.255.255.0");
    EXPECT_THAT(system.closed, ElementsAre(FakeInterfaces::SOCKET));
    system.netmask = "255.255.255.254";
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.netmask, "255.255.255.254");
}

TEST_F(InterfaceListTest, AnEmptyListLeadsToTheHardwareAddressOfTheOwnName)
{
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_THAT(system.requests, ElementsAre("hardware address eth0", "netmask eth0"));
    EXPECT_THAT(system.sizes, ElementsAre(2));
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
    EXPECT_EQ(config.netmask, "255.255.0.0");
}

TEST_F(InterfaceListTest, AnEmptyListWithoutAHardwareAddressReturns0AndReadsNothing)
{
    system.refused = SIOCGIFHWADDR;
    EXPECT_EQ(network.readCurrentIpSettings(), 0);
    EXPECT_EQ(config.ipAddress, "192.168.135.6");
    EXPECT_EQ(config.netmask, "255.255.255.0");
}
