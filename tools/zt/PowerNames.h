#ifndef ZT_TOOL_POWERNAMES_H
#define ZT_TOOL_POWERNAMES_H

#include "zt/ztPowerStates.h"

#include <array>
#include <cstdint>
#include <string>

namespace zt {

/// The devices by their numbers, as the daemon reports them.
constexpr std::array<const char*, 21> POWER_DEVICES{
    "display", "display_bl", "keypad_bl", "encoder_bl", "rgb_led", "beeper",      "keypad",
    "encoder", "touch",      "console",   "output0",    "output1", "output2",     "cam_output",
    "video0",  "input0",     "input1",    "input2",     "input3",  "status_led1", "status_led2"};

/// "silent-on", or the number.
std::string stateName(std::int64_t state);
std::string deviceName(std::uint32_t device);

/// Throw CLI::ValidationError for what is neither a name nor its number.
ZT::ztPowerStates parseState(const std::string& text);
int parseDevice(const std::string& text);

} // namespace zt

#endif
