#ifndef ZT_WAKEUP_H
#define ZT_WAKEUP_H

#include "concurrency/ForkSafe.h"
#include "concurrency/WallClockCondition.h"
#include "filehandling/RunLock.h"

#include <atomic>
#include <memory>

namespace ZT {

/// Lets a worker wait a while, unless somebody raises a flag.
class WakeUp {
public:
    /// What the worker of a run waits with.
    std::unique_ptr<RunLock> makeLock();

    /// Returns whether the flag is raised, at once if it is, otherwise after `milliseconds` of the
    /// wall clock at the latest. A wake-up without the flag does not count.
    bool wait(RunLock& lock, const std::atomic<bool>& flag, unsigned int milliseconds);

    /// Locks nothing if the flag is raised already.
    void raise(std::atomic<bool>& flag);

private:
    WallClockCondition condition;
    ForkSafe<boost::mutex> mutex;
};

} // namespace ZT

#endif
