#ifndef ZTSIM_IPCTAP_H
#define ZTSIM_IPCTAP_H

#include "IpcConnection.h"
#include "Journal.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <sys/types.h>

namespace ztsim {

/// Tells the journal of the frames between a server of the device's processes and its clients: once
/// the server listens at the path, the tap listens there in its place, and connects each client to
/// it under the client's own name. Who connects before that is not heard.
class IpcTap {
public:
    /// Throws std::system_error if there is no folder for the path.
    IpcTap(boost::asio::io_context& context, std::string path, Journal& journal);

    /// Gives the path back to the server.
    ~IpcTap();

    IpcTap(const IpcTap&) = delete;
    IpcTap& operator=(const IpcTap&) = delete;

private:
    using Socket = IpcConnection::Socket;

    void awaitServer();
    void lookForServer();
    bool isInPlace() const;
    void takePlace();
    void leavePlace();
    void awaitClients();
    void connectClients();

    const std::string path;
    const std::string aside; ///< where the server's socket is while the tap is in its place
    Journal& journal;
    boost::asio::posix::stream_descriptor folder; ///< tells of what is made there
    std::array<char, 4096> news{};
    boost::asio::steady_timer pause;
    int looks = 0;           ///< since something was made there
    std::set<ino_t> servers; ///< that have been there
    boost::asio::local::stream_protocol::acceptor acceptor;
    ino_t file = 0;             ///< of the acceptor
    std::deque<Socket> waiting; ///< clients, for the server
    boost::asio::steady_timer retry;
    std::uint64_t lastClient = 0;
};

} // namespace ztsim

#endif
