#ifndef ZT_ZTLOCK_H
#define ZT_ZTLOCK_H

#include "zt/ztExport.h"

namespace ZT {

class ZTMutex;

/// Holds a ZTMutex from its creation until it is deleted, so that a condition variable can release
/// and retake the mutex while its owner waits. Where nothing waits, a ZTAutoLock on the stack is
/// simpler.
///
/// A lock belongs to the thread that created it: that thread deletes it.
class ZT_API ZTLock {
public:
    /// Unlocks the mutex. Never throws.
    virtual ~ZTLock();

    /// Waits until `mutex` is free, takes it, and returns a new lock, never null, which the caller
    /// deletes before the mutex.
    ///
    /// `mutex` must come from ZTMutex::create(): null, a ZTSharedMutex or a mutex of one's own is a
    /// caller error, and it is not tested. Throws boost::lock_error if the system refuses,
    /// std::bad_alloc without memory; then nothing is held.
    static ZTLock* create(ZTMutex* mutex);
};

} // namespace ZT

#endif
