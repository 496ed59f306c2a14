#include "support/FakeDaemon.h"

#include "support/Interpose.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace {

const int LONGEST_WAIT_MS = 30000;

bool isReadable(int descriptor, int timeout = 0)
{
    pollfd waited{descriptor, POLLIN, 0};
    return interposed::poll.real(&waited, 1, timeout) == 1;
}

} // namespace

FakeDaemon::Connection::~Connection()
{
    close(descriptor);
}

std::string FakeDaemon::Connection::receive()
{
    std::string bytes;
    while (bytes.size() < recordSize && isReadable(descriptor, LONGEST_WAIT_MS)) {
        char buffer[64];
        const ssize_t count = interposed::recv.real(
            descriptor, buffer, std::min(recordSize - bytes.size(), sizeof buffer), 0);
        if (count <= 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(count));
    }
    EXPECT_EQ(bytes.size(), recordSize) << "nothing comes";
    return bytes;
}

bool FakeDaemon::Connection::hasNews() const
{
    return isReadable(descriptor);
}

void FakeDaemon::Connection::send(const std::string& bytes)
{
    const ssize_t count =
        interposed::send.real(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    EXPECT_EQ(count, static_cast<ssize_t>(bytes.size()));
}

FakeDaemon::FakeDaemon(const char* path, std::size_t recordSize)
    : path(path), recordSize(recordSize),
      descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(descriptor, 100), 0);
}

FakeDaemon::~FakeDaemon()
{
    close(descriptor);
    unlink(path);
}

std::unique_ptr<FakeDaemon::Connection> FakeDaemon::accept()
{
    EXPECT_TRUE(isReadable(descriptor, LONGEST_WAIT_MS)) << "nobody comes";
    return std::make_unique<Connection>(accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC),
                                        recordSize);
}

bool FakeDaemon::hasClient() const
{
    return isReadable(descriptor);
}

Answer::Answer(FakeDaemon& daemon, std::string bytes)
    : served(std::async(std::launch::async, [&daemon, bytes = std::move(bytes)] {
          const auto client = daemon.accept();
          std::string request = client->receive();
          client->send(bytes);
          return request;
      }))
{}

std::string Answer::request()
{
    return served.get();
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
