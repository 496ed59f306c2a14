#include "LocalSocket.h"

#include <cerrno>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace ztsim {
namespace {

int openSocket()
{
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

} // namespace

int listenAt(const boost::asio::local::stream_protocol::endpoint& address)
{
    const int listener = openSocket();
    if (::bind(listener, address.data(), static_cast<socklen_t>(address.size())) < 0 ||
        ::listen(listener, SOMAXCONN) < 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot listen on " + address.path());
    }
    return listener;
}

int acceptFrom(int listener)
{
    return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

int connectTo(const boost::asio::local::stream_protocol::endpoint& address)
{
    const int client = openSocket();
    if (::connect(client, address.data(), static_cast<socklen_t>(address.size())) < 0) {
        ::close(client);
        return -1;
    }
    return client;
}

} // namespace ztsim
