#include "ipc/LocalAddress.h"

#include "ipc/DescriptorSet.h"
#include "ipc/IPCDiagnostics.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ZT {

namespace {

// False, with errno, for a path that does not fit.
bool fillAddress(sockaddr_un& address, const std::string& path)
{
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() > sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::strncpy(address.sun_path, path.c_str(), path.size());
    return true;
}

bool connectTo(int descriptor, const std::string& path)
{
    sockaddr_un address;
    return fillAddress(address, path) &&
           connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

void printConnectFailure(const std::string& message, int error, const std::string& path)
{
// The peer has always been printed as a number. What reads these lines expects one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    ZTDebug::debugPrintError(1, ZTIPCEndPoint::debugSection, "%s %s %s %d", message.c_str(),
                             std::strerror(error), " peer: ", path.c_str());
#pragma GCC diagnostic pop
}

} // namespace

void removeFilesThatBeginWith(const std::string& path)
{
    [[maybe_unused]] const int status = std::system(("rm -f " + path + "*").c_str());
}

bool bindTo(int descriptor, const std::string& path)
{
    sockaddr_un address;
    unlink(path.c_str());
    return fillAddress(address, path) &&
           bind(descriptor, reinterpret_cast<sockaddr*>(&address),
                static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size())) == 0;
}

int connectWithin(int descriptor, const std::string& path, long timeoutMs,
                  const std::string& operation)
{
    if (connectTo(descriptor, path)) {
        return 0;
    }
    const int error = errno;
    if (error != EINPROGRESS) {
        printConnectFailure(operation + " failed: ", error, path);
        return 14;
    }
    DescriptorSet descriptors;
    descriptors.add(descriptor);
    const int ready = descriptors.awaitWritable(timeoutMs);
    if (ready > 0) {
        return ready;
    }
    printIPCFailure((operation + (ready == 0 ? " times out" : " failed")).c_str());
    return ready == 0 ? 17 : 14;
}

} // namespace ZT
