#include "SimulatedRecord.h"

#include "Bytes.h"
#include "HealthMonitor.h"
#include "IpcFrame.h"
#include "PowerRecord.h"

#include <algorithm>

namespace zt {
namespace {

constexpr std::uint16_t USER0 = 147;

struct Header {
    std::uint8_t protocol;
    std::uint8_t direction;
    std::uint16_t unused;
    std::uint32_t client;
    std::uint32_t process;
};
static_assert(sizeof(Header) == 12);

std::string partOf(const std::string& bytes)
{
    return "the first " + std::to_string(bytes.size()) + " bytes of a record";
}

template <typename Record>
std::string describe(const std::string& bytes)
{
    return bytes.size() < sizeof(Record) ? partOf(bytes)
                                         : ztsim::describe(ztsim::recordOf<Record>(bytes));
}

} // namespace

std::optional<SimulatedRecord> readRecord(const CapturedPacket& packet)
{
    if (packet.linkType != USER0 || packet.bytes.size() < sizeof(Header)) {
        return std::nullopt;
    }
    const auto header = ztsim::recordOf<Header>(packet.bytes);
    SimulatedRecord record{packet.time,
                           "",
                           header.direction == 0,
                           header.client,
                           header.process,
                           packet.bytes.substr(sizeof(Header)),
                           ""};
    switch (header.protocol) {
    case 1:
        record.server = "power";
        record.text = describe<ztsim::PowerRecord>(record.bytes);
        break;
    case 2:
        record.server = "health";
        record.text = describe<ztsim::HealthRecord>(record.bytes);
        break;
    case 3:
        record.server = "ipc";
        record.text = ztsim::describeFrame(record.bytes);
        break;
    default:
        return std::nullopt;
    }
    return record;
}

std::uint64_t sinceFirst(const std::vector<SimulatedRecord>& records, const SimulatedRecord& record)
{
    const std::uint64_t first = records.front().time;
    return std::max(record.time, first) - first;
}

} // namespace zt
