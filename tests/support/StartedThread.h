#ifndef ZT_TESTS_STARTEDTHREAD_H
#define ZT_TESTS_STARTEDTHREAD_H

#include "support/Layout.h"
#include "zt/ZTThread.h"

#include <boost/thread/thread.hpp>
#include <functional>
#include <memory>
#include <utility>

/// A ZTThread that runs a function of the test's; joined by the destructor at the latest.
class StartedThread {
public:
    explicit StartedThread(std::function<void()> function)
        : function(std::move(function)), thread(ZT::ZTThread::create("worker"))
    {
        thread->startThread(&StartedThread::run, this);
    }

    ~StartedThread() { join(); }

    StartedThread(const StartedThread&) = delete;
    StartedThread& operator=(const StartedThread&) = delete;

    void join() { thread->join(); }

    /// Asks for interruption, as a host program that uses Boost can.
    void interrupt() { fieldAt<boost::thread*>(thread.get(), sizeof(void*))->interrupt(); }

private:
    static void run(void* self) { static_cast<StartedThread*>(self)->function(); }

    const std::function<void()> function;
    const std::unique_ptr<ZT::ZTThread> thread;
};

#endif
