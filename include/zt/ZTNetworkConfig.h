#ifndef ZT_ZTNETWORKCONFIG_H
#define ZT_ZTNETWORKCONFIG_H

#include "zt/ztExport.h"

#include <string>

namespace ZT {

/// The IPv4 settings of an interface, each in the form "192.168.135.6".
struct ZT_API ZTNetworkConfig {
    ~ZTNetworkConfig();

    std::string ipAddress; ///< of the interface
    std::string netmask;   ///< of its network
    std::string gateway;   ///< the default one
};

} // namespace ZT

#endif
