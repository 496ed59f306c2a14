#include "zt/ZTMutex.h"

#include "concurrency/BoostMutex.h"

namespace ZT {

ZTMutex::~ZTMutex() = default;

ZTMutex* ZTMutex::create()
{
    return new BoostMutex;
}

} // namespace ZT
