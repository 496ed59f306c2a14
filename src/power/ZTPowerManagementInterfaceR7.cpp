#include "zt/ZTPowerManagementInterfaceR7.h"

#include "zt/ZTEndPointManager.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTTick.h"

#include <cstring>
#include <unistd.h>

namespace ZT {

namespace {

const unsigned int LONGEST_PROPAGATION_TIME = 30;

// What a device is called in requests; the index is its number. Only the console has another name
// when its state is set.
const char* const REQUEST_NAMES[] = {
    "display", "display_bl", "keypad_bl", "encoder_bl", "rgb_led", "beeper",      "keypad",
    "encoder", "touch",      "console",   "output0",    "output1", "output2",     "cam_output",
    "video0",  "input0",     "input1",    "input2",     "input3",  "status_led1", "status_led2",
};
const char CONSOLE_NAME_TO_SET[] = "rs232";

// What the daemon calls the devices in its reports. It never reports the encoder's backlight.
struct ReportedName {
    const char* name;
    ztPowerDevices device;
};

const ReportedName REPORTED_NAMES[] = {
    {"display", DEVICE_DISPLAY},         {"display_bl", DEVICE_DISPLAY_BL},
    {"keypad_bl", DEVICE_KEYPAD_BL},     {"rgb_led", DEVICE_RGB_LED},
    {"beeper", DEVICE_BEEPER},           {"keypad", DEVICE_KEYPAD},
    {"encoder", DEVICE_ENCODER},         {"touch", DEVICE_TOUCH},
    {"console", DEVICE_CONSOLE},         {"output0", DEVICE_OUTPUT0},
    {"output1", DEVICE_OUTPUT1},         {"output2", DEVICE_OUTPUT2},
    {"cam_output", DEVICE_CAM_OUTPUT},   {"video", DEVICE_VIDEO0},
    {"video0", DEVICE_VIDEO0},           {"input0", DEVICE_INPUT0},
    {"input1", DEVICE_INPUT1},           {"input2", DEVICE_INPUT2},
    {"input3", DEVICE_INPUT3},           {"status_led1", DEVICE_STATUS_LED1},
    {"status_led2", DEVICE_STATUS_LED2},
};

int fail(int result, const char* text)
{
    ZTDebug::debugPrintError(1, ZTPowerManagement::debugSection, "%s", text);
    return result;
}

bool isKnownDevice(int device)
{
    return device >= DEVICE_DISPLAY && device <= DEVICE_STATUS_LED2;
}

bool isReportable(const ztpmd_msg_t& message)
{
    return message.power.state <= STATE_5;
}

bool isOfState2(const ztpmd_msg_t& message)
{
    return message.power.state == STATE_2;
}

int takePowerState(ZTSignal& signal, ztPowerEvents event, const ztpmd_msg_t& message, bool valid,
                   const char* refusal)
{
    signal.setEventID(event);
    if (!valid) {
        return fail(35, refusal);
    }
    signal.setState(static_cast<std::int32_t>(message.power.state));
    return 0;
}

int takePowerStateAndValue(ZTSignal& signal, ztPowerEvents event, const ztpmd_msg_t& message,
                           bool valid, const char* refusal)
{
    const int result = takePowerState(signal, event, message, valid, refusal);
    if (result == 0) {
        signal.setValue(message.power.value);
    }
    return result;
}

int takeDeviceState(ZTSignal& signal, const ztpmd_msg_t& message)
{
    for (const ReportedName& reported : REPORTED_NAMES) {
        if (std::strncmp(reported.name, message.deviceName, sizeof message.deviceName) == 0) {
            signal.setEventID(EVENT_DEVICE_STATE);
            signal.setValue(static_cast<std::uint32_t>(reported.device));
            signal.setState(message.deviceState);
            return 0;
        }
    }
    return 35;
}

int takeMessage(ZTSignal& signal, const ztpmd_msg_t& message)
{
    switch (message.type) {
    case ZTPMD_TIMEOUT:
        return takePowerStateAndValue(signal, EVENT_TIMEOUT, message, isReportable(message),
                                      "Unknown power state!");
    case ZTPMD_DEVICE_STATE:
        return takeDeviceState(signal, message);
    case ZTPMD_EVENTING_DEVICE_LIST:
        return fail(11, "Eventing device list is not supported!");
    case ZTPMD_POWER_STATE_1:
        return takePowerState(signal, EVENT_POWER_STATE_1, message, isReportable(message),
                              "Unknown power state read!");
    case ZTPMD_POWER_STATE_2:
        return takePowerState(signal, EVENT_POWER_STATE_2, message, isReportable(message),
                              "Unknown power state read!");
    case ZTPMD_PROPAGATION_TIME_1:
        return takePowerStateAndValue(signal, EVENT_PROPAGATION_TIME_1, message,
                                      isOfState2(message),
                                      "Unknown power state read in propagation time message!");
    case ZTPMD_PROPAGATION_TIME_2:
        return takePowerStateAndValue(signal, EVENT_PROPAGATION_TIME_2, message,
                                      isOfState2(message),
                                      "Unknown power state read in propagation time message!");
    default:
        return fail(26, "Unknown message type read!");
    }
}

} // namespace

ZTPowerManagementInterfaceR7::ZTPowerManagementInterfaceR7() : listener(nullptr) {}

ZTPowerManagementInterfaceR7::~ZTPowerManagementInterfaceR7()
{
    ZTPowerManagementInterfaceR7::release();
}

int ZTPowerManagementInterfaceR7::init()
{
    listener = nullptr;
    return connection.init();
}

int ZTPowerManagementInterfaceR7::release()
{
    listener = nullptr;
    return connection.release();
}

int ZTPowerManagementInterfaceR7::setEventListener(ZTSignalListener* newListener)
{
    listener = newListener;
    return 0;
}

int ZTPowerManagementInterfaceR7::subscribeToEndpointManager(ZTEndPointManager* manager)
{
    return manager == nullptr ? 20 : manager->addEndPoint(&connection, this);
}

int ZTPowerManagementInterfaceR7::disablePowerbuttonOnToLowPower()
{
    return 11;
}

int ZTPowerManagementInterfaceR7::setPowerState(ztPowerStates state)
{
    switch (state) {
    case STATE_0:
    case STATE_1:
    case STATE_2:
    case STATE_5:
        return send(ZTPMD_SET_POWER_STATE, state);
    case STATE_3:
        return send(ZTPMD_SET_POWER_STATE_3);
    case STATE_6:
        return send(ZTPMD_SET_POWER_STATE_6);
    case STATE_SILENT_ON:
        return fail(20, "Can't change into silent on mode via API!");
    default:
        return fail(20, "Unknown power state requested!");
    }
}

int ZTPowerManagementInterfaceR7::getPowerState()
{
    return send(ZTPMD_GET_POWER_STATE);
}

int ZTPowerManagementInterfaceR7::setTimeoutForState(ztPowerStates state, unsigned int timeout)
{
    switch (state) {
    case STATE_1:
    case STATE_2:
    case STATE_SILENT_ON:
        return send(ZTPMD_SET_TIMEOUT, state, timeout);
    default:
        return fail(20, "Given p_state does not support setting timeout!");
    }
}

int ZTPowerManagementInterfaceR7::getTimeoutForState(ztPowerStates state)
{
    switch (state) {
    case STATE_1:
    case STATE_2:
    case STATE_SILENT_ON:
        return send(ZTPMD_GET_TIMEOUT, state);
    case STATE_0:
    case STATE_3:
        return fail(20, "Setting timeout for given power state not supported!");
    default:
        return fail(20, "Unknown power state!");
    }
}

int ZTPowerManagementInterfaceR7::setPropagationTimeForState(ztPowerStates state, unsigned int time)
{
    if (time > LONGEST_PROPAGATION_TIME) {
        return fail(20, "Propagation time needs to be >= 0 and <= 30!");
    }
    if (state != STATE_2) {
        return fail(20, "Given p_state does not support setting propagation time!");
    }
    return send(ZTPMD_SET_PROPAGATION_TIME, state, time);
}

int ZTPowerManagementInterfaceR7::getPropagationTimeForState(ztPowerStates state)
{
    if (state != STATE_2) {
        return fail(20, "Unknown power state!");
    }
    return send(ZTPMD_GET_PROPAGATION_TIME, state);
}

int ZTPowerManagementInterfaceR7::setDeviceStateForLowPower(int device, int state)
{
    if (!isKnownDevice(device)) {
        return fail(20, "Unknown power device!");
    }
    const char* name = device == DEVICE_CONSOLE ? CONSOLE_NAME_TO_SET : REQUEST_NAMES[device];
    return sendForDevice(ZTPMD_SET_DEVICE_STATE, name, state);
}

int ZTPowerManagementInterfaceR7::getDeviceStateInLowPower(int device)
{
    if (!isKnownDevice(device)) {
        return fail(20, "Unknown power device!");
    }
    return sendForDevice(ZTPMD_GET_DEVICE_STATE, REQUEST_NAMES[device], 0);
}

int ZTPowerManagementInterfaceR7::send(ztpmd_msg_type type, std::uint32_t state,
                                       std::uint32_t value)
{
    ztpmd_msg_t message{};
    message.type = type;
    message.power = {state, value};
    return connection.sendMessage(&message);
}

int ZTPowerManagementInterfaceR7::sendForDevice(ztpmd_msg_type type, const char* name, int state)
{
    ztpmd_msg_t message{};
    message.type = type;
    std::strncpy(message.deviceName, name, sizeof message.deviceName);
    message.deviceState = state;
    return connection.sendMessage(&message);
}

bool ZTPowerManagementInterfaceR7::isOwn(const ZTEndPoint& other) const
{
    return other.getReadEndPointID() == connection.getReadEndPointID();
}

int ZTPowerManagementInterfaceR7::onEndPointReadable(ZTEndPoint* endPoint,
                                                     ZTEndPointManager* /*manager*/)
{
    if (!isOwn(*endPoint)) {
        return connection.getReadEndPointID();
    }
    if (connection.isNewerThanWait()) {
        return 0; // the next wait tells whether there is a record
    }
    ztpmd_msg_t message{};
    if (read(connection.getReadEndPointID(), &message, sizeof message) != sizeof message) {
        connection.release();
        return ZTDebug::debugPrintError(1, debugSection, "%s", "Socket was not opened!");
    }
    ZTSignal signal;
    signal.setCategory(CATEGORY_POWER_MANAGEMENT);
    const int result = messageToEvent(signal, message, ZTTick::getTickCount());
    return result == 0 ? fireSignalToSubscribers(signal) : result;
}

int ZTPowerManagementInterfaceR7::onEndPointReconnected(ZTEndPoint* endPoint)
{
    return isOwn(*endPoint) ? connection.reconnect() : connection.getReadEndPointID();
}

int ZTPowerManagementInterfaceR7::onEndPointDisconnected(ZTEndPoint* endPoint)
{
    return isOwn(*endPoint) ? connection.release() : connection.getReadEndPointID();
}

int ZTPowerManagementInterfaceR7::fireSignalToSubscribers(ZTSignal& signal)
{
    return listener == nullptr || listener->onSignal(signal) == 0 ? 0 : 7;
}

int ZTPowerManagementInterfaceR7::messageToEvent(ZTSignal& signal, ztpmd_msg_t& message,
                                                 unsigned int timestamp)
{
    const int result = takeMessage(signal, message);
    signal.setTimestamp(timestamp);
    return result;
}

} // namespace ZT
