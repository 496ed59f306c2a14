// What ZTIPCEndPoint::receiveMessage() makes of any bytes that a peer writes before it hangs up.
//
// Input: 2 bytes capacity, little-endian; 1 byte settings (bit 0: no data buffer at first, bit 1:
// the socket does not block); then the peer's bytes.

#include "Require.h"

#include "zt/IPCMessage.h"
#include "zt/ZTIPCEndPoint.h"

#include "ztutil/ZTDebug.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const std::size_t SETTINGS_SIZE = 3;
const std::size_t HEADER_SIZE = 9;

// All of it is written before anybody reads, so it must fit into the socket's buffer.
const std::size_t LONGEST_STREAM = 32768;

// Returns a socket that holds `stream` and whose peer has hung up.
int socketAfter(const std::string& stream, bool nonBlocking)
{
    int sockets[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) == 0, "there are sockets");
    require(send(sockets[1], stream.data(), stream.size(), MSG_DONTWAIT | MSG_NOSIGNAL) ==
                static_cast<ssize_t>(stream.size()),
            "the socket takes the stream");
    close(sockets[1]);
    if (nonBlocking) {
        fcntl(sockets[0], F_SETFL, O_NONBLOCK);
    }
    return sockets[0];
}

// What one receive must take from the rest of a stream.
struct Expected {
    Expected(const std::string& rest, std::uint32_t capacity)
    {
        connected = !rest.empty();
        taken = rest.size();
        if (rest.size() < HEADER_SIZE) {
            return;
        }
        const std::string payload = rest.substr(HEADER_SIZE);
        dataLength = capacity / 256 * 256 + static_cast<unsigned char>(rest[HEADER_SIZE - 1]);
        connected = dataLength == 0 || !payload.empty();
        if (payload.size() >= dataLength) {
            result = 0;
            header = rest.substr(0, HEADER_SIZE - 1);
            data = payload.substr(0, dataLength);
            taken = HEADER_SIZE + dataLength;
        }
    }

    int result = 8;
    bool connected;
    std::size_t taken;
    std::uint32_t dataLength = 0;
    std::string header;
    std::string data;
};

bool matches(const void* bytes, const std::string& expected)
{
    return std::equal(expected.begin(), expected.end(), static_cast<const char*>(bytes));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size)
{
    if (size < SETTINGS_SIZE) {
        return 0;
    }
    const std::uint32_t capacity = input[0] + input[1] * 256U;
    const bool startsWithoutData = (input[2] & 1) != 0;
    const bool nonBlocking = (input[2] & 2) != 0;
    std::string rest(reinterpret_cast<const char*>(input) + SETTINGS_SIZE,
                     std::min(size - SETTINGS_SIZE, LONGEST_STREAM));

    ZT::ZTDebug::setLevel(0);
    ZT::ZTIPCEndPoint endPoint(false);
    require(endPoint.initialize(socketAfter(rest, nonBlocking), "own", "peer") == 0,
            "the endpoint takes the socket over");

    for (int failures = 0; failures < 2 && endPoint.isConnected();) {
        const Expected expected(rest, capacity);
        IPCMessage message{0, 0, capacity,
                           startsWithoutData ? nullptr : new unsigned char[capacity]};
        const int result = endPoint.receiveMessage(&message, 0);
        const std::unique_ptr<unsigned char[]> data(message.data);

        require(result == expected.result, "a receive succeeds exactly if its frame is whole");
        require(endPoint.isConnected() == expected.connected,
                "the connection is lost exactly where the stream ends between two parts");
        if (result == 0) {
            require(matches(&message, expected.header), "the header words are the stream's");
            require(message.dataLength == expected.dataLength,
                    "the length is the stream's byte below the capacity's upper 24 bits");
            require(matches(data.get(), expected.data), "the data are the stream's");
        } else {
            ++failures;
        }
        rest.erase(0, expected.taken);
    }
    return 0;
}
