#include "ipc/Frame.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <sys/socket.h>

namespace ZT {

namespace {

// A frame's header is the beginning of an IPCMessage, up to the low byte of its length.
const std::size_t HEADER_SIZE = 9;
const std::size_t LONGEST_DATA = 255; // of a frame whose length byte tells all
static_assert(offsetof(IPCMessage, dataLength) == HEADER_SIZE - 1 &&
                  __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the header can be sent and received in place");

std::uint64_t frameSize(std::uint32_t dataLength)
{
    return std::uint64_t{HEADER_SIZE} + dataLength;
}

// What does not fit into the device's memory must not wrap: there is no array of SIZE_MAX bytes, so
// it counts as a want of memory.
std::size_t arraySize(std::uint64_t size)
{
    return static_cast<std::size_t>(std::min<std::uint64_t>(size, SIZE_MAX));
}

// Makes room for dataLength bytes where there is room for `capacity`.
void prepareData(IPCMessage& message, std::uint32_t capacity)
{
    if (message.data == nullptr && message.dataLength == 0) {
        return;
    }
    if (message.data != nullptr && capacity >= message.dataLength) {
        std::memset(message.data, 0, capacity);
        return;
    }
    delete[] message.data;
    message.data = nullptr;
    message.data = new unsigned char[message.dataLength]();
}

FrameOutcome failToReceive(ssize_t size, const char* closed, const char* incomplete)
{
    if (size == 0) {
        return {8, closed, true};
    }
    return {8, size < 0 ? "receiveMessage() failed due to unknown error." : incomplete, false};
}

} // namespace

int frameSizeAsOption(std::uint32_t dataLength)
{
    return static_cast<int>(std::min<std::uint64_t>(frameSize(dataLength), INT_MAX));
}

FrameOutcome sendFrame(int descriptor, const IPCMessage& message)
{
    const std::size_t size = arraySize(frameSize(message.dataLength));
    unsigned char usual[HEADER_SIZE + LONGEST_DATA];
    const std::unique_ptr<unsigned char[]> larger(size > sizeof usual ? new unsigned char[size]
                                                                      : nullptr);
    unsigned char* const frame = larger == nullptr ? usual : larger.get();
    std::memcpy(frame, &message, HEADER_SIZE);
    std::memcpy(frame + HEADER_SIZE, message.data, message.dataLength);
    const ssize_t sent = send(descriptor, frame, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EPIPE) {
        return {7, "sendMessage() The other end of the connection is closed. (EPIPE)", true};
    }
    if (sent < 0) {
        return {7, "sendMessage() Message could not be sent. Unknown error", false};
    }
    if (sent == 0) {
        return {7, "sendMessage() The other end of the connection is closed. (0 bytesS)", true};
    }
    if (static_cast<std::size_t>(sent) < size) {
        return {7, "sendMessage() Incomplete message sent.", false};
    }
    return {0, nullptr, false};
}

FrameOutcome receiveFrame(int descriptor, IPCMessage& message, int flags)
{
    const std::uint32_t capacity = message.dataLength;
    const ssize_t header = recv(descriptor, &message, HEADER_SIZE, flags);
    if (header < static_cast<ssize_t>(HEADER_SIZE)) {
        return failToReceive(header,
                             "receiveMessage() Connection refused peerThe other end of the "
                             "connection is closed. (0 bytesH)",
                             "receiveMessage() Incomplete message header received.");
    }
    prepareData(message, capacity);
    if (message.dataLength == 0) {
        return {0, nullptr, false};
    }
    const ssize_t size = recv(descriptor, message.data, message.dataLength, flags);
    if (size < 0 || static_cast<std::size_t>(size) < message.dataLength) {
        return failToReceive(
            size, "receiveMessage() The other end of the connection is closed. (0 bytesR)",
            "receiveMessage() Incomplete message data bytes received.");
    }
    return {0, nullptr, false};
}

bool hasPartOfFrame(int descriptor)
{
    unsigned char frame[HEADER_SIZE + LONGEST_DATA];
    const ssize_t there = recv(descriptor, frame, sizeof frame, MSG_PEEK | MSG_DONTWAIT);
    const auto size = static_cast<std::size_t>(std::max<ssize_t>(there, 0));
    return size > 0 && (size < HEADER_SIZE || size < HEADER_SIZE + frame[HEADER_SIZE - 1]);
}

} // namespace ZT
