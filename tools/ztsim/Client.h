#ifndef ZTSIM_CLIENT_H
#define ZTSIM_CLIENT_H

#include "Bytes.h"

#include <boost/asio/local/stream_protocol.hpp>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace ztsim {

/// A daemon's end of one connection.
class Client : public std::enable_shared_from_this<Client> {
public:
    using Socket = boost::asio::local::stream_protocol::socket;

    struct Callbacks {
        std::function<void(Client&, const Bytes&)> received;
        std::function<void(Client&)> unread; ///< closed because it does not read
        std::function<void(Client&)> gone;
    };

    Client(Socket socket, std::size_t recordSize, Callbacks callbacks);

    /// Reads records, each of them handed to `received`, up to the end, told by `gone`.
    void read();

    void send(const Bytes& bytes);

    /// The same, but whatever is sent afterwards is dropped.
    void sendLast(const Bytes& bytes);

    void close();

private:
    void write();

    Socket socket;
    Callbacks callbacks;
    Bytes incoming;
    std::deque<Bytes> outgoing;
    bool last = false; ///< has been sent
};

} // namespace ztsim

#endif
