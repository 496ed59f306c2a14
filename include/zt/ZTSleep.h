#ifndef ZT_ZTSLEEP_H
#define ZT_ZTSLEEP_H

#include "zt/ztExport.h"

namespace ZT {

/// Plain sleeping, unknown to Boost: not an interruption point. Any thread may call it.
class ZT_API ZTSleep {
public:
    /// Blocks the calling thread for `seconds` and `nanoseconds`.
    ///
    /// A signal that interrupts it starts the whole time anew. An invalid request (negative
    /// seconds, nanoseconds outside 0 to 999,999,999) never returns.
    static void sleep(int seconds, long nanoseconds);
};

} // namespace ZT

#endif
