#include "concurrency/BoostMutex.h"

namespace ZT {

BoostMutex::BoostMutex() = default;

BoostMutex::~BoostMutex() = default;

int BoostMutex::lock()
{
    mutex->lock();
    return 0;
}

bool BoostMutex::try_lock()
{
    return mutex->try_lock();
}

int BoostMutex::unlock()
{
    mutex->unlock();
    return 0;
}

} // namespace ZT
