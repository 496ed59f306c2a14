#include "PowerRecord.h"

#include <cstring>

namespace ztsim {
namespace {

PowerRecord clearRecord(std::uint32_t type)
{
    PowerRecord record;
    std::memset(&record, 0, sizeof record);
    record.type = type;
    return record;
}

std::string state(const PowerRecord& record)
{
    return " state " + std::to_string(record.power.state);
}

std::string stateAndValue(const PowerRecord& record)
{
    return state(record) + " value " + std::to_string(record.power.value);
}

std::string device(const PowerRecord& record)
{
    return " \"" + deviceName(record) + '"';
}

std::string deviceAndState(const PowerRecord& record)
{
    return device(record) + " state " + std::to_string(record.deviceState);
}

} // namespace

PowerRecord powerRecord(std::uint32_t type, std::uint32_t state, std::uint32_t value)
{
    PowerRecord record = clearRecord(type);
    record.power.state = state;
    record.power.value = value;
    return record;
}

PowerRecord deviceRecord(std::uint32_t type, const std::string& name, std::int32_t state)
{
    PowerRecord record = clearRecord(type);
    name.copy(record.deviceName, sizeof record.deviceName);
    record.deviceState = state;
    return record;
}

std::string deviceName(const PowerRecord& record)
{
    return {record.deviceName, strnlen(record.deviceName, sizeof record.deviceName)};
}

std::string describe(const PowerRecord& record)
{
    switch (record.type) {
    case ZT::ZTPMD_GET_TIMEOUT:
        return "get timeout" + state(record);
    case ZT::ZTPMD_SET_TIMEOUT:
        return "set timeout" + stateAndValue(record);
    case ZT::ZTPMD_TIMEOUT:
        return "timeout" + stateAndValue(record);
    case ZT::ZTPMD_GET_DEVICE_STATE:
        return "get device" + device(record);
    case ZT::ZTPMD_SET_DEVICE_STATE:
        return "set device" + deviceAndState(record);
    case ZT::ZTPMD_DEVICE_STATE:
        return "device" + deviceAndState(record);
    case ZT::ZTPMD_GET_POWER_STATE:
        return "get power state";
    case ZT::ZTPMD_SET_POWER_STATE:
        return "set power" + state(record);
    case ZT::ZTPMD_POWER_STATE_1:
        return "power" + state(record);
    case ZT::ZTPMD_POWER_STATE_2:
        return "new power" + state(record);
    case ZT::ZTPMD_SET_POWER_STATE_6:
        return "set power state 6 (type 12)";
    case ZT::ZTPMD_SET_POWER_STATE_3:
        return "set power state 3 (type 13)";
    case ZT::ZTPMD_GET_PROPAGATION_TIME:
        return "get propagation time" + state(record);
    case ZT::ZTPMD_SET_PROPAGATION_TIME:
        return "set propagation time" + stateAndValue(record);
    case ZT::ZTPMD_PROPAGATION_TIME_1:
        return "propagation time" + stateAndValue(record);
    case ZT::ZTPMD_PROPAGATION_TIME_2:
        return "new propagation time" + stateAndValue(record);
    default:
        return "type " + std::to_string(record.type);
    }
}

} // namespace ztsim
