#include "concurrency/BoostSharedMutex.h"

namespace ZT {

BoostSharedMutex::BoostSharedMutex() = default;

BoostSharedMutex::~BoostSharedMutex() = default;

int BoostSharedMutex::lock()
{
    mutex->lock();
    return 0;
}

bool BoostSharedMutex::try_lock()
{
    return mutex->try_lock();
}

int BoostSharedMutex::unlock()
{
    mutex->unlock();
    return 0;
}

int BoostSharedMutex::lock_shared()
{
    mutex->lock_shared();
    return 0;
}

bool BoostSharedMutex::try_lock_shared()
{
    return mutex->try_lock_shared();
}

int BoostSharedMutex::unlock_shared()
{
    mutex->unlock_shared();
    return 0;
}

} // namespace ZT
