#ifndef ZT_WALLCLOCK_H
#define ZT_WALLCLOCK_H

#include <boost/thread/thread_time.hpp>

#include <cstdint>

namespace ZT {

/// The moment `milliseconds` from now on the system's wall clock, to the microsecond.
inline boost::system_time wallClockDeadline(unsigned int milliseconds)
{
    return boost::get_system_time() +
           boost::posix_time::microseconds(std::int64_t{milliseconds} * 1000);
}

} // namespace ZT

#endif
