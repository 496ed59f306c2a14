#include "EthernetState.h"

#include <arpa/inet.h>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <net/if.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ztsim {
namespace {

/// Asks the kernel about interfaces.
class Questioner {
public:
    explicit Questioner(const std::string& name)
        : socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    }
    ~Questioner() { ::close(socket); }

    Questioner(const Questioner&) = delete;
    Questioner& operator=(const Questioner&) = delete;

    bool ask(unsigned long what) { return ::ioctl(socket, what, &request) == 0; }

    Json address(unsigned long what)
    {
        if (!ask(what)) {
            return {};
        }
        sockaddr_in internet{};
        std::memcpy(&internet, &request.ifr_addr, sizeof internet);
        return text(internet.sin_addr);
    }

    static std::string text(in_addr address)
    {
        char text[INET_ADDRSTRLEN];
        return ::inet_ntop(AF_INET, &address, text, sizeof text);
    }

    ifreq request{};

private:
    const int socket;
};

Json hardwareAddress(Questioner& questioner)
{
    if (!questioner.ask(SIOCGIFHWADDR)) {
        return {};
    }
    std::string text;
    for (int index = 0; index < 6; ++index) {
        char digits[4];
        const auto byte = static_cast<unsigned char>(questioner.request.ifr_hwaddr.sa_data[index]);
        std::snprintf(digits, sizeof digits, "%s%02x", index == 0 ? "" : ":", byte);
        text += digits;
    }
    return text;
}

/// Of the default route.
Json gatewayOf(const std::string& name)
{
    std::ifstream routes("/proc/self/net/route");
    for (std::string line; std::getline(routes, line);) {
        std::istringstream words(line);
        std::string interface;
        std::uint32_t destination = 1;
        in_addr gateway{};
        words >> interface >> std::hex >> destination >> gateway.s_addr;
        if (interface == name && destination == 0) {
            return Questioner::text(gateway);
        }
    }
    return {};
}

} // namespace

Json ethernetState(const std::string& name)
{
    Questioner questioner(name);
    if (!questioner.ask(SIOCGIFFLAGS)) {
        return {};
    }
    const auto flags = static_cast<unsigned int>(questioner.request.ifr_flags);
    return {{"up", (flags & IFF_UP) != 0},
            {"address", questioner.address(SIOCGIFADDR)},
            {"netmask", questioner.address(SIOCGIFNETMASK)},
            {"gateway", gatewayOf(name)},
            {"hardware", hardwareAddress(questioner)}};
}

} // namespace ztsim
