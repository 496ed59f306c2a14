#include "ControlSocket.h"

#include "Number.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace ztsim {
namespace {

std::string addressPrefix()
{
    return "ztsim/" + std::filesystem::read_symlink("/proc/self/ns/pid").string() + '/' +
           std::to_string(::getuid()) + '/';
}

} // namespace

boost::asio::local::stream_protocol::endpoint controlAddress(pid_t pid)
{
    return {'\0' + addressPrefix() + std::to_string(pid)};
}

int listenForControl()
{
    const auto address = controlAddress(::getpid());
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0); // NOLINT(android-cloexec-socket)
    if (::bind(listener, address.data(), static_cast<socklen_t>(address.size())) < 0 ||
        ::listen(listener, SOMAXCONN) < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot listen for ztsim ctl");
    }
    return listener;
}

std::set<pid_t> reachableDevices()
{
    const std::string prefix = " @" + addressPrefix();
    std::set<pid_t> devices;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        const auto found = line.find(prefix);
        if (found != std::string::npos) {
            devices.insert(parseNumber<pid_t>(line.substr(found + prefix.size())));
        }
    }
    return devices;
}

bool isOfThisUser(int socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::getuid();
}

} // namespace ztsim
