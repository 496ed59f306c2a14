#include "ControlSocket.h"

#include "LocalSocket.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace ztsim {
namespace {

std::string addressPrefix()
{
    std::error_code error;
    const auto pidNamespace = std::filesystem::read_symlink("/proc/self/ns/pid", error);
    if (error) {
        throw std::runtime_error("there is no /proc here: mount it (mount -t proc proc /proc)");
    }
    return "ztsim/" + pidNamespace.string() + '/' + std::to_string(::getuid()) + '/';
}

/// The rest of an address that begins with the number of a process. Behind a random number, if
/// there is any, stands the name.
struct Address {
    pid_t pid;
    std::string name;
};

std::optional<Address> parseAddress(const std::string& rest)
{
    Address address{};
    const char* const end = rest.data() + rest.size();
    const auto [stop, error] = std::from_chars(rest.data(), end, address.pid);
    if (error != std::errc{} || stop == end || *stop != '/') {
        return std::nullopt;
    }
    const std::string behind(stop + 1, end);
    const auto slash = behind.find('/');
    address.name = slash == std::string::npos ? "" : behind.substr(slash + 1);
    return address;
}

/// A second look, once the name is taken here: of two that start at once none may get it, but never
/// both.
void refuseTakenName(const std::string& name)
{
    const pid_t self = ::getpid();
    const auto others = findDevices([self, &name](pid_t pid, const std::string& other) {
        return pid != self && other == name;
    });
    if (!others.empty()) {
        throw std::runtime_error("there is a device named " + name + " already, of process " +
                                 std::to_string(others.front().pid));
    }
}

} // namespace

int listenForControl(const std::string& name)
{
    std::random_device random;
    const int listener =
        listenAt({'\0' + addressPrefix() + std::to_string(::getpid()) + '/' +
                  std::to_string(random()) + std::to_string(random()) + '/' + name});
    if (!name.empty()) {
        refuseTakenName(name);
    }
    return listener;
}

std::vector<ReachedDevice>
findDevices(const std::function<bool(pid_t, const std::string& name)>& isWanted)
{
    const std::string prefix = addressPrefix();
    std::map<pid_t, ReachedDevice> devices;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        const auto found = line.find(" @" + prefix);
        const std::string rest =
            found == std::string::npos ? "" : line.substr(found + 2 + prefix.size());
        const auto parsed = parseAddress(rest);
        if (!parsed || !isWanted(parsed->pid, parsed->name) ||
            devices.count(parsed->pid) != 0) { // each connection is listed, too
            continue;
        }
        std::string address(1, '\0');
        address.append(prefix).append(rest);
        const int device = connectToDevice(address);
        if (device >= 0) {
            ::close(device);
            devices.emplace(parsed->pid, ReachedDevice{parsed->pid, parsed->name, address});
        }
    }
    std::vector<ReachedDevice> list;
    list.reserve(devices.size());
    for (const auto& device : devices) {
        list.push_back(device.second);
    }
    return list;
}

int connectToDevice(const std::string& address)
{
    const int device = connectTo({address});
    if (device >= 0 && !isOfThisUser(device)) {
        ::close(device);
        return -1;
    }
    return device;
}

bool isOfThisUser(int socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::getuid();
}

} // namespace ztsim
