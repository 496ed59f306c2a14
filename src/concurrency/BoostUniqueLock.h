#ifndef ZT_BOOSTUNIQUELOCK_H
#define ZT_BOOSTUNIQUELOCK_H

#include "zt/ZTLock.h"

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

namespace ZT {

class BoostMutex;

class ZT_API BoostUniqueLock : public ZTLock {
public:
    explicit BoostUniqueLock(BoostMutex* mutex);
    ~BoostUniqueLock() override;

    boost::unique_lock<boost::mutex>& getBoostLock() { return lock; }

private:
    boost::unique_lock<boost::mutex> lock;
};

} // namespace ZT

#endif
