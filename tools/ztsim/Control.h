#ifndef ZTSIM_CONTROL_H
#define ZTSIM_CONTROL_H

#include "Daemons.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <list>
#include <string>

namespace ztsim {

/// Performs the commands of "ztsim ctl". A connection brings the words of one command, each with a
/// NUL behind it, and gets a digit, 0 for success, and what there is to say.
class Control {
public:
    static constexpr char DONE = '0';
    static constexpr char REFUSED = '1';

    /// If verbose, it logs each command.
    Control(boost::asio::io_context& context, Daemons& daemons, bool verbose);

    /// Serves who connects to this listening socket, too, from the context's run() on.
    void listenOn(int socket);

private:
    using Stream = boost::asio::local::stream_protocol;

    struct Listener {
        Stream::acceptor acceptor;
        boost::asio::steady_timer pause; ///< while no file descriptor is left
    };

    void accept(Listener& listener);
    void serve(Stream::socket client);
    std::string perform(const std::string& request);

    boost::asio::io_context& context;
    Daemons& daemons;
    const bool verbose;
    std::list<Listener> listeners;
};

} // namespace ztsim

#endif
