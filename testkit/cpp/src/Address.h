#ifndef ZTSIM_ADDRESS_H
#define ZTSIM_ADDRESS_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace ztsim {

/// Where a device listens.
struct Address {
    std::string text; ///< of an abstract socket, without its NUL
    pid_t pid;        ///< of its ztsim, 1 on the device
    std::string name;
};

/// Of the devices of this user that can be reached from here.
std::vector<Address> findDevices();

/// Whether this process is on that device, which has namespaces of its own or else says where it
/// is.
bool isHere(const Address& device);

/// A connection to it; -1 unless a device of this user is there.
int connectTo(const std::string& address);

} // namespace ztsim

#endif
