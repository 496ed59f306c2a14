#include "PowerRecord.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iomanip>
#include <sstream>

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

/// The daemon refuses another one.
std::string stateUnless2(const PowerRecord& record)
{
    return record.power.state == 2 ? "" : " of" + state(record);
}

/// Between quotes, with escapes, unless it can be the name of a device.
std::string word(const std::string& name)
{
    const auto isPlain = [](char letter) {
        return std::islower(static_cast<unsigned char>(letter)) != 0 || letter == '_' ||
               std::isdigit(static_cast<unsigned char>(letter)) != 0;
    };
    if (!name.empty() && std::all_of(name.begin(), name.end(), isPlain)) {
        return name;
    }
    std::ostringstream quoted;
    quoted << '"' << std::hex << std::setfill('0');
    for (const char letter : name) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < ' ' || byte >= 0x7f || letter == '"' || letter == '\\') {
            quoted << "\\x" << std::setw(2) << static_cast<unsigned int>(byte);
        } else {
            quoted << letter;
        }
    }
    quoted << '"';
    return quoted.str();
}

std::string deviceAndState(const PowerRecord& record)
{
    return " \"" + deviceName(record) + "\" state " + std::to_string(record.deviceState);
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

std::string reportedNumber(const PowerRecord& report)
{
    switch (report.type) {
    case ZT::ZTPMD_DEVICE_STATE:
        return std::to_string(report.deviceState);
    case ZT::ZTPMD_POWER_STATE_1:
    case ZT::ZTPMD_POWER_STATE_2:
        return std::to_string(report.power.state);
    default:
        return std::to_string(report.power.value);
    }
}

std::string describe(const PowerRecord& record)
{
    switch (record.type) {
    case ZT::ZTPMD_GET_TIMEOUT:
        return "timeout " + std::to_string(record.power.state);
    case ZT::ZTPMD_SET_TIMEOUT:
        return "timeout " + std::to_string(record.power.state) + ' ' +
               std::to_string(record.power.value);
    case ZT::ZTPMD_TIMEOUT:
        return "timeout" + stateAndValue(record);
    case ZT::ZTPMD_GET_DEVICE_STATE:
        return "device " + word(deviceName(record));
    case ZT::ZTPMD_SET_DEVICE_STATE:
        return "device " + word(deviceName(record)) + ' ' + std::to_string(record.deviceState);
    case ZT::ZTPMD_DEVICE_STATE:
        return "device" + deviceAndState(record);
    case ZT::ZTPMD_GET_POWER_STATE:
        return "power";
    case ZT::ZTPMD_SET_POWER_STATE:
        return "power " + std::to_string(record.power.state);
    case ZT::ZTPMD_POWER_STATE_1:
        return "power" + state(record);
    case ZT::ZTPMD_POWER_STATE_2:
        return "new power" + state(record);
    case ZT::ZTPMD_SET_POWER_STATE_6:
        return "power 6";
    case ZT::ZTPMD_SET_POWER_STATE_3:
        return "power 3";
    case ZT::ZTPMD_GET_PROPAGATION_TIME:
        return "propagation" + stateUnless2(record);
    case ZT::ZTPMD_SET_PROPAGATION_TIME:
        return "propagation " + std::to_string(record.power.value) + stateUnless2(record);
    case ZT::ZTPMD_PROPAGATION_TIME_1:
        return "propagation time" + stateAndValue(record);
    case ZT::ZTPMD_PROPAGATION_TIME_2:
        return "new propagation time" + stateAndValue(record);
    default:
        return "type " + std::to_string(record.type);
    }
}

} // namespace ztsim
