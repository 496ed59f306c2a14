#include "Address.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ztsim {
namespace {

/// The start of the addresses of this user's devices; wire-formats.md in the guide has them.
std::string addressPrefix()
{
    char text[64];
    const ssize_t size = ::readlink("/proc/self/ns/pid", text, sizeof text);
    return "ztsim/" + std::string(text, size < 0 ? 0 : static_cast<std::size_t>(size)) + '/' +
           std::to_string(::getuid()) + '/';
}

bool isOfThisUser(int socket)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::getuid();
}

/// Takes what is in front of the next slash from the text.
std::string takePart(std::string& text)
{
    const std::size_t slash = text.find('/');
    std::string part = text.substr(0, slash);
    text.erase(0, slash == std::string::npos ? slash : slash + 1);
    return part;
}

bool isReached(const std::string& address)
{
    const int device = connectTo(address);
    return device >= 0 && ::close(device) == 0;
}

} // namespace

std::vector<Address> findDevices()
{
    const std::string prefix = addressPrefix();
    std::vector<Address> devices;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        const std::size_t found = line.find(" @" + prefix);
        if (found == std::string::npos) {
            continue;
        }
        const std::string text = line.substr(found + 2);
        std::string rest = text.substr(prefix.size());
        const auto pid = static_cast<pid_t>(std::strtol(takePart(rest).c_str(), nullptr, 10));
        takePart(rest); // the random number
        const bool isKnown = std::any_of(devices.begin(), devices.end(),
                                         [pid](const Address& known) { return known.pid == pid; });
        if (pid > 0 && !isKnown && isReached(text)) {
            devices.push_back({text, pid, rest});
        }
    }
    return devices;
}

bool isHere(const Address& device)
{
    const char* const told = std::getenv("ZTSIM_DEVICE");
    return device.pid == (told == nullptr ? 1 : std::strtol(told, nullptr, 10));
}

int connectTo(const std::string& address)
{
    sockaddr_un to = {};
    to.sun_family = AF_UNIX;
    if (address.size() >= sizeof to.sun_path) {
        return -1;
    }
    std::memcpy(to.sun_path + 1, address.data(), address.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + address.size());
    const int device = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (device < 0) {
        return -1;
    }
    if (::connect(device, reinterpret_cast<const sockaddr*>(&to), size) == 0 &&
        isOfThisUser(device)) {
        return device;
    }
    ::close(device);
    return -1;
}

} // namespace ztsim
