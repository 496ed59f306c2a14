#include "filehandling/WakeUp.h"

#include "concurrency/WallClock.h"

#include <boost/thread/lock_guard.hpp>

namespace ZT {

std::unique_ptr<RunLock> WakeUp::makeLock()
{
    return std::make_unique<RunLock>(*mutex);
}

bool WakeUp::wait(RunLock& lock, const std::atomic<bool>& flag, unsigned int milliseconds)
{
    const boost::system_time deadline = wallClockDeadline(milliseconds);
    lock.lock();
    while (!flag && condition.waitUntil(lock, deadline)) {
    }
    const bool raised = flag;
    lock.unlock();
    return raised;
}

void WakeUp::raise(std::atomic<bool>& flag)
{
    if (flag) {
        return;
    }
    const boost::lock_guard<boost::mutex> guard(*mutex);
    flag = true;
    condition.notify_all();
}

} // namespace ZT
