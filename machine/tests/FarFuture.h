#ifndef ZT_FAR_FUTURE_H
#define ZT_FAR_FUTURE_H

#include "MachineClock.h"
#include "zt/ZTConditionVariable.h"
#include "zt/ZTFileHandling.h"
#include "zt/ZTLock.h"
#include "zt/ZTMutex.h"
#include "zt/ZTSleep.h"
#include "zt/ZTThread.h"

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

/// 2038-01-19 03:14:08 UTC, which 32 bits do not hold.
const std::int64_t END_OF_32_BITS = std::int64_t{1} << 31;

/// What timed_wait() of an hour or less says is left.
inline unsigned int timedWait(unsigned int milliseconds)
{
    const std::unique_ptr<ZT::ZTMutex> mutex(ZT::ZTMutex::create());
    const std::unique_ptr<ZT::ZTLock> lock(ZT::ZTLock::create(mutex.get()));
    const std::unique_ptr<ZT::ZTConditionVariable> condition(ZT::ZTConditionVariable::create());
    unsigned int remaining = 4711;
    EXPECT_EQ(condition->timed_wait(lock.get(), milliseconds, remaining), 0);
    return remaining;
}

/// What timed_join() says of a thread that ends after two seconds.
inline int timedJoin(unsigned int milliseconds)
{
    const std::unique_ptr<ZT::ZTThread> thread(ZT::ZTThread::create("two seconds"));
    thread->startThread([](void*) { ZT::ZTSleep::sleep(2, 0); }, nullptr);
    return thread->timed_join(milliseconds);
}

/// A file of before, and the name of a copy.
class FileToCopy {
public:
    FileToCopy() { std::ofstream(source) << "Z0815"; }

    ~FileToCopy()
    {
        ::unlink(source.c_str());
        ::unlink(target.c_str());
    }
    FileToCopy(const FileToCopy&) = delete;
    FileToCopy& operator=(const FileToCopy&) = delete;

    /// The result, when the copy has ended.
    int copy() const
    {
        ZT::ZTFileHandling handling;
        const int result = handling.copyFile(source, target, true, nullptr);
        handling.join();
        return result != 0 ? result : handling.getErrorCode();
    }

    const std::string source = "/var/source";
    const std::string target = "/var/target";
};

#endif
