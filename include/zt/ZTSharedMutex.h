#ifndef ZT_ZTSHAREDMUTEX_H
#define ZT_ZTSHAREDMUTEX_H

#include "zt/ZTMutex.h"

namespace ZT {

/// A mutex that one thread holds exclusively or many hold in shared mode. As a ZTMutex it is the
/// exclusive lock.
class ZT_API ZTSharedMutex : public ZTMutex {
public:
    ~ZTSharedMutex() override;

    /// Waits until the mutex can be held in shared mode, and adds a holder. Always returns 0.
    virtual int lock_shared() = 0;

    /// Adds a shared holder if that is possible now; never waits. True if the caller now holds it.
    virtual bool try_lock_shared() = 0;

    /// Removes one shared holder. Always returns 0. The caller must hold it in shared mode.
    virtual int unlock_shared() = 0;
};

} // namespace ZT

#endif
