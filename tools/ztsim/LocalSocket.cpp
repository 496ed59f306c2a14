#include "LocalSocket.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace ztsim {
namespace {

using Address = boost::asio::local::stream_protocol::endpoint;

int openSocket()
{
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

int bindTo(int socket, const Address& address)
{
    return ::bind(socket, address.data(), static_cast<socklen_t>(address.size()));
}

/// The file of a name that is in use is out of the way for as long as that takes.
void giveName(int socket, const std::string& name)
{
    const std::string aside = asideOf(name);
    const bool isAside = ::rename(name.c_str(), aside.c_str()) == 0;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path);
    static_cast<void>(
        ::bind(socket, reinterpret_cast<const sockaddr*>(&address),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())));
    if (isAside) {
        ::rename(aside.c_str(), name.c_str());
    } else {
        ::unlink(name.c_str());
    }
}

int connectFrom(int socket, const Address& address)
{
    if (::connect(socket, address.data(), static_cast<socklen_t>(address.size())) < 0) {
        const int error = errno;
        ::close(socket);
        errno = error;
        return -1;
    }
    return socket;
}

} // namespace

std::string asideOf(const std::string& path)
{
    const std::size_t name = path.rfind('/') + 1;
    return path.substr(0, name) + ".ztsim-" + path.substr(name);
}

int listenAt(const Address& address)
{
    const int listener = openSocket();
    if (bindTo(listener, address) < 0 || ::listen(listener, SOMAXCONN) < 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot listen on " + address.path());
    }
    return listener;
}

int acceptFrom(int listener)
{
    return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

int connectTo(const Address& address)
{
    return connectFrom(openSocket(), address);
}

int connectAs(const std::string& name, const Address& address)
{
    const int client = openSocket();
    if (!name.empty()) {
        giveName(client, name);
    }
    return connectFrom(client, address);
}

std::string nameAt(int socket)
{
    sockaddr_un address{};
    socklen_t size = sizeof address;
    ::getpeername(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return {address.sun_path, ::strnlen(address.sun_path, sizeof address.sun_path)};
}

pid_t processAt(int socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size);
    return peer.pid;
}

} // namespace ztsim
