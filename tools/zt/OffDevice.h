#ifndef ZT_TOOL_OFFDEVICE_H
#define ZT_TOOL_OFFDEVICE_H

#include <string>

namespace zt {

/// Whether nothing of the device is here: no socket of its daemons, and no EEPROM.
bool isOffDevice();

/// The command line as one that runs it on a simulated device: "ztsim -- zt power state".
std::string simulated(int argc, char** argv);

} // namespace zt

#endif
