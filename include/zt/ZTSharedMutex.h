#ifndef ZT_ZTSHAREDMUTEX_H
#define ZT_ZTSHAREDMUTEX_H

#include "zt/ZTMutex.h"

namespace ZT {

/// A mutex that one thread holds exclusively, or many hold in shared mode: one writes or many read.
/// As a ZTMutex it is the exclusive lock, so a ZTAutoLock takes it in shared mode only when it is
/// passed as a ZTSharedMutex*.
///
/// It is recursive in neither mode, and a shared holder cannot become the exclusive one: such a
/// thread waits for itself forever. A thread that waits in lock() stops new shared holders until
/// those of the moment have gone, so a second shared hold of the same thread may wait forever. Then
/// all who wait compete: a writer has its chance, but no guaranteed turn, and many readers that
/// come again and again can keep it waiting. Unlock in the mode that is held; that is not tested.
/// None of the operations is an interruption point.
class ZT_API ZTSharedMutex : public ZTMutex {
public:
    ~ZTSharedMutex() override;

    /// Waits while a thread holds the mutex exclusively or a waiting one stops new shared holders,
    /// and adds a shared holder.
    /// Always returns 0. Throws boost::lock_error if the system refuses, as all operations here
    /// may.
    virtual int lock_shared() = 0;

    /// Adds a shared holder if that is possible now; never waits. True if the caller now holds it.
    virtual bool try_lock_shared() = 0;

    /// Removes one shared holder; the last one wakes a waiting writer. Always returns 0. The caller
    /// must hold it in shared mode.
    virtual int unlock_shared() = 0;

    /// A new shared mutex, never null, which the caller deletes.
    /// Throws boost::thread_resource_error if the system refuses, std::bad_alloc without memory.
    static ZTSharedMutex* create();
};

} // namespace ZT

#endif
