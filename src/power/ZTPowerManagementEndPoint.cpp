#include "zt/ZTPowerManagementEndPoint.h"

#include "frame/noDescriptor.h"
#include "ipc/WaitNumber.h"
#include "zt/ztpmd_msg.h"

#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace ZT {

namespace {

const char POWER_MANAGER_PATH[] = "/var/run/ztpmd_api";

const int SEND_ATTEMPTS = 10;
const int ATTEMPT_MS = 50;

} // namespace

ZTPowerManagementEndPoint::ZTPowerManagementEndPoint()
    : ZTEndPoint(true), lastWait(0), descriptor(NO_DESCRIPTOR), address{}
{}

ZTPowerManagementEndPoint::~ZTPowerManagementEndPoint() = default;

int ZTPowerManagementEndPoint::init()
{
    release();
    lastWait = WaitNumber::latest();
    descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    if (descriptor < 0) {
        return 4;
    }
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, POWER_MANAGER_PATH, sizeof address.sun_path - 1);
    return connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : 14;
}

int ZTPowerManagementEndPoint::release()
{
    if (descriptor < 0) {
        return 0;
    }
    const int closed = close(descriptor);
    descriptor = NO_DESCRIPTOR;
    return closed == 0 ? 0 : 16;
}

int ZTPowerManagementEndPoint::sendMessage(void* message)
{
    if (descriptor < 0) {
        return 7;
    }
    if (message == nullptr) {
        return 20;
    }
    if (!awaitWritable()) {
        return 7;
    }
    return write(descriptor, message, sizeof(ztpmd_msg_t)) == sizeof(ztpmd_msg_t) ? 0 : 6;
}

bool ZTPowerManagementEndPoint::awaitWritable()
{
    for (int attempt = 0; attempt < SEND_ATTEMPTS; ++attempt) {
        pollfd waited{};
        waited.fd = descriptor;
        waited.events = POLLOUT | POLLERR | POLLRDHUP;
        if (poll(&waited, 1, ATTEMPT_MS) < 0) {
            continue;
        }
        if ((waited.revents & (POLLERR | POLLRDHUP)) != 0) {
            reconnect();
        } else if ((waited.revents & POLLOUT) != 0) {
            return true;
        }
    }
    return false;
}

int ZTPowerManagementEndPoint::getReadEndPointID() const
{
    return descriptor;
}

int ZTPowerManagementEndPoint::getWriteEndPointID() const
{
    return descriptor;
}

bool ZTPowerManagementEndPoint::isConnected() const
{
    return descriptor >= 0;
}

bool ZTPowerManagementEndPoint::isNewerThanWait() const
{
    return WaitNumber::isSinceCurrent(lastWait);
}

int ZTPowerManagementEndPoint::reconnect()
{
    return init();
}

} // namespace ZT
