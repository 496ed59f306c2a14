#ifndef ZTSIM_LOCALSOCKET_H
#define ZTSIM_LOCALSOCKET_H

#include <boost/asio/local/stream_protocol.hpp>

namespace ztsim {

// Boost's own descriptors are inherited by COMMAND until that is changed; these never are.

/// Listens there, without waiting; throws std::system_error.
int listenAt(const boost::asio::local::stream_protocol::endpoint& address);

/// Of who has connected; -1, with errno, for none.
int acceptFrom(int listener);

/// Does not wait; -1 for nobody there.
int connectTo(const boost::asio::local::stream_protocol::endpoint& address);

} // namespace ztsim

#endif
