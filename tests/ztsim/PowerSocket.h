#ifndef ZT_TESTS_ZTSIM_POWERSOCKET_H
#define ZT_TESTS_ZTSIM_POWERSOCKET_H

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

constexpr const char* kPowerPath = "/var/run/ztpmd_api";

/// A record byte by byte, laid out here anew rather than by the header ztsim uses.
using Record = std::array<unsigned char, 48>;

inline void put(Record& record, std::size_t offset, std::uint32_t value)
{
    std::memcpy(record.data() + offset, &value, sizeof value);
}

inline Record power(std::uint32_t type, std::uint32_t state = 0, std::uint32_t value = 0)
{
    Record record{};
    put(record, 0, type);
    put(record, 8, state);
    put(record, 12, value);
    return record;
}

inline Record device(std::uint32_t type, std::string_view name, std::int32_t state = 0)
{
    Record record{};
    put(record, 0, type);
    std::copy_n(name.data(), std::min<std::size_t>(name.size(), 16), record.begin() + 8);
    put(record, 24, static_cast<std::uint32_t>(state));
    return record;
}

/// One connection to the daemon.
class PowerSocket {
public:
    PowerSocket()
    {
        while (!connect()) {
            if (errno != ECONNREFUSED) { // as between the daemon's bind and its listen
                throw std::runtime_error(std::string("connect: ") + std::strerror(errno));
            }
            std::this_thread::yield();
        }
    }
    ~PowerSocket() { ::close(fd_); }
    PowerSocket(const PowerSocket&) = delete;
    PowerSocket& operator=(const PowerSocket&) = delete;

    /// Returns false if the daemon has closed the connection.
    bool sendBytes(const void* bytes, std::size_t size) const
    {
        return ::send(fd_, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
    }

    bool send(const Record& record) const { return sendBytes(record.data(), record.size()); }

    /// What comes, up to the end or to that many bytes.
    std::vector<unsigned char> receiveBytes(std::size_t most) const
    {
        std::vector<unsigned char> bytes(most);
        std::size_t size = 0;
        for (ssize_t got = 1; got > 0 && size < most; size += static_cast<std::size_t>(got)) {
            got = std::max<ssize_t>(0, receiveOnce(bytes.data() + size, most - size));
        }
        bytes.resize(size);
        return bytes;
    }

    ssize_t receiveOnce(void* bytes, std::size_t most) const
    {
        const ssize_t got = ::recv(fd_, bytes, most, 0);
        if (got < 0 && errno == EAGAIN) {
            throw std::runtime_error("the daemon sends nothing");
        }
        return got;
    }

    Record receive() const
    {
        Record record{};
        const auto bytes = receiveBytes(record.size());
        if (bytes.size() != record.size()) {
            throw std::runtime_error("only " + std::to_string(bytes.size()) + " bytes came");
        }
        std::copy(bytes.begin(), bytes.end(), record.begin());
        return record;
    }

    Record ask(const Record& request) const
    {
        send(request);
        return receive();
    }

    /// Tells the daemon that nothing more comes; what it sends can still be read.
    void finish() const { ::shutdown(fd_, SHUT_WR); }

    /// Whether the connection is open and all that has come is read.
    bool isIdle() const
    {
        char byte = 0;
        return ::recv(fd_, &byte, 1, MSG_DONTWAIT) < 0 && errno == EAGAIN;
    }

    bool isAtEnd() const
    {
        char byte = 0;
        return receiveOnce(&byte, 1) <= 0;
    }

private:
    bool connect() const
    {
        constexpr timeval kPatience{60, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, kPowerPath);
        return ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    const int fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

#endif
