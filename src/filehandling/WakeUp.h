#ifndef ZT_WAKEUP_H
#define ZT_WAKEUP_H

#include "concurrency/WallClockCondition.h"

#include <atomic>
#include <memory>

namespace ZT {

/// Lets a worker wait a while, unless somebody raises a flag.
class WakeUp {
public:
    using Lock = WallClockCondition::Lock;

    /// What the worker waits with. It is not locked, for a mutex is unlocked by the thread that has
    /// locked it; but it has been, so that a mutex that cannot be locked throws here and not in the
    /// worker.
    std::unique_ptr<Lock> makeLock();

    /// Returns whether the flag is raised, at once if it is, otherwise after `milliseconds` of the
    /// wall clock at the latest. A wake-up without the flag does not count.
    bool wait(Lock& lock, const std::atomic<bool>& flag, unsigned int milliseconds);

    /// Locks nothing if the flag is raised already.
    void raise(std::atomic<bool>& flag);

private:
    WallClockCondition condition;
    boost::mutex mutex;
};

} // namespace ZT

#endif
