#include "concurrency/BoostConditionVariable.h"

#include "concurrency/BoostUniqueLock.h"
#include "concurrency/WallClock.h"
#include "frame/printLine.h"

#include <algorithm>
#include <iostream>
#include <limits>

namespace ZT {

namespace {

boost::unique_lock<boost::mutex>& boostLockOf(ZTLock& lock)
{
    return dynamic_cast<BoostUniqueLock&>(lock).getBoostLock();
}

// In whole ms; 0 once the deadline has passed.
unsigned int timeUntil(const boost::system_time& deadline)
{
    const auto left = (deadline - boost::get_system_time()).total_microseconds() / 1000;
    const auto most = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::clamp<std::int64_t>(left, 0, most));
}

} // namespace

BoostConditionVariable::BoostConditionVariable() = default;

BoostConditionVariable::~BoostConditionVariable() = default;

int BoostConditionVariable::notify_one()
{
    condition.notify_one();
    return 0;
}

int BoostConditionVariable::notify_all()
{
    condition.notify_all();
    return 0;
}

int BoostConditionVariable::wait(ZTLock* lock)
{
    if (lock == nullptr) {
        return 20;
    }
    condition.wait(boostLockOf(*lock));
    return 0;
}

int BoostConditionVariable::timed_wait(ZTLock* lock, unsigned int timeout, unsigned int& remaining)
{
    if (lock == nullptr) {
        return 20;
    }
    const boost::system_time deadline = wallClockDeadline(timeout);
    const bool woken = condition.waitUntil(boostLockOf(*lock), deadline);
    remaining = woken ? timeUntil(deadline) : 0;
    if (remaining > timeout) {
        printLine(std::cerr, "Error: Time is going backwards!!\n");
    }
    return 0;
}

} // namespace ZT
