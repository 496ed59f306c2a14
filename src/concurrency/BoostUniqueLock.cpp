#include "concurrency/BoostUniqueLock.h"

#include "concurrency/BoostMutex.h"

namespace ZT {

BoostUniqueLock::BoostUniqueLock(BoostMutex* mutex) : lock(mutex->getBoostMutex()) {}

BoostUniqueLock::~BoostUniqueLock() = default;

} // namespace ZT
