#include "zt/ZTLock.h"

#include "concurrency/BoostMutex.h"
#include "concurrency/BoostUniqueLock.h"

namespace ZT {

ZTLock::~ZTLock() = default;

ZTLock* ZTLock::create(ZTMutex* mutex)
{
    return new BoostUniqueLock(dynamic_cast<BoostMutex*>(mutex));
}

} // namespace ZT
