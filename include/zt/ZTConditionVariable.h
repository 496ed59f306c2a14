#ifndef ZT_ZTCONDITIONVARIABLE_H
#define ZT_ZTCONDITIONVARIABLE_H

#include "zt/ztExport.h"

namespace ZT {

class ZTLock;

/// Lets a thread that holds a ZTLock sleep until another thread notifies it.
///
/// Any number of threads may wait, each with a lock of its own over the same ZTMutex. Notifying may
/// be done with or without that mutex. Nobody may wait when the object is deleted, but threads of
/// the parent in a child made by fork(). A wait also ends without a notification now and then: test
/// in a loop what you wait for.
///
/// In a thread that ZTThread::startThread() started both waits are interruption points:
/// boost::thread_interrupted comes out of them with the mutex held. boost::condition_error comes
/// out if the system's wait fails.
class ZT_API ZTConditionVariable {
public:
    virtual ~ZTConditionVariable();

    /// Wakes at least one waiting thread, if there is any. Always returns 0.
    virtual int notify_one() = 0;

    /// Wakes all waiting threads. Always returns 0.
    virtual int notify_all() = 0;

    /// Gives the mutex back, waits for a notification, and takes the mutex again. Returns 0; 20 at
    /// once if `lock` is null. `lock` must come from ZTLock::create() and hold its mutex; that is
    /// not tested.
    virtual int wait(ZTLock* lock) = 0;

    /// As wait(), but for at most `timeout` ms. Returns 0 whether notified or not: `remaining`
    /// tells, in whole ms. 0 means that the time is used up, anything else is what is left of it
    /// and can be the next `timeout`. 20 at once if `lock` is null; then, and when an exception
    /// leaves, `remaining` keeps its value.
    ///
    /// The deadline is on the wall clock. Setting that forward during the wait ends it early.
    /// Setting it back lengthens the wait; a notification may then leave `remaining` larger than
    /// `timeout`, which prints a line on standard error. With a time_t of 32 bits a wait that would
    /// end after 2038-01-19 is used up at once, and none after it can be relied on.
    virtual int timed_wait(ZTLock* lock, unsigned int timeout, unsigned int& remaining) = 0;

    /// A new condition variable, never null, which the caller deletes.
    /// Throws boost::thread_resource_error if the system refuses, std::bad_alloc without memory.
    static ZTConditionVariable* create();
};

} // namespace ZT

#endif
