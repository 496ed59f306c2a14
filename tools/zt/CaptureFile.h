#ifndef ZT_TOOL_CAPTUREFILE_H
#define ZT_TOOL_CAPTUREFILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace zt {

struct CapturedPacket {
    std::uint64_t time; ///< in nanoseconds since 1970
    std::uint16_t linkType;
    std::string bytes;
};

/// The packets of a file of the format pcapng or pcap, whatever its bytes are; throws
/// std::runtime_error that says what is wrong with it.
std::vector<CapturedPacket> readCapture(const std::string& content);

} // namespace zt

#endif
