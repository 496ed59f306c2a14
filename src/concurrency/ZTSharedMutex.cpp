#include "zt/ZTSharedMutex.h"

#include "concurrency/BoostSharedMutex.h"

namespace ZT {

ZTSharedMutex::~ZTSharedMutex() = default;

ZTSharedMutex* ZTSharedMutex::create()
{
    return new BoostSharedMutex;
}

} // namespace ZT
