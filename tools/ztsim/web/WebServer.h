#ifndef ZTSIM_WEBSERVER_H
#define ZTSIM_WEBSERVER_H

#include "Overview.h"
#include "Simulated.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <memory>
#include <string>
#include <vector>

namespace ztsim {

class WebConnection;

/// Serves the page that shows the device, to whoever has its address with the token in it.
class WebServer {
public:
    /// Listens on this socket, of 127.0.0.1 in whatever network, from the context's run() on. If
    /// verbose, it logs each command.
    WebServer(boost::asio::io_context& context, int listener, Simulated& device, bool verbose);
    ~WebServer();

    /// Of the page.
    std::string address() const;

private:
    void accept();
    void pushSoon();

    using Stream = boost::asio::ip::tcp;

    Simulated& device;
    const bool verbose;
    Overview overview;
    Stream::acceptor acceptor;
    boost::asio::steady_timer timer; ///< while there are connections
    boost::asio::steady_timer pause; ///< while no file descriptor is left
    const std::string host;
    const std::string token;
    std::vector<std::weak_ptr<WebConnection>> connections;
};

/// Listens on 127.0.0.1, at some port if that is 0; throws std::system_error.
int listenOnLoopback(int port);

} // namespace ztsim

#endif
