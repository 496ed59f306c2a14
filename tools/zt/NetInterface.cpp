#include "NetInterface.h"

#include "Failure.h"
#include "RequiredCommand.h"

#include <fcntl.h>
#include <net/if.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace zt {

namespace {

const char NET_TOOLS[] = "net-tools";

/// Holds back what is written to standard error by commands that run meanwhile.
class HeldErrors {
public:
    HeldErrors()
        : before(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)),
          held(::memfd_create("zt-errors", MFD_CLOEXEC))
    {
        if (before >= 0 && held >= 0) {
            ::dup2(held, STDERR_FILENO);
        }
    }

    ~HeldErrors()
    {
        ::dup2(before, STDERR_FILENO);
        ::close(before);
        ::close(held);
    }

    HeldErrors(const HeldErrors&) = delete;
    HeldErrors& operator=(const HeldErrors&) = delete;

    /// ": " and the last line, if there is one.
    std::string reason() const
    {
        char text[1024];
        const ssize_t size = ::pread(held, text, sizeof text, 0);
        std::string lines(text, size > 0 ? static_cast<std::size_t>(size) : 0);
        lines.erase(lines.find_last_not_of('\n') + 1);
        const std::string last = lines.substr(lines.rfind('\n') + 1);
        return last.empty() ? "" : ": " + last;
    }

private:
    const int before;
    const int held;
};

} // namespace

NetInterface::NetInterface(std::string name) : name(std::move(name))
{
    network.setNetworkinterface(this->name);
    if (::if_nametoindex(this->name.c_str()) == 0) {
        throw Failure(FAILED, "there is no network interface " + this->name,
                      Advice::orSimulate("see the names that ifconfig -a lists"));
    }
}

ZT::ZTNetworkConfig NetInterface::read()
{
    requireCommand("route", NET_TOOLS);
    check(network.readCurrentIpSettings(), "read the settings of " + name,
          Advice::orSimulate("see with ifconfig that " + name +
                             " has an address and is the last that has one"));
    ZT::ZTNetworkConfig settings = *network.getNetworkConfig();
    if (network.readGateway() == 0) {
        settings.gateway = network.getNetworkConfig()->gateway;
    } else {
        settings.gateway.clear();
    }
    return settings;
}

void NetInterface::write(const ZT::ZTNetworkConfig& wanted)
{
    requireCommand("ifconfig", NET_TOOLS);
    requireCommand("route", NET_TOOLS);
    // The old gateway often goes with the old address, of which the commands complain.
    const HeldErrors errors;
    if (!network.setNetworkSettings(wanted.ipAddress, wanted.netmask, wanted.gateway)) {
        throw Failure(
            FAILED,
            "cannot set " + name + " to " + wanted.ipAddress + " netmask " + wanted.netmask +
                " gateway " + wanted.gateway + errors.reason(),
            Advice::orSimulate("see what zt net show says now, whether the gateway lies in "
                               "the new network, and that you are root"));
    }
}

Json describe(const ZT::ZTNetworkConfig& settings)
{
    Json gateway = settings.gateway;
    return {{"address", settings.ipAddress},
            {"netmask", settings.netmask},
            {"gateway", settings.gateway.empty() ? Json() : gateway}};
}

} // namespace zt
