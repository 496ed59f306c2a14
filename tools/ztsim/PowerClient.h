#ifndef ZTSIM_POWERCLIENT_H
#define ZTSIM_POWERCLIENT_H

#include "PowerRecord.h"

#include <boost/asio/local/stream_protocol.hpp>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>

namespace ztsim {

/// The daemon's end of one connection.
class PowerClient : public std::enable_shared_from_this<PowerClient> {
public:
    using Socket = boost::asio::local::stream_protocol::socket;
    using Received = std::function<void(PowerClient&, const PowerRecord&)>;
    using Gone = std::function<void(PowerClient&)>;

    PowerClient(Socket socket, Received received, Gone gone);

    /// Reads records, each of them handed to `received`, up to the end, told by `gone`.
    void read();

    void send(const PowerRecord& record);

    /// The first bytes of a record; whatever is sent afterwards is dropped.
    void sendCut(const PowerRecord& record, std::size_t size);

    void close();

private:
    struct Outgoing {
        PowerRecord record;
        std::size_t size;
    };

    void enqueue(const Outgoing& next);
    void write();

    Socket socket;
    Received received;
    Gone gone;
    PowerRecord incoming{};
    std::deque<Outgoing> outgoing;
    bool cut = false;
};

} // namespace ztsim

#endif
