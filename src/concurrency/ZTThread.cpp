#include "zt/ZTThread.h"

#include "concurrency/BoostThread.h"
#include "concurrency/WallClock.h"

#include <boost/date_time/posix_time/conversion.hpp>
#include <boost/thread/thread.hpp>

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
    boost::this_thread::sleep(milliseconds == 0 ? endOfTime() : wallClockDeadline(milliseconds));
    return 0;
}

} // namespace ZT
