#ifndef ZTUTIL_ZTTICK_H
#define ZTUTIL_ZTTICK_H

#include "ztutil/ztUtilExport.h"

namespace ZT {

/// A clock for measuring intervals, which setting the time of day does not move. Safe from any
/// thread.
class ZTUTIL_API ZTTick {
public:
    /// Returns the milliseconds of CLOCK_MONOTONIC in 32 bits: after 4294967295, that is every 49.7
    /// days, comes 0. The unsigned difference of two counts stays right across that as long as they
    /// are less than 49.7 days apart; comparing them with < does not.
    static unsigned int getTickCount();
};

} // namespace ZT

#endif
