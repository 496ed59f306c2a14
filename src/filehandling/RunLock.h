#ifndef ZT_RUNLOCK_H
#define ZT_RUNLOCK_H

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <thread>
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

    /// The worker says so from its begin to its end, for another thread may have its number then.
    /// Its thread object cannot be asked: it may be complete only after the worker has ended.
    void setWorker(std::thread::id id) { worker = id; }

    /// The worker cannot wait for itself: there it throws what joining oneself does.
    void refuseWorker() const;

private:
    const pid_t process;
    std::atomic<std::thread::id> worker{};
};

} // namespace ZT

#endif
