#ifndef ZT_TESTS_SOCKET_FEDSOCKET_H
#define ZT_TESTS_SOCKET_FEDSOCKET_H

#include "support/Layout.h"
#include "zt/ZTSocketLinux.h"

#include <cerrno>
#include <cstring>
#include <deque>
#include <malloc.h>
#include <optional>
#include <string>
#include <utility>

/// A socket that receives what it is fed: each text with one read, and when there is none any more,
/// `answer` with `error`.
class FedSocket : public ZT::ZTSocketLinux {
public:
    static constexpr int ID = 77;

    /// Frees what is still held, which the library leaves.
    ~FedSocket() override
    {
        dropPartialAbove(0);
        reads.clear();
        answer = 0;
        while (next()) {
        }
    }

    using ZTSocketLinux::receiveSocketData;

    int receiveSocketData(unsigned int id, int* buffer, unsigned int length) override
    {
        ++received;
        askedID = id;
        askedLength = length;
        if (reads.empty()) {
            errno = error != 0 ? error : errno;
            return answer;
        }
        const std::string bytes = std::move(reads.front());
        reads.pop_front();
        std::memcpy(buffer, bytes.data(), bytes.size());
        return static_cast<int>(bytes.size());
    }

    /// The next record's bytes. Its last `status` is kept.
    std::optional<std::string> next()
    {
        char* bytes = getNextSocketBuffer(status, ID);
        if (bytes == nullptr) {
            return std::nullopt;
        }
        std::uint32_t length = 0;
        std::memcpy(&length, bytes + 15, sizeof length);
        std::string record(bytes, length);
        delete[] bytes;
        return record;
    }

    /// The bytes of the record that is not complete, where the binary interface has them.
    std::string held() const
    {
        const auto* bytes = fieldAt<char*>(this, PARTIAL);
        const int length = fieldAt<int>(this, PARTIAL + sizeof(void*));
        return bytes == nullptr ? "" : std::string(bytes, static_cast<std::size_t>(length));
    }

    /// How much memory they take.
    std::size_t heldIn() const { return malloc_usable_size(fieldAt<char*>(this, PARTIAL)); }

    std::deque<std::string> reads;
    int answer = 0;
    int error = 0;
    int status = -99;
    int received = 0;
    unsigned int askedID = 0;
    unsigned int askedLength = 0;

private:
    static constexpr std::size_t PARTIAL = sizeof(void*) + sizeof(std::deque<char*>);
};

#endif
