#ifndef ZTSIM_CONTROLSOCKET_H
#define ZTSIM_CONTROLSOCKET_H

#include <boost/asio/local/stream_protocol.hpp>

#include <set>
#include <sys/types.h>

namespace ztsim {

/// Where "ztsim ctl" reaches the device of a ztsim: an abstract address, which leaves no file
/// behind and can be reached wherever the network is the same. It has the namespace of the
/// process's id in it, and its user.
///
/// On the device itself it is that of process 1, of another network.
boost::asio::local::stream_protocol::endpoint controlAddress(pid_t pid);

/// Listens at this process's address; throws std::system_error. The descriptor is inherited.
int listenForControl();

/// Those of this user that can be reached from here.
std::set<pid_t> reachableDevices();

/// Whether the other end belongs to this user. Anybody can connect to an abstract address.
bool isOfThisUser(int socket);

} // namespace ztsim

#endif
