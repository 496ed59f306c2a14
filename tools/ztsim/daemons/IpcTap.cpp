#include "IpcTap.h"

#include "LocalSocket.h"
#include "Log.h"

#include <boost/asio/buffer.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

constexpr std::chrono::milliseconds PAUSE{10};
constexpr int MOST_LOOKS = 500; ///< for a server that does not listen

int watchFolderOf(const std::string& path)
{
    const std::string folder = std::filesystem::absolute(path).parent_path();
    const int watch = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (::inotify_add_watch(watch, folder.c_str(), IN_CREATE | IN_ONLYDIR) < 0) {
        const int error = errno;
        ::close(watch);
        throw std::system_error(error, std::generic_category(), "--capture-ipc: " + folder);
    }
    return watch;
}

/// By which it is told from others; 0 for none.
ino_t fileAt(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

/// The sockets that listen and were bound to the path, wherever its file is now.
std::set<ino_t> listenersAt(const std::string& path)
{
    constexpr unsigned long listening = 0x10000;
    std::set<ino_t> found;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        std::istringstream words(line);
        std::string other;
        unsigned long flags = 0;
        ino_t number = 0;
        words >> other >> other >> other >> std::hex >> flags >> other >> other >> std::dec >>
            number >> std::ws;
        std::getline(words, other);
        if ((flags & listening) != 0 && other == path) {
            found.insert(number);
        }
    }
    return found;
}

} // namespace

IpcTap::IpcTap(boost::asio::io_context& context, std::string givenPath, Journal& journal)
    : path(std::move(givenPath)), aside(asideOf(path)), journal(journal),
      folder(context, watchFolderOf(path)), pause(context), acceptor(context), retry(context)
{
    awaitServer();
    lookForServer();
}

IpcTap::~IpcTap()
{
    leavePlace();
}

void IpcTap::awaitServer()
{
    folder.async_read_some(boost::asio::buffer(news), [this](const auto& error, std::size_t) {
        if (!error) {
            looks = 0;
            lookForServer();
            awaitServer();
        }
    });
}

/// A server makes its file some time before it listens.
void IpcTap::lookForServer()
{
    if (isInPlace()) {
        return;
    }
    leavePlace();
    if (fileAt(path) == 0) {
        return;
    }
    const std::set<ino_t> listeners = listenersAt(path);
    if (!std::includes(servers.begin(), servers.end(), listeners.begin(), listeners.end())) {
        servers = listeners; // with one before it, perhaps, that goes on
        takePlace();
    } else if (looks++ < MOST_LOOKS) {
        pause.expires_after(PAUSE);
        pause.async_wait([this](const auto& error) {
            if (!error) {
                lookForServer();
            }
        });
    }
}

bool IpcTap::isInPlace() const
{
    return acceptor.is_open() && fileAt(path) == file;
}

/// With one call, so that a client finds the server or the tap at each moment. Once there is
/// something aside, it is the tap.
void IpcTap::takePlace()
{
    const std::string own = aside + '+';
    try {
        ::unlink(own.c_str()); // may be left from a device that was killed
        acceptor.assign(Stream(), listenAt(own));
        file = fileAt(own);
        if (::renameat2(AT_FDCWD, own.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) < 0) {
            throw std::system_error(errno, std::generic_category(), "renameat2");
        }
        ::rename(own.c_str(), aside.c_str());
        awaitClients();
    } catch (const std::exception& error) {
        log("cannot capture " + path + ": " + error.what());
        ::unlink(own.c_str());
        leavePlace();
    }
}

void IpcTap::leavePlace()
{
    if (isInPlace()) {
        ::rename(aside.c_str(), path.c_str());
    } else {
        ::unlink(aside.c_str());
    }
    boost::system::error_code ignored;
    acceptor.close(ignored);
    waiting.clear();
}

void IpcTap::awaitClients()
{
    acceptor.async_wait(Stream::acceptor::wait_read, [this](const auto& error) {
        if (error) {
            return;
        }
        const int client = acceptFrom(acceptor.native_handle());
        if (client < 0 && errno != EAGAIN) { // no more for now
            pause.expires_after(PAUSE);
            pause.async_wait([this](const auto& cancelled) {
                if (!cancelled) {
                    awaitClients();
                }
            });
            return;
        }
        if (client >= 0) {
            waiting.emplace_back(acceptor.get_executor(), Stream(), client);
            connectClients();
        }
        if (acceptor.is_open()) {
            awaitClients();
        }
    });
}

void IpcTap::connectClients()
{
    for (; !waiting.empty(); waiting.pop_front()) {
        Socket& client = waiting.front();
        const int server = connectAs(nameAt(client.native_handle()), aside);
        if (server < 0 && errno == EAGAIN) { // it has too many waiting
            retry.expires_after(PAUSE);
            retry.async_wait([this](const auto& error) {
                if (!error) {
                    connectClients();
                }
            });
            return;
        }
        if (server < 0) { // it is dead
            leavePlace();
            return;
        }
        std::make_shared<IpcConnection>(std::move(client),
                                        Socket(acceptor.get_executor(), Stream(), server),
                                        ++lastClient, journal)
            ->start();
    }
}

} // namespace ztsim
