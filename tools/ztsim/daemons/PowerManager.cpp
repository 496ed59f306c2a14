#include "PowerManager.h"

#include <utility>

namespace ztsim {
namespace {

constexpr const char* NO_SUCH_DEVICE = "no such device";
constexpr const char* STATE_OUT_OF_RANGE = "state out of range";

PowerReply toSender(const PowerRecord& record)
{
    return {PowerReply::To::Sender, record, nullptr};
}

PowerReply toEverybody(const PowerRecord& record)
{
    return {PowerReply::To::Everybody, record, nullptr};
}

PowerReply accepted()
{
    return {PowerReply::To::Nobody, {}, nullptr};
}

PowerReply ignored(const char* refusal)
{
    return {PowerReply::To::Nobody, {}, refusal};
}

} // namespace

std::string reportedName(const std::string& device)
{
    if (device == "rs232") {
        return "console";
    }
    return device == "video" ? "video0" : device;
}

PowerManager::PowerManager(PowerSettings settings) : settings(std::move(settings)) {}

PowerReply PowerManager::handle(const PowerRecord& request)
{
    const auto [state, value] = request.power;
    switch (request.type) {
    case ZT::ZTPMD_GET_TIMEOUT:
        return getTimeout(state);
    case ZT::ZTPMD_SET_TIMEOUT:
        return setTimeout(state, value);
    case ZT::ZTPMD_GET_DEVICE_STATE:
        return getDevice(reportedName(deviceName(request)));
    case ZT::ZTPMD_SET_DEVICE_STATE:
        return setDevice(reportedName(deviceName(request)), request.deviceState);
    case ZT::ZTPMD_GET_POWER_STATE:
        return toSender(powerState());
    case ZT::ZTPMD_SET_POWER_STATE:
        return setPowerState(state);
    case ZT::ZTPMD_SET_POWER_STATE_3:
        return enterState(3);
    case ZT::ZTPMD_SET_POWER_STATE_6:
        return accepted(); // state 6 cannot be reported
    case ZT::ZTPMD_GET_PROPAGATION_TIME:
        return getPropagationTime(state);
    case ZT::ZTPMD_SET_PROPAGATION_TIME:
        return setPropagationTime(state, value);
    default:
        return ignored("no request has this type");
    }
}

PowerRecord PowerManager::powerState() const
{
    return powerRecord(ZT::ZTPMD_POWER_STATE_1, settings.state);
}

PowerReply PowerManager::getTimeout(std::uint32_t state) const
{
    if (state >= settings.timeouts.size()) {
        return ignored(STATE_OUT_OF_RANGE);
    }
    return toSender(powerRecord(ZT::ZTPMD_TIMEOUT, state, settings.timeouts[state]));
}

PowerReply PowerManager::setTimeout(std::uint32_t state, std::uint32_t value)
{
    if (state >= settings.timeouts.size()) {
        return ignored(STATE_OUT_OF_RANGE);
    }
    settings.timeouts[state] = value;
    return toEverybody(powerRecord(ZT::ZTPMD_TIMEOUT, state, value));
}

PowerReply PowerManager::getDevice(const std::string& name) const
{
    const auto device = settings.devices.find(name);
    if (device == settings.devices.end()) {
        return ignored(NO_SUCH_DEVICE);
    }
    return toSender(deviceRecord(ZT::ZTPMD_DEVICE_STATE, name, device->second));
}

PowerReply PowerManager::setDevice(const std::string& name, std::int32_t state)
{
    const auto device = settings.devices.find(name);
    if (device == settings.devices.end()) {
        return ignored(NO_SUCH_DEVICE);
    }
    device->second = state;
    return toEverybody(deviceRecord(ZT::ZTPMD_DEVICE_STATE, name, state));
}

PowerReply PowerManager::setPowerState(std::uint32_t state)
{
    const bool settable = state <= 2 || state == 5;
    return settable ? enterState(state) : ignored(STATE_OUT_OF_RANGE);
}

PowerReply PowerManager::enterState(std::uint32_t state)
{
    settings.state = state;
    return toEverybody(powerRecord(ZT::ZTPMD_POWER_STATE_2, state));
}

PowerReply PowerManager::getPropagationTime(std::uint32_t state) const
{
    if (state != 2) {
        return ignored(STATE_OUT_OF_RANGE);
    }
    return toSender(powerRecord(ZT::ZTPMD_PROPAGATION_TIME_1, 2, settings.propagationTime));
}

PowerReply PowerManager::setPropagationTime(std::uint32_t state, std::uint32_t value)
{
    if (state != 2) {
        return ignored(STATE_OUT_OF_RANGE);
    }
    if (value > PowerSettings::MAX_PROPAGATION_TIME) {
        return ignored("value out of range");
    }
    settings.propagationTime = value;
    return toEverybody(powerRecord(ZT::ZTPMD_PROPAGATION_TIME_2, 2, value));
}

} // namespace ztsim
