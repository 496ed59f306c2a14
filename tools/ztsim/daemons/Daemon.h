#ifndef ZTSIM_DAEMON_H
#define ZTSIM_DAEMON_H

#include "Client.h"
#include "Fault.h"
#include "Journal.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace ztsim {

struct DaemonOptions {
    Faults faults;
    std::chrono::milliseconds away{300}; ///< after a hang-up
    bool verbose = false;
    std::string root; ///< the folder below which the socket is; empty for the real path
};

/// What the daemons have in common: a socket, any number of clients that send records of one size
/// to it, and the faults.
class Daemon {
public:
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    /// Closes all clients and removes the socket, for the time that the options say. Does nothing
    /// in that time.
    void hangUp();

    /// What befalls the records to come.
    Faults& faults() { return options.faults; }

    /// The number of the next record.
    std::uint64_t nextRecord() const { return records + 1; }

    /// From now on each record is handled so long after it came, or after the one before it.
    void slowDown(std::chrono::milliseconds wanted);

    /// Accepts clients, and handles no record of theirs, until it is deaf no more.
    void setDeaf(bool wanted);

    /// Whether some client was there ever.
    bool hasServed() const { return served; }

    /// Whether each client has read all that it was sent.
    bool isRead();

    struct Status {
        std::size_t clients;
        std::uint64_t records; ///< handled since the start
        bool isAway;
        bool isDeaf;
        std::chrono::milliseconds delay;
        std::vector<std::string> faults; ///< to come
    };
    Status status() const;

protected:
    struct Protocol {
        const char* name; ///< in the log
        const char* path; ///< of the device
        std::size_t recordSize;
    };

    /// Listens from now on; clients are served by the context's run().
    Daemon(boost::asio::io_context& context, const Protocol& protocol, DaemonOptions given,
           Journal& journal);
    ~Daemon() = default;

    void send(Client& client, const Bytes& record);
    void sendToAll(const Bytes& record);

private:
    /// Returns why the record was ignored, or null.
    virtual const char* handle(Client& sender, const Bytes& record) = 0;

    /// What the sender of `record` gets from a fault that sends something.
    virtual Bytes faultyAnswer(Fault fault, const Bytes& record) const = 0;

    virtual std::string describe(const Bytes& record) const = 0;

    void listen();
    void awaitClients();
    void acceptClients();
    void addClient(Client::Socket socket);
    void removeClient(Client& client);
    void received(Client& sender, const Bytes& record);
    void suffer(Fault fault, Client& sender, const Bytes& record);
    void tell(Transfer::What what, const Client& client, const std::string& text,
              const Bytes& bytes = {});
    void say(const std::string& line) const;
    void sayIfVerbose(const std::string& line) const;

    const Protocol protocol;
    DaemonOptions options;
    Journal& journal;
    boost::asio::local::stream_protocol::acceptor acceptor;
    boost::asio::steady_timer timer; ///< to the return from a hang-up
    std::set<std::shared_ptr<Client>> clients;
    bool full = false; ///< no file descriptor is left for another client
    bool served = false;
    bool deaf = false;
    std::chrono::milliseconds delay{0};
    std::uint64_t records = 0;
    std::uint64_t lastClient = 0; ///< the number of the last one that came
};

} // namespace ztsim

#endif
