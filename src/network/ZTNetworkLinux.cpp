#include "zt/ZTNetworkLinux.h"

#include "frame/CommandOutput.h"
#include "frame/holdsNul.h"
#include "network/InterfaceList.h"
#include "ztutil/ZTStringTokenizer.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>

namespace ZT {

namespace {

const int READ_FAILED = 5;
const int COMMAND_FAILED = 6;

const char DEFAULT_INTERFACE[] = "eth0";
const char DEFAULT_ADDRESS[] = "192.168.135.6";
const char DEFAULT_NETMASK[] = "255.255.255.0";
const char DEFAULT_GATEWAY[] = "192.168.135.1";

const char HOST_NETMASK[] = "255.255.255.255";

bool succeeds(const std::string& command)
{
    return !holdsNul(command) && std::system(command.c_str()) == 0;
}

std::string textOf(const sockaddr& address)
{
    sockaddr_in internet{};
    std::memcpy(&internet, &address, sizeof internet);
    return inet_ntoa(internet.sin_addr);
}

bool isNamed(const ifreq& interface, const std::string& name)
{
    return name == std::string(interface.ifr_name, strnlen(interface.ifr_name, IFNAMSIZ));
}

/// A name that does not fit or holds a NUL is left out: cut off, it would be another interface's.
void setName(ifreq& record, const std::string& name)
{
    if (name.size() < IFNAMSIZ && !holdsNul(name)) {
        name.copy(record.ifr_name, name.size());
    }
}

/// Empty if the line has only one column.
std::string secondColumn(const std::string& line)
{
    int columns = 0;
    for (const std::string& token : ZTStringTokenizer::tokenize(line, " ")) {
        if (!token.empty() && token != " " && ++columns == 2) {
            return token;
        }
    }
    return "";
}

} // namespace

ZTNetworkLinux::ZTNetworkLinux()
    : interfaceName(DEFAULT_INTERFACE), defaultIPAddress(DEFAULT_ADDRESS),
      defaultNetmask(DEFAULT_NETMASK),
      defaultGateway(DEFAULT_GATEWAY), currentConfig{DEFAULT_ADDRESS, DEFAULT_NETMASK,
                                                     DEFAULT_GATEWAY},
      pendingIPAddress(DEFAULT_ADDRESS), pendingNetmask(DEFAULT_NETMASK),
      pendingGateway(DEFAULT_GATEWAY)
{}

ZTNetworkLinux::~ZTNetworkLinux() = default;

bool ZTNetworkLinux::setNetworkConfig(ZTNetworkConfig* config)
{
    return config != nullptr &&
           ZTNetworkLinux::setNetworkSettings(config->ipAddress, config->netmask, config->gateway);
}

ZTNetworkConfig* ZTNetworkLinux::getNetworkConfig()
{
    return &currentConfig;
}

bool ZTNetworkLinux::setNetworkSettings(const std::string& ip, const std::string& netmask,
                                        const std::string& gateway)
{
    if (!isIPAddressValid(ip) || !isIPAddressValid(netmask) || !isIPAddressValid(gateway)) {
        return false;
    }
    pendingIPAddress = ip;
    pendingNetmask = netmask;
    pendingGateway = gateway;
    return applyNetworkSettings();
}

bool ZTNetworkLinux::isIPAddressValid(const std::string& ip)
{
    in_addr address{};
    return !holdsNul(ip) && inet_pton(AF_INET, ip.c_str(), &address) == 1;
}

bool ZTNetworkLinux::readNetworkSettings()
{
    return readCurrentIpSettings() == 0 && readGateway() == 0;
}

bool ZTNetworkLinux::applyNetworkSettings()
{
    if (setEthernet(pendingIPAddress, pendingNetmask) != 0) {
        return false;
    }
    setGateway(pendingGateway);
    return readCurrentIpSettings() == 0 && readGateway() == 0 &&
           pendingIPAddress == currentConfig.ipAddress && pendingNetmask == currentConfig.netmask &&
           pendingGateway == currentConfig.gateway;
}

void ZTNetworkLinux::setNetworkinterface(const std::string& name)
{
    interfaceName = name;
}

bool ZTNetworkLinux::setIPAddress(const std::string& ip, bool apply)
{
    if (!isIPAddressValid(ip)) {
        return false;
    }
    pendingIPAddress = ip;
    if (!apply) {
        return true;
    }
    const bool applied = applyEthernet();
    pendingIPAddress = currentConfig.ipAddress;
    return applied;
}

bool ZTNetworkLinux::setNetmaskIP(const std::string& netmask, bool apply)
{
    if (!isIPAddressValid(netmask)) {
        return false;
    }
    pendingNetmask = netmask;
    if (!apply) {
        return true;
    }
    const bool applied = applyEthernet();
    pendingNetmask = currentConfig.netmask;
    return applied;
}

bool ZTNetworkLinux::applyEthernet()
{
    return setEthernet(pendingIPAddress, pendingNetmask) == 0 && readCurrentIpSettings() == 0;
}

bool ZTNetworkLinux::setGatewayIP(const std::string& gateway, bool apply)
{
    if (!isIPAddressValid(gateway)) {
        return false;
    }
    pendingGateway = gateway;
    if (!apply) {
        return true;
    }
    setGateway(pendingGateway);
    const bool applied = readGateway() == 0;
    pendingGateway = currentConfig.gateway;
    return applied;
}

std::string ZTNetworkLinux::getDefaultIPAdress() const
{
    return defaultIPAddress;
}

std::string ZTNetworkLinux::getDefaultNetmaskIP() const
{
    return defaultNetmask;
}

std::string ZTNetworkLinux::getDefaultGatewayIP() const
{
    return defaultGateway;
}

int ZTNetworkLinux::readCurrentIpSettings()
{
    InterfaceList interfaces;
    if (!interfaces.fetch() || !storeAddress(interfaces)) {
        return READ_FAILED;
    }
    return storeNetmask(interfaces);
}

bool ZTNetworkLinux::storeAddress(const InterfaceList& interfaces)
{
    bool isLast = true; // of no interfaces
    for (const ifreq& interface : interfaces) {
        ifreq copy = interface; // the flags take the place of the address
        if (interfaces.ask(SIOCGIFFLAGS, copy)) {
            isLast = isNamed(interface, interfaceName);
            if (isLast) {
                currentConfig.ipAddress = textOf(interface.ifr_addr);
            }
        }
    }
    return isLast;
}

int ZTNetworkLinux::storeNetmask(InterfaceList& interfaces)
{
    ifreq& record = interfaces.spare();
    setName(record, interfaceName);
    if (!interfaces.ask(SIOCGIFHWADDR, record)) {
        return 0;
    }
    if (!interfaces.ask(SIOCGIFNETMASK, record)) {
        return READ_FAILED;
    }
    const std::string netmask = textOf(record.ifr_netmask);
    if (netmask == HOST_NETMASK) {
        return READ_FAILED;
    }
    currentConfig.netmask = netmask;
    return 0;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): an override that validates may change both
int ZTNetworkLinux::setEthernet(std::string ip, std::string netmask)
{
    if (!isIPAddressValid(ip) || !isIPAddressValid(netmask)) {
        return COMMAND_FAILED;
    }
    return succeeds("ifconfig " + interfaceName + " " + ip + " netmask " + netmask)
               ? 0
               : COMMAND_FAILED;
}

int ZTNetworkLinux::setGateway(const std::string& gateway)
{
    const std::string add = "route add default gw " + gateway + " " + interfaceName;
    const std::string remove =
        "route del default gw " + currentConfig.gateway + " " + interfaceName;
    if (!currentConfig.gateway.empty()) {
        succeeds(remove);
    }
    succeeds(add);
    return 0;
}

int ZTNetworkLinux::readGateway()
{
    std::string gateway;
    for (const std::string& line : ZTStringTokenizer::tokenize(executeCommand("route -n"), "\n")) {
        if (line.find("UG") != std::string::npos && line.find(interfaceName) != std::string::npos) {
            const std::string column = secondColumn(line);
            if (!column.empty()) {
                gateway = column;
            }
        }
    }
    if (gateway.empty()) {
        return COMMAND_FAILED;
    }
    currentConfig.gateway = gateway;
    return 0;
}

std::string ZTNetworkLinux::executeCommand(const std::string& command)
{
    std::string output;
    return appendCommandOutput(command, output) ? output : "ERROR";
}

} // namespace ZT
