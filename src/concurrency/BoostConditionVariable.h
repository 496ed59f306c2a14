#ifndef ZT_BOOSTCONDITIONVARIABLE_H
#define ZT_BOOSTCONDITIONVARIABLE_H

#include "concurrency/WallClockCondition.h"
#include "zt/ZTConditionVariable.h"

namespace ZT {

class ZT_API BoostConditionVariable : public ZTConditionVariable {
public:
    BoostConditionVariable();
    ~BoostConditionVariable() override;

    int notify_one() override;
    int notify_all() override;
    int wait(ZTLock* lock) override;
    int timed_wait(ZTLock* lock, unsigned int timeout, unsigned int& remaining) override;

private:
    WallClockCondition condition;
};

} // namespace ZT

#endif
