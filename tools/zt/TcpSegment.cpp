#include "TcpSegment.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zt {
namespace {

constexpr std::uint16_t ETHERNET = 1;
constexpr std::uint16_t WITHOUT_LINK_LAYER = 101;
constexpr std::uint16_t ANY_INTERFACE = 113;
constexpr std::uint16_t ANY_INTERFACE_2 = 276;
constexpr unsigned int VLAN = 0x8100;
constexpr unsigned int TCP = 6;
constexpr unsigned int SYN = 2;

/// What is not there is 0.
unsigned int byteAt(std::string_view bytes, std::size_t offset)
{
    return offset < bytes.size() ? static_cast<unsigned char>(bytes[offset]) : 0;
}

unsigned int numberAt(std::string_view bytes, std::size_t offset)
{
    return byteAt(bytes, offset) << 8U | byteAt(bytes, offset + 1);
}

std::string_view from(std::string_view bytes, std::size_t offset)
{
    return bytes.substr(std::min(offset, bytes.size()));
}

std::string_view withoutLinkLayer(std::uint16_t linkType, std::string_view packet)
{
    switch (linkType) {
    case ETHERNET: {
        std::size_t type = 12;
        while (numberAt(packet, type) == VLAN) {
            type += 4;
        }
        return from(packet, type + 2);
    }
    case WITHOUT_LINK_LAYER:
        return packet;
    case ANY_INTERFACE:
        return from(packet, 16);
    case ANY_INTERFACE_2:
        return from(packet, 20);
    default:
        return {};
    }
}

struct Addressed {
    std::string_view from;
    std::string_view to;
    std::string_view content; ///< of TCP
};

Addressed readIPv4(std::string_view packet)
{
    const std::size_t header = std::size_t{byteAt(packet, 0) & 0xfU} * 4;
    const std::size_t size = numberAt(packet, 2);
    const bool isWhole = (numberAt(packet, 6) & 0x3fffU) == 0;
    constexpr std::size_t shortest = 20;
    if (byteAt(packet, 9) != TCP || !isWhole || header < shortest || packet.size() < header) {
        return {};
    }
    return {packet.substr(12, 4), packet.substr(16, 4), from(packet.substr(0, size), header)};
}

Addressed readIPv6(std::string_view packet)
{
    constexpr std::size_t header = 40;
    if (byteAt(packet, 6) != TCP || packet.size() < header) {
        return {};
    }
    return {packet.substr(8, 16), packet.substr(24, 16),
            packet.substr(header, numberAt(packet, 4))};
}

} // namespace

std::optional<TcpSegment> readSegment(const CapturedPacket& packet)
{
    const std::string_view content = withoutLinkLayer(packet.linkType, packet.bytes);
    const bool isIPv6 = byteAt(content, 0) >> 4U == 6;
    const Addressed addressed = isIPv6 ? readIPv6(content) : readIPv4(content);
    const std::string_view tcp = addressed.content;
    constexpr std::size_t shortest = 20;
    const std::size_t header = std::size_t{byteAt(tcp, 12) >> 4U} * 4;
    if (tcp.size() < shortest || header < shortest) {
        return std::nullopt;
    }
    return TcpSegment{std::string(addressed.from) + std::string(tcp.substr(0, 2)),
                      std::string(addressed.to) + std::string(tcp.substr(2, 2)),
                      static_cast<std::uint16_t>(numberAt(tcp, 0)),
                      static_cast<std::uint16_t>(numberAt(tcp, 2)),
                      numberAt(tcp, 4) << 16U | numberAt(tcp, 6),
                      (byteAt(tcp, 13) & SYN) != 0,
                      std::string(from(tcp, header))};
}

} // namespace zt
