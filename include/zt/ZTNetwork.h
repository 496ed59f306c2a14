#ifndef ZT_ZTNETWORK_H
#define ZT_ZTNETWORK_H

#include "zt/ZTNetworkConfig.h"
#include "zt/ztExport.h"

#include <string>

namespace ZT {

/// Reads and changes the IPv4 settings of one interface: address, netmask and default gateway.
/// ZTNetworkConfigFactory makes the one implementation, ZTNetworkLinux; its header says how it
/// reaches the system.
///
/// An object has two sets of settings. The current ones are as last read from the system. The
/// pending ones are those to be applied: a setter changes one of them, reading changes none.
/// Before anything is read or set, both are the defaults: 192.168.135.6, 255.255.255.0 and
/// 192.168.135.1. Address and netmask are written together: who applies one of them alone writes
/// the other's pending value, too, and so sets that before.
///
/// An object belongs to one thread at a time. Commands run on the calling thread, which waits for
/// them without limit. Nothing is logged, and nothing but std::bad_alloc is thrown.
class ZT_API ZTNetwork {
public:
    virtual ~ZTNetwork();

    /// setNetworkSettings() with the three of `config`, which is only read and stays the caller's.
    /// False for null, too.
    virtual bool setNetworkConfig(ZTNetworkConfig* config) = 0;

    /// The current settings, which are the object's own: they change with each read and end with
    /// the object.
    virtual ZTNetworkConfig* getNetworkConfig() = 0;

    /// Makes the three the pending settings and applies them. False if one of them is not valid,
    /// and then nothing has changed, or if applyNetworkSettings() is false.
    virtual bool setNetworkSettings(const std::string& ip, const std::string& netmask,
                                    const std::string& gateway) = 0;

    /// Whether it is four decimal numbers from 0 to 255 with dots between them. Every setter asks
    /// this, so an override decides what is let through to the system.
    virtual bool isIPAddressValid(const std::string& ip) = 0;

    /// Reads the current settings. False if one of them could not be read; those before it have
    /// been stored, in the order address, netmask, gateway.
    virtual bool readNetworkSettings() = 0;

    /// Writes the pending settings to the system, and reads the current ones back. True only if
    /// these are the same now, letter by letter. False at the first step that fails; what was done
    /// before it stays.
    virtual bool applyNetworkSettings() = 0;

    /// Names the interface that all other operations are about, "eth0" by default. Runs nothing,
    /// and keeps both sets of settings. The name reaches the shell, see ZTNetworkLinux.
    virtual void setNetworkinterface(const std::string& name) = 0;

    /// Each makes a valid value pending. Without `apply` that is all, and the result true. With
    /// `apply` it is written to the system, the address and the netmask both together, and read
    /// back; the pending value is then what was last read, whether that succeeded or not. False if
    /// the value is not valid, which changes nothing, or if writing or reading failed. Whether the
    /// system has taken the value is not looked at: getNetworkConfig() tells.
    ///
    /// Beware: with the old address or netmask the kernel drops the default route. After one of
    /// them has been applied alone, apply the gateway, too; or all three by setNetworkSettings().
    virtual bool setIPAddress(const std::string& ip, bool apply) = 0;
    virtual bool setNetmaskIP(const std::string& netmask, bool apply) = 0;
    virtual bool setGatewayIP(const std::string& gateway, bool apply) = 0;

    /// What the device has when nobody has changed it.
    virtual std::string getDefaultIPAdress() const = 0;
    virtual std::string getDefaultNetmaskIP() const = 0;
    virtual std::string getDefaultGatewayIP() const = 0;
};

} // namespace ZT

#endif
