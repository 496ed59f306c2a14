#ifndef ZT_RUNLOCK_H
#define ZT_RUNLOCK_H

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include <unistd.h>

namespace ZT {

/// What the worker of a run waits with, and the process that has the worker.
class RunLock : public boost::unique_lock<boost::mutex> {
public:
    /// Not locked, for a mutex is unlocked by the thread that has locked it; but it has been, so
    /// that a mutex that cannot be locked throws here and not in the worker.
    explicit RunLock(boost::mutex& mutex)
        : boost::unique_lock<boost::mutex>(mutex), process(getpid())
    {
        unlock();
    }

    /// In a child made by fork() since, the thread that has it locked does not exist.
    ~RunLock()
    {
        if (!isOfThisProcess()) {
            release();
        }
    }

    RunLock(const RunLock&) = delete;
    RunLock& operator=(const RunLock&) = delete;

    /// False in a child made by fork() since.
    bool isOfThisProcess() const { return process == getpid(); }

private:
    const pid_t process;
};

} // namespace ZT

#endif
