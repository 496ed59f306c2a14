#include "PowerNames.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace zt {
namespace {

constexpr const char* SILENT_ON = "silent-on";

} // namespace

std::string stateName(std::int64_t state)
{
    return state == ZT::STATE_SILENT_ON ? SILENT_ON : std::to_string(state);
}

std::string deviceName(std::uint32_t device)
{
    return device < POWER_DEVICES.size() ? POWER_DEVICES[device] : std::to_string(device);
}

ZT::ztPowerStates parseState(const std::string& text)
{
    if (text == SILENT_ON) {
        return ZT::STATE_SILENT_ON;
    }
    for (std::uint32_t state = ZT::STATE_0; state <= ZT::STATE_6; ++state) {
        if (text == std::to_string(state)) {
            return static_cast<ZT::ztPowerStates>(state);
        }
    }
    throw CLI::ValidationError("STATE", "there is no power state \"" + text + "\"");
}

int parseDevice(const std::string& text)
{
    for (std::size_t device = 0; device < POWER_DEVICES.size(); ++device) {
        if (text == POWER_DEVICES[device] || text == std::to_string(device)) {
            return static_cast<int>(device);
        }
    }
    throw CLI::ValidationError("DEVICE", "there is no device \"" + text + "\"");
}

} // namespace zt
