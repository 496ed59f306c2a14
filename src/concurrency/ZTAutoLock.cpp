#include "zt/ZTAutoLock.h"

#include "zt/ZTSharedMutex.h"

namespace ZT {

ZTAutoLock::ZTAutoLock(ZTMutex* mutex) : shared(false), mutex(mutex)
{
    mutex->lock();
}

ZTAutoLock::ZTAutoLock(ZTSharedMutex* mutex) : shared(true), mutex(mutex)
{
    mutex->lock_shared();
}

ZTAutoLock::~ZTAutoLock()
{
    if (shared) {
        static_cast<ZTSharedMutex*>(mutex)->unlock_shared();
    } else {
        mutex->unlock();
    }
}

} // namespace ZT
