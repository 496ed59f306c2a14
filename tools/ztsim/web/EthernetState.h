#ifndef ZTSIM_ETHERNETSTATE_H
#define ZTSIM_ETHERNETSTATE_H

#include "State.h"

#include <string>

namespace ztsim {

/// How the kernel has an interface set: up, address, netmask, hardware address, gateway. Null for
/// one that is not there.
Json ethernetState(const std::string& name);

} // namespace ztsim

#endif
