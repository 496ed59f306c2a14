#ifndef ZT_TOOL_TCPSEGMENT_H
#define ZT_TOOL_TCPSEGMENT_H

#include "CaptureFile.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zt {

/// What one packet brings to a connection over TCP.
struct TcpSegment {
    std::string from; ///< address and port, as they travel
    std::string to;
    std::uint16_t fromPort;
    std::uint16_t toPort;
    std::uint32_t sequence; ///< of the first byte of the data
    bool begins;            ///< the connection
    std::string data;
};

/// Of a packet with IPv4 or IPv6 from an Ethernet, from "any" interface of Linux, or without a link
/// layer; nothing for another one, or for a fragment.
std::optional<TcpSegment> readSegment(const CapturedPacket& packet);

} // namespace zt

#endif
