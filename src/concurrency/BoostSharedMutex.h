#ifndef ZT_BOOSTSHAREDMUTEX_H
#define ZT_BOOSTSHAREDMUTEX_H

#include "concurrency/ForkSafe.h"
#include "zt/ZTSharedMutex.h"

#include <boost/thread/shared_mutex.hpp>

namespace ZT {

class ZT_API BoostSharedMutex : public ZTSharedMutex {
public:
    BoostSharedMutex();
    ~BoostSharedMutex() override;

    int lock() override;
    bool try_lock() override;
    int unlock() override;
    int lock_shared() override;
    bool try_lock_shared() override;
    int unlock_shared() override;

private:
    ForkSafe<boost::shared_mutex> mutex;
};

} // namespace ZT

#endif
