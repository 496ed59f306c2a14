#include "CaptureFile.h"

#include <cstddef>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace zt {
namespace {

constexpr std::uint32_t SECTION = 0x0a0d0d0a;
constexpr std::uint32_t BYTE_ORDER_MAGIC = 0x1a2b3c4d;
constexpr std::uint32_t INTERFACE = 1;
constexpr std::uint32_t PACKET = 6;
constexpr std::uint32_t PCAP_MICROSECONDS = 0xa1b2c3d4;
constexpr std::uint32_t PCAP_NANOSECONDS = 0xa1b23c4d;
constexpr std::uint16_t END_OF_OPTIONS = 0;
constexpr std::uint16_t TIME_RESOLUTION = 9;
constexpr std::uint64_t NANOSECONDS = 1000000000;

/// Takes numbers and bytes from the front of what is left.
class Reader {
public:
    explicit Reader(std::string_view left) : left(left) {}

    bool isAtEnd() const { return left.empty(); }

    template <typename Number>
    Number number()
    {
        Number value;
        std::memcpy(&value, bytes(sizeof value).data(), sizeof value);
        return value;
    }

    std::string_view bytes(std::size_t size)
    {
        if (size > left.size()) {
            throw std::runtime_error("it ends in the middle of a block");
        }
        const std::string_view taken = left.substr(0, size);
        left.remove_prefix(size);
        return taken;
    }

    /// With what fills them up to four.
    std::string_view paddedBytes(std::size_t size)
    {
        const std::string_view taken = bytes(size);
        bytes((4 - size % 4) % 4);
        return taken;
    }

private:
    std::string_view left;
};

struct Interface {
    std::uint16_t linkType;
    std::uint64_t unitsPerSecond;
};

std::uint64_t power(std::uint64_t base, unsigned int exponent)
{
    std::uint64_t result = 1;
    for (; exponent > 0; --exponent) {
        result *= base;
    }
    return result;
}

/// The high bit tells powers of 2 from those of 10.
std::uint64_t unitsPerSecond(unsigned char resolution)
{
    const unsigned int exponent = resolution & 0x7fU;
    const bool isBinary = resolution != exponent;
    if (exponent > (isBinary ? 32U : 9U)) {
        throw std::runtime_error("its times are finer than nanoseconds");
    }
    return power(isBinary ? 2 : 10, exponent);
}

Interface readInterface(Reader body)
{
    Interface interface {
        body.number<std::uint16_t>(), 1000000
    };
    body.bytes(6); // the longest packet, too
    while (!body.isAtEnd()) {
        const auto code = body.number<std::uint16_t>();
        const std::string_view value = body.paddedBytes(body.number<std::uint16_t>());
        if (code == END_OF_OPTIONS) {
            break;
        }
        if (code == TIME_RESOLUTION && !value.empty()) {
            interface.unitsPerSecond = unitsPerSecond(static_cast<unsigned char>(value.front()));
        }
    }
    return interface;
}

CapturedPacket readPacket(Reader body, const std::vector<Interface>& interfaces)
{
    const auto number = body.number<std::uint32_t>();
    if (number >= interfaces.size()) {
        throw std::runtime_error("a packet is of an interface that it does not describe");
    }
    const Interface& interface = interfaces[number];
    const std::uint64_t high = body.number<std::uint32_t>();
    const std::uint64_t units = high << 32U | body.number<std::uint32_t>();
    const auto size = body.number<std::uint32_t>();
    body.bytes(sizeof(std::uint32_t)); // as long as it was before it was cut
    const std::uint64_t unit = interface.unitsPerSecond;
    const std::uint64_t time = units / unit * NANOSECONDS + units % unit * NANOSECONDS / unit;
    return {time, interface.linkType, std::string(body.bytes(size))};
}

std::vector<CapturedPacket> readBlocks(Reader file)
{
    std::vector<CapturedPacket> packets;
    std::optional<std::vector<Interface>> interfaces; // of the section
    while (!file.isAtEnd()) {
        const auto type = file.number<std::uint32_t>();
        if (!interfaces && type != SECTION) {
            throw std::runtime_error("it is no pcap or pcapng file");
        }
        const auto size = file.number<std::uint32_t>();
        constexpr std::size_t frame = 3 * sizeof(std::uint32_t);
        if (type == SECTION) {
            interfaces.emplace();
        }
        if (size < frame || size % 4 != 0) {
            throw std::runtime_error("a block has the size " + std::to_string(size));
        }
        Reader body(file.bytes(size - frame));
        file.bytes(sizeof size); // the same again
        if (type == SECTION && body.number<std::uint32_t>() != BYTE_ORDER_MAGIC) {
            throw std::runtime_error("it was written on a machine of another byte order");
        }
        if (type == INTERFACE) {
            interfaces->push_back(readInterface(body));
        } else if (type == PACKET) {
            packets.push_back(readPacket(body, *interfaces));
        }
    }
    return packets;
}

/// A file of tcpdump.
std::vector<CapturedPacket> readPackets(Reader file, std::uint64_t nanosecondsPerUnit)
{
    std::vector<CapturedPacket> packets;
    file.bytes(16); // the version, and what is always 0, and the longest packet
    const auto linkType = static_cast<std::uint16_t>(file.number<std::uint32_t>());
    while (!file.isAtEnd()) {
        const std::uint64_t seconds = file.number<std::uint32_t>();
        const std::uint64_t units = file.number<std::uint32_t>();
        const auto size = file.number<std::uint32_t>();
        file.bytes(sizeof size); // as long as it was before it was cut
        packets.push_back({seconds * NANOSECONDS + units * nanosecondsPerUnit, linkType,
                           std::string(file.bytes(size))});
    }
    return packets;
}

} // namespace

std::vector<CapturedPacket> readCapture(const std::string& content)
{
    const Reader file(content);
    Reader behindType = file;
    switch (content.empty() ? 0 : behindType.number<std::uint32_t>()) {
    case PCAP_MICROSECONDS:
        return readPackets(behindType, 1000);
    case PCAP_NANOSECONDS:
        return readPackets(behindType, 1);
    default:
        return readBlocks(file);
    }
}

} // namespace zt
