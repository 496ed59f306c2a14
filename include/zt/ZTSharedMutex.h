#ifndef ZT_ZTSHAREDMUTEX_H
#define ZT_ZTSHAREDMUTEX_H

#include "zt/ZTMutex.h"

namespace ZT {

/// A mutex that one thread holds exclusively, or many hold in shared mode: one writes or many read.
/// As a ZTMutex it is the exclusive lock, so a ZTAutoLock takes it in shared mode only when it is
/// passed as a ZTSharedMutex*.
///
/// It is recursive in neither mode, and a shared holder cannot become the exclusive one: such a
/// thread waits for itself forever. A thread that waits in lock() stops new shared holders, so
/// readers cannot starve a writer; for the same reason a second shared hold of the same thread may
/// wait forever. Unlock in the mode that is held; that is not tested. None of the operations is an
/// interruption point.
class ZT_API ZTSharedMutex : public ZTMutex {
public:
    ~ZTSharedMutex() override;

    /// Waits while a thread holds the mutex exclusively or waits to, and adds a shared holder.
    /// Always returns 0. Throws boost::lock_error if the system refuses, as all operations here
    /// may.
    virtual int lock_shared() = 0;

    /// Adds a shared holder if that is possible now; never waits. True if the caller now holds it.
    virtual bool try_lock_shared() = 0;

    /// Removes one shared holder; the last one lets a waiting writer in. Always returns 0. The
    /// caller must hold it in shared mode.
    virtual int unlock_shared() = 0;

    /// A new shared mutex, never null, which the caller deletes.
    /// Throws boost::thread_resource_error if the system refuses, std::bad_alloc without memory.
    static ZTSharedMutex* create();
};

} // namespace ZT

#endif
