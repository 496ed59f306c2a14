// Which address and netmask ZTNetworkLinux reads from any answers of the kernel.
//
// Input: 1 byte length of the interface's name, which comes next; 1 byte settings (bit 0: the list
// is refused, bit 1: the hardware address, bit 2: the netmask); 4 bytes netmask; 1 byte that has a
// bit for each request for flags, in turn: whether it is refused. Then for each request for the
// list: 1 byte number of records, 1 byte number of further bytes, both cut to what there is room
// for; and for each record 16 bytes name and 16 bytes address.

#include "Input.h"
#include "Require.h"

#include "zt/ZTNetworkConfig.h"
#include "zt/ZTNetworkLinux.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <net/if.h>
#include <string>
#include <sys/ioctl.h>
#include <vector>

namespace {

const std::size_t LONGEST_NAME = 20; // longer than the kernel knows
const char ADDRESS_BEFORE[] = "192.168.135.6";
const char NETMASK_BEFORE[] = "255.255.255.0";

std::string dotted(const std::string& address)
{
    std::string text;
    for (const char byte : address) {
        text += (text.empty() ? "" : ".") + std::to_string(static_cast<unsigned char>(byte));
    }
    return text;
}

std::string fullName(const char* field)
{
    return {field, IFNAMSIZ};
}

// The kernel, and what must come of its answers.
class Kernel {
public:
    explicit Kernel(Input& input)
        : name(input.bytes(input.byte() % (LONGEST_NAME + 1))), settings(input.byte()),
          netmask(input.bytes(4)), refusedFlags(input.byte()), input(input)
    {}

    int answer(unsigned long request, void* argument)
    {
        ifreq& record = *static_cast<ifreq*>(argument);
        switch (request) {
        case SIOCGIFCONF:
            return list(*static_cast<ifconf*>(argument));
        case SIOCGIFFLAGS:
            return tellFlags(record);
        case SIOCGIFHWADDR:
            return tellHardwareAddress(record);
        case SIOCGIFNETMASK:
            return tellNetmask(record);
        default:
            require(false, "a request is one of these");
            return -1;
        }
    }

    // The result, given the addresses as they are stored.
    int expectedResult()
    {
        bool isLast = true;
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (!areFlagsRefused(i)) {
                isLast = names[i].substr(0, names[i].find('\0')) == name;
                expectedAddress = isLast ? dotted(addresses[i].substr(4, 4)) : expectedAddress;
            }
        }
        if (isRefused(0) || !isLast) {
            require(!isAskedForHardware, "nothing is asked about what is not the last");
            return 5;
        }
        if (isRefused(1)) {
            return 0;
        }
        if (isRefused(2) || netmask == "\xFF\xFF\xFF\xFF") {
            return 5;
        }
        expectedNetmask = dotted(netmask);
        return 0;
    }

    const std::string name;
    std::string expectedAddress = ADDRESS_BEFORE;
    std::string expectedNetmask = NETMASK_BEFORE;

private:
    bool isRefused(int bit) const { return (settings >> bit & 1) != 0; }

    bool areFlagsRefused(std::size_t question) const
    {
        return (refusedFlags >> question % 8 & 1) != 0;
    }

    int list(ifconf& list)
    {
        if (isRefused(0)) {
            return -1;
        }
        const auto size = static_cast<std::size_t>(list.ifc_len);
        const std::size_t count = std::min<std::size_t>(input.byte(), size / sizeof(ifreq));
        const std::size_t further = input.byte() % sizeof(ifreq);
        names.clear();
        addresses.clear();
        for (std::size_t i = 0; i < count; ++i) {
            names.push_back(input.bytes(IFNAMSIZ));
            addresses.push_back(input.bytes(sizeof(sockaddr)));
            names[i].copy(list.ifc_req[i].ifr_name, IFNAMSIZ);
            std::memcpy(&list.ifc_req[i].ifr_addr, addresses[i].data(), sizeof(sockaddr));
        }
        list.ifc_len = static_cast<int>(std::min(size, count * sizeof(ifreq) + further));
        return 0;
    }

    int tellFlags(ifreq& record)
    {
        require(question < names.size(), "the flags of each are asked for once");
        require(fullName(record.ifr_name) == names[question], "they are asked for in order");
        std::memset(&record.ifr_ifru, 0xFF, sizeof record.ifr_ifru);
        return areFlagsRefused(question++) ? -1 : 0;
    }

    int tellHardwareAddress(ifreq& record)
    {
        require(question == names.size(), "the flags of all have been asked for");
        const bool canBeHad = name.size() < IFNAMSIZ && name.find('\0') == std::string::npos;
        const std::string wanted = canBeHad ? name : "";
        require(fullName(record.ifr_name) == wanted + std::string(IFNAMSIZ - wanted.size(), '\0'),
                "the name is the interface's, if one can have it");
        isAskedForHardware = true;
        std::memset(&record.ifr_ifru, 0xFF, sizeof record.ifr_ifru);
        return isRefused(1) ? -1 : 0;
    }

    int tellNetmask(ifreq& record)
    {
        require(isAskedForHardware && !isRefused(1), "the interface is there");
        std::memcpy(record.ifr_netmask.sa_data + 2, netmask.data(), netmask.size());
        return isRefused(2) ? -1 : 0;
    }

    const int settings;
    const std::string netmask;
    const int refusedFlags;
    Input& input;

    std::vector<std::string> names; // as listed last
    std::vector<std::string> addresses;
    std::size_t question = 0;
    bool isAskedForHardware = false;
};

Kernel* kernel = nullptr;

} // namespace

extern "C" int ioctl(int /*descriptor*/, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return kernel->answer(request, argument);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    Kernel answering(input);
    kernel = &answering;

    ZT::ZTNetworkLinux network;
    network.setNetworkinterface(answering.name);
    const int result = network.readCurrentIpSettings();
    require(result == answering.expectedResult(), "the interface can be read or not");
    const ZT::ZTNetworkConfig& config = *network.getNetworkConfig();
    require(config.ipAddress == answering.expectedAddress, "the address is the interface's");
    require(config.netmask == answering.expectedNetmask, "the netmask is the interface's");
    return 0;
}
