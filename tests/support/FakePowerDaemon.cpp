#include "support/FakePowerDaemon.h"

#include "support/Interpose.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const char PATH[] = "/var/run/ztpmd_api";

const int LONGEST_WAIT_MS = 30000;

bool isReadable(int descriptor, int timeout = 0)
{
    pollfd waited{descriptor, POLLIN, 0};
    return interposed::poll.real(&waited, 1, timeout) == 1;
}

} // namespace

FakePowerDaemon::Connection::~Connection()
{
    close(descriptor);
}

std::string FakePowerDaemon::Connection::receive(std::size_t size)
{
    std::string bytes;
    while (bytes.size() < size && isReadable(descriptor, LONGEST_WAIT_MS)) {
        char buffer[64];
        const ssize_t count =
            recv(descriptor, buffer, std::min(size - bytes.size(), sizeof buffer), 0);
        if (count <= 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(count));
    }
    EXPECT_EQ(bytes.size(), size) << "nothing comes";
    return bytes;
}

bool FakePowerDaemon::Connection::hasNews() const
{
    return isReadable(descriptor);
}

void FakePowerDaemon::Connection::send(const std::string& bytes)
{
    const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    EXPECT_EQ(count, static_cast<ssize_t>(bytes.size()));
}

FakePowerDaemon::FakePowerDaemon()
    : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, PATH);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(descriptor, 100), 0);
}

FakePowerDaemon::~FakePowerDaemon()
{
    close(descriptor);
    unlink(PATH);
}

std::unique_ptr<FakePowerDaemon::Connection> FakePowerDaemon::accept()
{
    EXPECT_TRUE(isReadable(descriptor, LONGEST_WAIT_MS)) << "nobody comes";
    return std::make_unique<Connection>(accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC));
}

bool FakePowerDaemon::hasClient() const
{
    return isReadable(descriptor);
}

RecordBytes& RecordBytes::put(std::size_t offset, unsigned int number)
{
    std::memcpy(&bytes[offset], &number, sizeof number);
    return *this;
}

RecordBytes& RecordBytes::put(std::size_t offset, const std::string& text)
{
    bytes.replace(offset, text.size(), text);
    return *this;
}
