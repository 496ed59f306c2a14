#include "health/HealthConnection.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ZT {

namespace {

const char HEALTH_MONITOR_PATH[] = "/var/run/zthmd_api";

} // namespace

HealthConnection::HealthConnection() : descriptor(socket(AF_UNIX, SOCK_STREAM, 0)) {}

HealthConnection::~HealthConnection()
{
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool HealthConnection::connect()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, HEALTH_MONITOR_PATH, sizeof address.sun_path - 1);
    return ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

bool HealthConnection::send(const zthmd_msg_t& message)
{
    return ::send(descriptor, &message, sizeof message, 0) != -1;
}

bool HealthConnection::receive(zthmd_msg_t& message)
{
    return recv(descriptor, &message, sizeof message, 0) != -1;
}

} // namespace ZT
