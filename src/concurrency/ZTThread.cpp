#include "zt/ZTThread.h"

#include "concurrency/BoostThread.h"
#include "concurrency/WallClock.h"
#include "concurrency/WallClockCondition.h"

#include <boost/date_time/posix_time/conversion.hpp>

#include <pthread.h>

namespace ZT {

namespace {

// Where a sleep without end ends: what a 32-bit seconds field leaves of the infinite time.
boost::system_time endOfTime()
{
    return boost::posix_time::from_time_t(2077252342) + boost::posix_time::microseconds(775807);
}

} // namespace

ZTThread::~ZTThread() = default;

ZTThread* ZTThread::create(const std::string& name)
{
    return new BoostThread(name);
}

unsigned long ZTThread::getCurrentThreadID()
{
    return pthread_self();
}

int ZTThread::sleep(unsigned int milliseconds)
{
    const boost::system_time end =
        milliseconds == 0 ? endOfTime() : wallClockDeadline(milliseconds);
    // As Boost sleeps itself, but with one wait that follows the wall clock.
    boost::mutex mutex;
    WallClockCondition::Lock lock(mutex);
    WallClockCondition nothing;
    while (nothing.waitUntil(lock, end)) {
    }
    return 0;
}

} // namespace ZT
