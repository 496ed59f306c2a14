#include "ControlSocket.h"

#include "LocalSocket.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

std::string addressPrefix()
{
    std::error_code error;
    const auto pidNamespace = std::filesystem::read_symlink("/proc/self/ns/pid", error);
    if (error) {
        throw std::runtime_error("there is no /proc here: mount it (mount -t proc proc /proc)");
    }
    return "ztsim/" + pidNamespace.string() + '/' + std::to_string(::getuid()) + '/';
}

/// The process of which the rest of an address begins with the number.
std::optional<pid_t> processOf(const std::string& rest)
{
    pid_t pid = 0;
    const char* const end = rest.data() + rest.size();
    const auto [stop, error] = std::from_chars(rest.data(), end, pid);
    return error == std::errc{} && stop != end && *stop == '/' ? std::optional(pid) : std::nullopt;
}

} // namespace

int listenForControl()
{
    std::random_device random;
    return listenAt({'\0' + addressPrefix() + std::to_string(::getpid()) + '/' +
                     std::to_string(random()) + std::to_string(random())});
}

std::map<pid_t, Stream::socket> connectToDevices(boost::asio::io_context& context,
                                                 const std::function<bool(pid_t)>& isWanted)
{
    const std::string prefix = addressPrefix();
    std::map<pid_t, Stream::socket> devices;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        const auto found = line.find(" @" + prefix);
        const std::string rest =
            found == std::string::npos ? "" : line.substr(found + 2 + prefix.size());
        const auto pid = processOf(rest);
        if (!pid || !isWanted(*pid) || devices.count(*pid) != 0) { // each connection is listed, too
            continue;
        }
        std::string name(1, '\0');
        name.append(prefix).append(rest);
        const int device = connectTo({name});
        if (device >= 0) {
            Stream::socket socket(context, Stream(), device);
            if (isOfThisUser(device)) {
                devices.emplace(*pid, std::move(socket));
            }
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
