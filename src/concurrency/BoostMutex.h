#ifndef ZT_BOOSTMUTEX_H
#define ZT_BOOSTMUTEX_H

#include "concurrency/ForkSafe.h"
#include "zt/ZTMutex.h"

#include <boost/thread/mutex.hpp>

namespace ZT {

class ZT_API BoostMutex : public ZTMutex {
public:
    BoostMutex();
    ~BoostMutex() override;

    int lock() override;
    bool try_lock() override;
    int unlock() override;

    boost::mutex& getBoostMutex() { return *mutex; }

private:
    ForkSafe<boost::mutex> mutex;
};

} // namespace ZT

#endif
