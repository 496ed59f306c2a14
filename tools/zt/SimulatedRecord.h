#ifndef ZT_TOOL_SIMULATEDRECORD_H
#define ZT_TOOL_SIMULATEDRECORD_H

#include "CaptureFile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zt {

/// What "ztsim --capture" or "ztsim --record" has written about one record.
struct SimulatedRecord {
    std::uint64_t time; ///< in nanoseconds since 1970, or since the start
    std::string server; ///< power, health or ipc
    bool isFromClient;
    std::uint32_t client; ///< both are 0 where the file does not tell
    std::uint32_t process;
    std::string bytes;
    std::string text; ///< what the bytes say
};

/// Nothing for a packet of another kind.
std::optional<SimulatedRecord> readRecord(const CapturedPacket& packet);

/// How long after the first one, in nanoseconds; 0 where the clock was set back.
std::uint64_t sinceFirst(const std::vector<SimulatedRecord>& records,
                         const SimulatedRecord& record);

} // namespace zt

#endif
