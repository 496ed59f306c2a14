#ifndef ZTSIM_POWERDAEMON_H
#define ZTSIM_POWERDAEMON_H

#include "Fault.h"
#include "PowerClient.h"
#include "PowerManager.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>

namespace ztsim {

struct PowerDaemonOptions {
    PowerSettings settings;
    Faults faults;
    std::chrono::milliseconds away{300}; ///< after a hang-up
    bool verbose = false;
};

/// The power-management daemon: serves the device's power management to any number of clients.
class PowerDaemon {
public:
    /// Listens from now on; clients are served by the context's run().
    PowerDaemon(boost::asio::io_context& context, PowerDaemonOptions given);

private:
    void listen();
    void awaitClients();
    void acceptClients();
    void addClient(PowerClient::Socket socket);
    void removeClient(PowerClient& client);
    void received(PowerClient& sender, const PowerRecord& record);
    void handle(PowerClient& sender, const PowerRecord& record);
    void suffer(Fault fault, PowerClient& sender);
    void hangUp();
    void send(PowerClient& client, const PowerRecord& record);
    void sendToAll(const PowerRecord& record);
    void logRecord(const char* direction, const PowerRecord& record) const;

    const PowerDaemonOptions options;
    PowerManager manager;
    boost::asio::local::stream_protocol::acceptor acceptor;
    boost::asio::steady_timer timer; ///< to the return from a hang-up
    std::set<std::shared_ptr<PowerClient>> clients;
    bool full = false; ///< no file descriptor is left for another client
    std::uint64_t records = 0;
};

} // namespace ztsim

#endif
