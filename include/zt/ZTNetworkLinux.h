#ifndef ZT_ZTNETWORKLINUX_H
#define ZT_ZTNETWORKLINUX_H

#include "zt/ZTNetwork.h"

namespace ZT {

class InterfaceList;

/// The ZTNetwork that reads with ioctls and from the command "route -n", and writes with the
/// commands "ifconfig" and "route", which must be on the PATH.
///
/// The commands reach the shell. The name of the interface gets there as it is, without quotes, and
/// as a rule with root's rights: never take it from outside unchecked. With a NUL in it nothing is
/// run. What is to be set gets there only if isIPAddressValid() lets it through. The current
/// gateway, which makes room for a new one, gets there unchecked: as "route -n" told it, or as the
/// application has changed it in the record of getNetworkConfig(). Writing needs the rights for it.
/// What the commands complain of goes to the process's standard error. They are run by system() and
/// popen(), about which ZTSystem says more.
///
/// Beware: reading fails unless the interface is the last that the system lists. It lists those
/// with an IPv4 address, in the order in which they came to be. So an interface without an address
/// cannot be read, and one that another with an address follows can neither be read nor written
/// with success.
class ZT_API ZTNetworkLinux : public ZTNetwork {
public:
    /// Reads nothing from the system.
    ZTNetworkLinux();
    ~ZTNetworkLinux() override;

    bool setNetworkConfig(ZTNetworkConfig* config) override;
    ZTNetworkConfig* getNetworkConfig() override;
    bool setNetworkSettings(const std::string& ip, const std::string& netmask,
                            const std::string& gateway) override;
    bool isIPAddressValid(const std::string& ip) override;
    bool readNetworkSettings() override;
    bool applyNetworkSettings() override;
    void setNetworkinterface(const std::string& name) override;
    bool setIPAddress(const std::string& ip, bool apply) override;
    bool setNetmaskIP(const std::string& netmask, bool apply) override;
    bool setGatewayIP(const std::string& gateway, bool apply) override;
    std::string getDefaultIPAdress() const override;
    std::string getDefaultNetmaskIP() const override;
    std::string getDefaultGatewayIP() const override;

    /// Reads the current address and netmask. 0; 5 if the list cannot be had, if its last interface
    /// is another one, or if the netmask cannot be read or is 255.255.255.255.
    ///
    /// The address is stored as soon as the interface is found, whatever comes after it. If the
    /// system does not tell the interface's hardware address, the netmask stays as it was, and the
    /// result is 0: so when no interface has an address, and there is none of that name.
    int readCurrentIpSettings();

    /// Runs "ifconfig NAME IP netmask NETMASK". 0; 6 if one of the two is not valid, and then
    /// nothing is run, or if the command fails. The kernel takes the interface's routes away with
    /// its old address or netmask, the default one too.
    int setEthernet(std::string ip, std::string netmask);

    /// Runs "route del default gw GATEWAY NAME" for the gateway as last read, unless that is empty,
    /// and then "route add default gw GATEWAY NAME" for the new one. Always 0: read back what has
    /// come of it. A gateway that was never read stays beside the new one, and one that the system
    /// refuses leaves the interface without any. Nothing is validated here, the new one neither.
    int setGateway(const std::string& gateway);

    /// Reads the current gateway: the second column of the last line of "route -n" that holds both
    /// "UG" and the interface's name, which may be a part of a longer one. 0; 6 if there is none.
    int readGateway();

    /// What a command writes to its standard output; "ERROR" if it cannot be run.
    std::string executeCommand(const std::string& command);

private:
    bool storeAddress(const InterfaceList& interfaces);
    int storeNetmask(InterfaceList& interfaces);
    bool applyEthernet();

    std::string interfaceName;
    std::string defaultIPAddress;
    std::string defaultNetmask;
    std::string defaultGateway;
    ZTNetworkConfig currentConfig;
    std::string pendingIPAddress;
    std::string pendingNetmask;
    std::string pendingGateway;
};

} // namespace ZT

#endif
