#ifndef ZT_WALLCLOCKCONDITION_H
#define ZT_WALLCLOCKCONDITION_H

#include "concurrency/ForkSafe.h"

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_time.hpp>

namespace ZT {

/// Boost's condition variable, whose timed waits are on the system's wall clock with each release
/// of Boost. Boost's own are on the monotonic clock from 1.67 on.
class WallClockCondition {
public:
    using Lock = boost::unique_lock<boost::mutex>;

    WallClockCondition();

    void notify_one() { condition->notify_one(); }
    void notify_all() { condition->notify_all(); }
    void wait(Lock& lock) { condition->wait(lock); }

    /// One wait; false if the system said that the time ran out, whatever the clock says then.
    /// As Boost's own waits it is an interruption point and throws boost::condition_error.
    bool waitUntil(Lock& lock, const boost::system_time& deadline);

private:
    ForkSafe<boost::condition_variable> condition;
};

} // namespace ZT

#endif
