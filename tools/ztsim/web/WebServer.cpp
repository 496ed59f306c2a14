#include "WebServer.h"

#include "LocalSocket.h"
#include "WebConnection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <random>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace ztsim {
namespace {

/// Pages see a change after this time at most.
constexpr std::chrono::milliseconds PERIOD{40};
constexpr std::size_t MOST_CONNECTIONS = 64;

std::string makeToken()
{
    std::random_device random; // of the kernel
    std::string token;
    for (int word = 0; word < 4; ++word) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08x", random());
        token += digits;
    }
    return token;
}

std::string hostOf(int listener)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

} // namespace

WebServer::WebServer(boost::asio::io_context& context, int listener, Simulated& device,
                     bool verbose)
    : device(device), verbose(verbose), overview(device), acceptor(context, Stream::v4(), listener),
      timer(context), pause(context), host(hostOf(listener)), token(makeToken())
{
    accept();
}

WebServer::~WebServer() = default;

std::string WebServer::address() const
{
    return "http://" + host + "/?token=" + token;
}

void WebServer::accept()
{
    acceptor.async_wait(Stream::acceptor::wait_read, [this](const auto& error) {
        if (error) {
            return;
        }
        const int client = acceptFrom(acceptor.native_handle());
        if (client < 0) { // there is no descriptor for it now
            pause.expires_after(PERIOD);
            pause.async_wait([this](const auto&) { accept(); });
            return;
        }
        Stream::socket socket(acceptor.get_executor(), Stream::v4(), client);
        if (connections.size() < MOST_CONNECTIONS) {
            const auto connection = std::make_shared<WebConnection>(
                std::move(socket), device, overview, WebConnection::Access{host, token}, verbose);
            connections.push_back(connection);
            connection->start();
        }
        if (connections.size() == 1) {
            pushSoon();
        }
        accept();
    });
}

void WebServer::pushSoon()
{
    timer.expires_after(PERIOD);
    timer.async_wait([this](const auto& error) {
        if (error) {
            return;
        }
        connections.erase(std::remove_if(connections.begin(), connections.end(),
                                         [](const auto& each) { return each.expired(); }),
                          connections.end());
        std::string state; // is the same for all
        for (const auto& each : connections) {
            const auto connection = each.lock();
            if (connection->isTold()) {
                state = state.empty() ? overview.state() : state;
                connection->push(state);
            }
        }
        if (!connections.empty()) {
            pushSoon();
        }
    });
}

int listenOnLoopback(int port)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        ::listen(listener, SOMAXCONN) < 0) {
        const int error = errno;
        ::close(listener);
        throw std::system_error(error, std::generic_category(),
                                "cannot listen on port " + std::to_string(port) + " of 127.0.0.1");
    }
    return listener;
}

} // namespace ztsim
