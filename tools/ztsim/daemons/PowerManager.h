#ifndef ZTSIM_POWERMANAGER_H
#define ZTSIM_POWERMANAGER_H

#include "PowerRecord.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace ztsim {

/// A name as the daemon reports it: "rs232" is "console", "video" is "video0".
std::string reportedName(const std::string& device);

/// What the power management of a device keeps.
struct PowerSettings {
    static constexpr std::uint32_t MAX_PROPAGATION_TIME = 30;
    static constexpr std::uint32_t UNREPORTED_STATE = 6;

    std::uint32_t state = 0;                 ///< the last one the daemon can report, 0 to 5
    std::array<std::uint32_t, 6> timeouts{}; ///< by power state
    std::uint32_t propagationTime = 0;       ///< of power state 2
    std::map<std::string, std::int32_t> devices{
        {"display", 0},     {"display_bl", 0}, {"keypad_bl", 0}, {"encoder_bl", 0},
        {"rgb_led", 0},     {"beeper", 0},     {"keypad", 0},    {"encoder", 0},
        {"touch", 0},       {"console", 0},    {"output0", 0},   {"output1", 0},
        {"output2", 0},     {"cam_output", 0}, {"video0", 0},    {"input0", 0},
        {"input1", 0},      {"input2", 0},     {"input3", 0},    {"status_led1", 0},
        {"status_led2", 0},
    }; ///< the state of each device in low power, by its reported name
};

/// What comes of a request.
struct PowerReply {
    enum class To { Nobody, Sender, Everybody };

    To to;
    PowerRecord record;  ///< unless to nobody
    const char* refusal; ///< why the request was ignored, or null
};

/// The power management of a device: requests in, replies out.
class PowerManager {
public:
    explicit PowerManager(PowerSettings settings);

    const PowerSettings& values() const { return settings; }

    PowerReply handle(const PowerRecord& request);
    PowerReply enterState(std::uint32_t state);
    PowerRecord powerState() const;

private:
    PowerReply getTimeout(std::uint32_t state) const;
    PowerReply setTimeout(std::uint32_t state, std::uint32_t value);
    PowerReply getDevice(const std::string& name) const;
    PowerReply setDevice(const std::string& name, std::int32_t state);
    PowerReply setPowerState(std::uint32_t state);
    PowerReply getPropagationTime(std::uint32_t state) const;
    PowerReply setPropagationTime(std::uint32_t state, std::uint32_t value);

    PowerSettings settings;
};

} // namespace ztsim

#endif
