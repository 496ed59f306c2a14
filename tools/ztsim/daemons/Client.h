#ifndef ZTSIM_CLIENT_H
#define ZTSIM_CLIENT_H

#include "Bytes.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

namespace ztsim {

/// A daemon's end of one connection.
class Client : public std::enable_shared_from_this<Client> {
public:
    using Socket = boost::asio::local::stream_protocol::socket;

    struct Callbacks {
        /// How long after its arrival a record is handed to `received`; none is until resume().
        std::function<std::optional<std::chrono::milliseconds>()> delay;
        std::function<void(Client&, const Bytes&)> received;
        std::function<void(Client&)> unread; ///< closed because it does not read
        std::function<void(Client&)> gone;
    };

    Client(Socket given, std::uint64_t number, std::size_t recordSize, Callbacks callbacks);

    /// By which it is told from the others of its daemon.
    std::uint64_t number() const { return ownNumber; }

    /// That has connected, as far as the kernel knows.
    pid_t process() const { return peer; }

    /// Reads records, each of them handed to `received`, up to the end, told by `gone`. While one
    /// waits for that, no other is read.
    void read();

    /// Goes on where nothing was read, or a record waits.
    void resume();

    void send(const Bytes& bytes);

    /// The same, but whatever is sent afterwards is dropped.
    void sendLast(const Bytes& bytes);

    void close();

    /// Whether it has read all that it was sent.
    bool hasReadAll();

private:
    void receive();
    void handle();
    void write();

    Socket socket;
    const std::uint64_t ownNumber;
    const pid_t peer;
    Callbacks callbacks;
    boost::asio::steady_timer pause; ///< of the record that waits
    Bytes incoming;
    bool reading = false;
    bool waiting = false; ///< a record is
    std::deque<Bytes> outgoing;
    bool last = false; ///< has been sent
};

} // namespace ztsim

#endif
