#ifndef ZT_TESTS_LOCKING_H
#define ZT_TESTS_LOCKING_H

#include "zt/ZTMutex.h"

#include <thread>

/// Whether another thread finds the mutex free.
inline bool otherThreadCanLock(ZT::ZTMutex& mutex)
{
    bool locked = false;
    std::thread([&] {
        locked = mutex.try_lock();
        if (locked) {
            mutex.unlock();
        }
    }).join();
    return locked;
}

#endif
