#ifndef ZT_ZTTHREAD_H
#define ZT_ZTTHREAD_H

#include "zt/ztExport.h"

#include <string>

namespace ZT {

/// A named thread that runs one function once.
///
/// One object starts one thread. The object belongs to the thread that uses it: its operations take
/// no lock. Except for startThread() and deletion, every operation needs a thread that was started;
/// on an object without one it is a caller error, and it is not tested.
///
/// Deleting the object while its thread runs detaches the thread: it runs on, and its function must
/// not touch the object again.
///
/// A child made by fork() has none of its parent's threads: all that it may do with the object of
/// one is to delete it, which does nothing to the parent's thread.
class ZT_API ZTThread {
public:
    virtual ~ZTThread();

    /// Starts a thread that calls function(argument) and ends when that returns. `argument` is the
    /// caller's and must live as long as the function uses it. A name of 1 to 15 characters shows
    /// in the system's thread lists; another name is not applied. The function may begin, and even
    /// end, before startThread() returns: until then it must not use the object.
    ///
    /// A null function, and an exception that leaves the function, end the process;
    /// boost::thread_interrupted ends the thread alone.
    ///
    /// Returns 0; 10 if no thread is there after it was named. Throws boost::thread_resource_error
    /// (error 11, EAGAIN) if the system starts none, std::bad_alloc without memory; then the object
    /// is as it was before. A second call starts a second thread and forgets the first, whose
    /// handle is leaked on purpose: use one object for one thread.
    virtual int startThread(void (*function)(void*), void* argument) = 0;

    /// Waits without limit until the thread has ended. Returns 0, also when there is nothing to
    /// join any more. Throws boost::thread_resource_error (error 35, EDEADLK) when a thread joins
    /// itself. In a thread that startThread() started it is an interruption point.
    virtual int join() = 0;

    /// Reads the thread's scheduling policy and priority.
    ///
    /// `policy`: 0 SCHED_OTHER, 1 SCHED_RR, 2 SCHED_FIFO. Beware: 1 and 2 are the other way round
    /// than the system's own numbers. Returns 0, or 1 with a line on standard error if the system
    /// refuses; then both arguments keep their values. A policy outside the table gives a line on
    /// standard error, the priority, an unchanged `policy`, and still 0.
    virtual int getPriority(int& policy, int& priority) = 0;

    /// Sets the thread's scheduling policy (numbers as for getPriority) and priority; which
    /// priorities a policy allows is the system's affair.
    ///
    /// Returns 0; 20 with a line on standard error for an unknown policy; 1 with two lines on
    /// standard output if the system refuses, as it does without the right to change priorities.
    virtual int setPriority(int policy, int priority) = 0;

    /// Waits at most `milliseconds` until the thread has ended. 0 if it has, 1 if the time ran out
    /// or there is nothing to join; 0 ms asks without waiting. Throws, and is an interruption
    /// point, as join().
    ///
    /// The deadline is on the wall clock, so setting the clock meanwhile lengthens or shortens the
    /// wait. From 1.67 on Boost looks at that clock every 100 ms: so often the wait wakes up, and
    /// so much later it may hear of a clock that was set. With a time_t of 32 bits that clock ends
    /// on 2038-01-19, and a wait must end before.
    virtual int timed_join(unsigned int milliseconds) = 0;

    /// Sends `signal` to the thread (pthread_kill). Returns 0 or the system's error number: ESRCH
    /// for a thread that was joined. A signal without a handler hits the whole process.
    virtual int sendSignal(int signal) = 0;

    /// A new thread object, never null, which the caller deletes. No thread is started. Throws
    /// std::bad_alloc without memory.
    static ZTThread* create(const std::string& name);

    /// The calling thread's native handle (pthread_self) as a number.
    static unsigned long getCurrentThreadID();

    /// Blocks the calling thread, whoever started that, for `milliseconds` of the wall clock:
    /// setting the clock meanwhile lengthens or shortens the sleep, and no signal ends it. Always
    /// returns 0. boost::condition_error comes out if the system's wait fails. With a time_t of 32
    /// bits a sleep that would end after 2038-01-19 ends at once, and none after it can be relied
    /// on.
    ///
    /// 0 means no end: it blocks until 2035-10-29 06:32:22 UTC and is no way to yield. In a thread
    /// that startThread() started it is an interruption point: boost::thread_interrupted comes out
    /// of it when the thread is interrupted.
    static int sleep(unsigned int milliseconds);
};

} // namespace ZT

#endif
