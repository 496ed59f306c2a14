#include "filehandling/WakeUp.h"

#include "concurrency/WallClock.h"

#include <boost/thread/lock_guard.hpp>

namespace ZT {

std::unique_ptr<WakeUp::Lock> WakeUp::makeLock()
{
    auto lock = std::make_unique<Lock>(mutex);
    lock->unlock();
    return lock;
}

bool WakeUp::wait(Lock& lock, const std::atomic<bool>& flag, unsigned int milliseconds)
{
    lock.lock();
    const bool raised = condition.timed_wait(lock, wallClockDeadline(milliseconds),
                                             [&flag] { return flag.load(); });
    lock.unlock();
    return raised;
}

void WakeUp::raise(std::atomic<bool>& flag)
{
    const boost::lock_guard<boost::mutex> guard(mutex);
    flag = true;
    condition.notify_all();
}

} // namespace ZT
