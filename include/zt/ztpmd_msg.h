#ifndef ZT_ZTPMD_MSG_H
#define ZT_ZTPMD_MSG_H

#include <cstddef>
#include <cstdint>

namespace ZT {

/// What a record of the power-management daemon says. Type 6 is never used.
enum ztpmd_msg_type : std::uint32_t {
    ZTPMD_GET_TIMEOUT = 0,           ///< to the daemon: power.state
    ZTPMD_SET_TIMEOUT = 1,           ///< to the daemon: power.state, power.value
    ZTPMD_TIMEOUT = 2,               ///< from the daemon: power.state 0-5, power.value
    ZTPMD_GET_DEVICE_STATE = 3,      ///< to the daemon: deviceName
    ZTPMD_SET_DEVICE_STATE = 4,      ///< to the daemon: deviceName, deviceState
    ZTPMD_DEVICE_STATE = 5,          ///< from the daemon: deviceName, deviceState
    ZTPMD_EVENTING_DEVICE_LIST = 7,  ///< from the daemon; the library refuses it
    ZTPMD_GET_POWER_STATE = 8,       ///< to the daemon
    ZTPMD_SET_POWER_STATE = 9,       ///< to the daemon: power.state 0, 1, 2 or 5
    ZTPMD_POWER_STATE_1 = 10,        ///< from the daemon, first kind: power.state 0-5
    ZTPMD_POWER_STATE_2 = 11,        ///< from the daemon, second kind: power.state 0-5
    ZTPMD_SET_POWER_STATE_6 = 12,    ///< to the daemon
    ZTPMD_SET_POWER_STATE_3 = 13,    ///< to the daemon
    ZTPMD_GET_PROPAGATION_TIME = 14, ///< to the daemon: power.state 2
    ZTPMD_SET_PROPAGATION_TIME = 15, ///< to the daemon: power.state 2, power.value 0-30
    ZTPMD_PROPAGATION_TIME_1 = 16,   ///< from the daemon, first kind: power.state 2, power.value
    ZTPMD_PROPAGATION_TIME_2 = 17    ///< from the daemon, second kind: power.state 2, power.value
};

/// One record of the power-management daemon, 48 bytes in the machine's byte order, sent and
/// received whole over "/var/run/ztpmd_api". What a type does not use is zero: clear the record,
/// then fill it.
struct ztpmd_msg_t {
    struct power_t {
        std::uint32_t state; ///< a ztPowerStates value
        std::uint32_t value; ///< time-out or propagation time, in the daemon's unit
    };

    std::uint32_t type;      ///< a ztpmd_msg_type
    std::uint32_t reserved1; ///< 0
    union {
        char deviceName[16]; ///< in the device-state records; a received one may lack its NUL
        power_t power;       ///< in the other records
    };
    std::int32_t deviceState;   ///< in the device-state records
    std::uint8_t reserved2[20]; ///< 0
};

static_assert(sizeof(ztpmd_msg_t) == 48, "the daemon's records have 48 bytes");
static_assert(offsetof(ztpmd_msg_t, deviceState) == 24, "the device's state stands at 24");

} // namespace ZT

#endif
