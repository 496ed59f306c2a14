#ifndef ZTSIM_CONTROLSOCKET_H
#define ZTSIM_CONTROLSOCKET_H

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ztsim {

/// Listens where "ztsim ctl" looks for this process: at an abstract address, which leaves no file
/// behind and can be reached wherever the network is the same. It has the namespace of the
/// process's id in it, its user, and a random number, so that nobody can take it beforehand.
///
/// On the device itself it is that of process 1, of another network. The device's name, which may
/// be empty, stands at the end. Throws std::system_error, and std::runtime_error for a name that
/// another device has.
int listenForControl(const std::string& name);

/// A device that can be reached from here.
struct ReachedDevice {
    pid_t pid; ///< of its ztsim
    std::string name;
    std::string address; ///< with its NUL
};

/// Those of this user, as far as they are wanted, by the numbers of their processes. The addresses
/// of others, whatever they look like, are passed over.
std::vector<ReachedDevice>
findDevices(const std::function<bool(pid_t, const std::string& name)>& isWanted);

/// A connection, which does not wait; -1 unless a device of this user is there.
int connectToDevice(const std::string& address);

/// Whether the other end belongs to this user. Anybody can connect to an abstract address.
bool isOfThisUser(int socket);

} // namespace ztsim

#endif
