#include "concurrency/BoostThread.h"

#include "concurrency/WallClock.h"
#include "frame/printLine.h"

#include <boost/thread/thread.hpp>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <pthread.h>
#include <unistd.h>

namespace ZT {

namespace {

const std::size_t LONGEST_SYSTEM_NAME = 15;

struct Policy {
    int code;
    int system;
};

// The library's numbers; 1 and 2 are the other way round than the system's own.
const Policy POLICIES[] = {{0, SCHED_OTHER}, {1, SCHED_RR}, {2, SCHED_FIFO}};

// Hands the thread's native handle to `call`. A thread that was joined has none any more.
template <class Call>
int withNativeHandle(boost::thread& thread, Call call)
{
    const pthread_t native = thread.native_handle();
    return native == pthread_t() ? ESRCH : call(native);
}

} // namespace

BoostThread::BoostThread(const std::string& name) : handle(nullptr), name(name), process(0) {}

BoostThread::~BoostThread()
{
    // In a child made by fork() there is no such thread, and it may have held what detaching locks.
    if (handle != nullptr && process == getpid()) {
        handle->detach();
        delete handle;
    }
}

int BoostThread::startThread(void (*function)(void*), void* argument)
{
    handle = new boost::thread(function, argument);
    process = getpid();
    if (name.empty() || name.size() > LONGEST_SYSTEM_NAME) {
        return 0;
    }
    setThreadName(name);
    return handle == nullptr ? 10 : 0;
}

int BoostThread::join()
{
    handle->join();
    return 0;
}

int BoostThread::getPriority(int& policy, int& priority)
{
    int systemPolicy = 0;
    sched_param parameter{};
    const int error = withNativeHandle(*handle, [&](pthread_t native) {
        return pthread_getschedparam(native, &systemPolicy, &parameter);
    });
    if (error != 0) {
        printLine(std::cerr,
                  "BoostThread::getScheduleParameter(): error: cannot read thread parameter!\n");
        return 1;
    }
    priority = parameter.sched_priority;
    for (const Policy& known : POLICIES) {
        if (known.system == systemPolicy) {
            policy = known.code;
            return 0;
        }
    }
    printLine(std::cerr, "BoostThread::getScheduleParameter(): error: unknown scheduler!\n");
    return 0;
}

int BoostThread::setPriority(int policy, int priority)
{
    for (const Policy& known : POLICIES) {
        if (known.code == policy) {
            return setSystemPriority(known.system, priority);
        }
    }
    printLine(std::cerr, "BoostThread::setScheduleParameter(): error: unknown scheduler!\n");
    return 20;
}

int BoostThread::timed_join(unsigned int milliseconds)
{
    const boost::system_time deadline = wallClockDeadline(milliseconds);
    // Boost keeps trying until the deadline when there is nothing to join.
    return handle->joinable() && handle->timed_join(deadline) ? 0 : 1;
}

int BoostThread::sendSignal(int signal)
{
    return withNativeHandle(*handle,
                            [signal](pthread_t native) { return pthread_kill(native, signal); });
}

int BoostThread::setThreadName(const std::string& newName)
{
    return withNativeHandle(*handle, [&newName](pthread_t native) {
        return pthread_setname_np(native, newName.c_str());
    });
}

int BoostThread::setSystemPriority(int systemPolicy, int priority)
{
    sched_param parameter{};
    parameter.sched_priority = priority;
    const int error = withNativeHandle(*handle, [&](pthread_t native) {
        return pthread_setschedparam(native, systemPolicy, &parameter);
    });
    if (error != 0) {
        printLine(std::cout,
                  "BoostThread::setScheduleParameter(): warning: cannot set thread parameter!\n");
        printLine(std::cout,
                  "  Make sure we have the right to change priorities (e.g. running as root).\n");
        return 1;
    }
    return 0;
}

} // namespace ZT
