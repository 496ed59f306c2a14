#ifndef ZTSIM_LOCALSOCKET_H
#define ZTSIM_LOCALSOCKET_H

#include <boost/asio/local/stream_protocol.hpp>

#include <string>
#include <sys/types.h>

namespace ztsim {

// Boost's own descriptors are inherited by COMMAND until that is changed; these never are.

/// Where the file of a socket is while another has its name. It does not begin with the same name:
/// servers remove what does.
std::string asideOf(const std::string& path);

/// Listens there, without waiting; throws std::system_error.
int listenAt(const boost::asio::local::stream_protocol::endpoint& address);

/// Of who has connected; -1, with errno, for none.
int acceptFrom(int listener);

/// Does not wait; -1, with errno, for nobody there.
int connectTo(const boost::asio::local::stream_protocol::endpoint& address);

/// The same, and the other end sees that name, whose file is left as it was; none if it is empty.
int connectAs(const std::string& name,
              const boost::asio::local::stream_protocol::endpoint& address);

/// Of the other end; empty for none.
std::string nameAt(int socket);

/// The process that has connected, as far as the kernel knows.
pid_t processAt(int socket);

} // namespace ztsim

#endif
