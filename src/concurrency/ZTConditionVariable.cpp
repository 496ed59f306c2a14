#include "zt/ZTConditionVariable.h"

#include "concurrency/BoostConditionVariable.h"

namespace ZT {

ZTConditionVariable::~ZTConditionVariable() = default;

ZTConditionVariable* ZTConditionVariable::create()
{
    return new BoostConditionVariable;
}

} // namespace ZT
