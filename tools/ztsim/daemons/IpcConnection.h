#ifndef ZTSIM_IPCCONNECTION_H
#define ZTSIM_IPCCONNECTION_H

#include "IpcFrame.h"
#include "Journal.h"

#include <boost/asio/local/stream_protocol.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sys/types.h>

namespace ztsim {

/// A client's connection to a server, of which both ends are ours: what one sends is told to the
/// journal, frame by frame, and passed on to the other. What the other cannot take yet is not read
/// either. It lives until an end has closed its connection, or both have said all.
class IpcConnection : public std::enable_shared_from_this<IpcConnection> {
public:
    using Socket = boost::asio::local::stream_protocol::socket;

    IpcConnection(Socket client, Socket server, std::uint64_t number, Journal& journal);

    void start();
    void close();

private:
    struct Way {
        Socket& from;
        Socket& to;
        const Transfer::What what;
        IpcFrames frames;
        std::array<char, 65536> buffer;
        bool isAtEnd;
    };

    void pass(Way& way);
    void passed(Way& way, std::size_t size);
    void end(Way& way);
    void tell(Transfer::What what, const Bytes& frame);

    Socket client;
    Socket server;
    const std::uint64_t number;
    const pid_t process; ///< of the client
    Journal& journal;
    Way toServer;
    Way toClient;
};

} // namespace ztsim

#endif
