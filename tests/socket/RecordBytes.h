#ifndef ZT_TESTS_SOCKET_RECORDBYTES_H
#define ZT_TESTS_SOCKET_RECORDBYTES_H

#include <cstdint>
#include <string>

// What stands on the wire, put together here anew and not by the library.

inline std::string littleEndian(std::uint32_t number, std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(number >> (8 * i) & 0xff);
    }
    return bytes;
}

/// The marker and a length, whatever follows.
inline std::string head(std::uint32_t length)
{
    return "ZTSOCKETMESSAGE" + littleEndian(length, 4);
}

/// A record with a right length and a given body, which has any size.
inline std::string record(const std::string& body)
{
    return head(static_cast<std::uint32_t>(19 + body.size())) + body;
}

/// A record of 28 bytes whose type is that number; all else is 0.
inline std::string shortRecord(std::uint16_t type)
{
    return record(littleEndian(type, 2) + std::string(7, '\0'));
}

#endif
