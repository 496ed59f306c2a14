#ifndef ZTSIM_DEVICEPATHS_H
#define ZTSIM_DEVICEPATHS_H

namespace ztsim {

// Where programs look for what is on the device.
constexpr const char* POWER_SOCKET = "/var/run/ztpmd_api";
constexpr const char* HEALTH_SOCKET = "/var/run/zthmd_api";
constexpr const char* EEPROM_DEVICE = "/dev/eeprom2";
constexpr const char* EEPROM_ATTRIBUTE = "/sys/bus/i2c/devices/1-0050/app";
constexpr const char* DROP_CACHES = "/proc/sys/vm/drop_caches";
constexpr const char* COMPACT_MEMORY = "/proc/sys/vm/compact_memory";

// What tells a program on a device without namespaces of it: the folder below which these paths
// are, if they are in one, and the process of its ztsim.
constexpr const char* ROOT_VARIABLE = "ZTSIM_ROOT";
constexpr const char* DEVICE_VARIABLE = "ZTSIM_DEVICE";

} // namespace ztsim

#endif
