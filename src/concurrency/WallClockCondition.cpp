#include "concurrency/WallClockCondition.h"

#include <boost/date_time/posix_time/conversion.hpp>

#include <ctime>
#include <new>
#include <pthread.h>

namespace ZT {

namespace {

timespec timeSinceEpoch(const boost::system_time& moment)
{
    const auto microseconds = (moment - boost::posix_time::from_time_t(0)).total_microseconds();
    timespec time{};
    time.tv_sec = static_cast<time_t>(microseconds / 1000000);
    time.tv_nsec = static_cast<long>(microseconds % 1000000 * 1000);
    return time;
}

// Boost's one wait hands its moment to the system as it is. Up to 1.66 that is a timespec, later a
// moment of the clock that Boost has chosen.
template <class Moment>
bool waitOnce(boost::condition_variable& condition,
              bool (boost::condition_variable::*wait)(WallClockCondition::Lock&, const Moment&),
              WallClockCondition::Lock& lock, const timespec& deadline)
{
    return (condition.*wait)(lock, Moment(deadline));
}

} // namespace

WallClockCondition::WallClockCondition()
{
    // Boost has chosen the clock of its condition; the default is the wall clock. An initialiser,
    // unlike pthread_cond_init(), cannot fail and leave none behind.
    pthread_cond_t* const native = condition->native_handle();
    pthread_cond_destroy(native);
    new (native) pthread_cond_t PTHREAD_COND_INITIALIZER;
}

bool WallClockCondition::waitUntil(Lock& lock, const boost::system_time& deadline)
{
    return waitOnce(*condition, &boost::condition_variable::do_wait_until, lock,
                    timeSinceEpoch(deadline));
}

} // namespace ZT
