#ifndef ZTSIM_CONTROLSOCKET_H
#define ZTSIM_CONTROLSOCKET_H

#include <boost/asio/local/stream_protocol.hpp>

#include <functional>
#include <map>
#include <sys/types.h>

namespace ztsim {

/// Listens where "ztsim ctl" looks for this process: at an abstract address, which leaves no file
/// behind and can be reached wherever the network is the same. It has the namespace of the
/// process's id in it, its user, and a random number, so that nobody can take it beforehand.
///
/// On the device itself it is that of process 1, of another network. Throws std::system_error.
int listenForControl();

/// Connections to the devices of this user that can be reached from here, by the processes of their
/// ztsims, as far as those are wanted. The addresses of others, whatever they look like, are passed
/// over.
std::map<pid_t, boost::asio::local::stream_protocol::socket>
connectToDevices(boost::asio::io_context& context, const std::function<bool(pid_t)>& isWanted);

/// Whether the other end belongs to this user. Anybody can connect to an abstract address.
bool isOfThisUser(int socket);

} // namespace ztsim

#endif
