#ifndef ZT_TOOL_NETINTERFACE_H
#define ZT_TOOL_NETINTERFACE_H

#include "Output.h"
#include "zt/ZTNetworkLinux.h"

#include <string>

namespace zt {

/// The settings of a network interface; everything throws Failure.
class NetInterface {
public:
    explicit NetInterface(std::string name);

    /// The gateway is empty if there is none.
    ZT::ZTNetworkConfig read();

    /// All three must be addresses.
    void write(const ZT::ZTNetworkConfig& wanted);

private:
    std::string name;
    ZT::ZTNetworkLinux network;
};

/// The three as fields; null for no gateway.
Json describe(const ZT::ZTNetworkConfig& settings);

} // namespace zt

#endif
