#ifndef ZT_SOAK_MESSAGE_H
#define ZT_SOAK_MESSAGE_H

#include "Random.h"

#include "zt/IPCMessage.h"

#include <cstdint>
#include <string>

/// What a message's receiver shall do; the first message of a connection announces their number.
enum Wish : std::uint32_t { NOTHING, ECHO, ANNOUNCEMENT = 1000 };

/// What message `number` carries, known to both sides: 1 to 255 bytes.
inline std::string payload(std::uint32_t number)
{
    Random random(number);
    std::string bytes(1 + random.below(255), '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random.number());
    }
    return bytes;
}

inline std::string bytesOf(const IPCMessage& message)
{
    return {reinterpret_cast<const char*>(message.data), message.dataLength};
}

/// One that owns its data; header1 is its number, header2 what is wished.
struct Message : IPCMessage {
    Message() : IPCMessage{0, 0, 0, nullptr} {}
    Message(std::uint32_t number, std::uint32_t wish) : IPCMessage{number, wish, 0, nullptr}
    {
        const std::string bytes = payload(number);
        dataLength = static_cast<std::uint32_t>(bytes.size());
        data = new unsigned char[bytes.size()];
        bytes.copy(reinterpret_cast<char*>(data), bytes.size());
    }
    ~Message() { delete[] data; }

    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;
};

#endif
