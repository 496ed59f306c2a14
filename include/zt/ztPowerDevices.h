#ifndef ZT_ZTPOWERDEVICES_H
#define ZT_ZTPOWERDEVICES_H

namespace ZT {

/// The devices whose state in low power can be set and read.
enum ztPowerDevices : int {
    DEVICE_DISPLAY = 0,
    DEVICE_DISPLAY_BL = 1,
    DEVICE_KEYPAD_BL = 2,
    DEVICE_ENCODER_BL = 3, ///< can be set; no signal ever reports it
    DEVICE_RGB_LED = 4,
    DEVICE_BEEPER = 5,
    DEVICE_KEYPAD = 6,
    DEVICE_ENCODER = 7,
    DEVICE_TOUCH = 8,
    DEVICE_CONSOLE = 9, ///< set as "rs232", read and reported as "console"
    DEVICE_OUTPUT0 = 10,
    DEVICE_OUTPUT1 = 11,
    DEVICE_OUTPUT2 = 12,
    DEVICE_CAM_OUTPUT = 13,
    DEVICE_VIDEO0 = 14,
    DEVICE_INPUT0 = 15,
    DEVICE_INPUT1 = 16,
    DEVICE_INPUT2 = 17,
    DEVICE_INPUT3 = 18,
    DEVICE_STATUS_LED1 = 19,
    DEVICE_STATUS_LED2 = 20
};

} // namespace ZT

#endif
