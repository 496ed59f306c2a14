#ifndef ZTSIM_CONTROL_H
#define ZTSIM_CONTROL_H

#include "Command.h"
#include "Session.h"
#include "Simulated.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace ztsim {

/// Performs the commands of "ztsim ctl". A connection brings the version of the protocol and the
/// words of one command, and gets an answer.
class Control {
public:
    static constexpr const char* VERSION = "1";

    /// If verbose, it logs each command.
    Control(boost::asio::io_context& context, Simulated& device, bool verbose);

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
    void perform(const std::shared_ptr<Session>& session, std::vector<std::string> words);
    void act(const std::shared_ptr<Session>& session, const Action& action,
             const std::string& text);
    void await(const std::shared_ptr<Session>& session, const Await& wanted);
    void watch(const std::shared_ptr<Session>& session, const Watch& wanted);

    boost::asio::io_context& context;
    Simulated& device;
    const bool verbose;
    std::list<Listener> listeners;
};

} // namespace ztsim

#endif
