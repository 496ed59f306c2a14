#ifndef ZT_TOOL_SOCKETMESSAGES_H
#define ZT_TOOL_SOCKETMESSAGES_H

#include "CaptureFile.h"
#include "SimulatedRecord.h"

#include <cstdint>
#include <vector>

namespace zt {

/// The socket messages on all connections over TCP with that port at the server's end, which are
/// counted from 1, each connection's in their order. Behind bytes that the capture lacks a message
/// begins.
std::vector<SimulatedRecord> readSocketMessages(const std::vector<CapturedPacket>& packets,
                                                std::uint16_t port);

} // namespace zt

#endif
