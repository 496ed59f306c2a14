#ifndef ZT_ZTPOWERSTATES_H
#define ZT_ZTPOWERSTATES_H

#include <cstdint>

namespace ZT {

/// The device's power states. What all but one of them mean is the power-management daemon's
/// affair. It reports 0 to 5; 6 can only be asked for.
enum ztPowerStates : std::uint32_t {
    STATE_0 = 0,
    STATE_1 = 1,
    STATE_2 = 2,
    STATE_3 = 3,
    STATE_SILENT_ON = 4,
    STATE_5 = 5,
    STATE_6 = 6
};

} // namespace ZT

#endif
