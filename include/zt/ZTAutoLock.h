#ifndef ZT_ZTAUTOLOCK_H
#define ZT_ZTAUTOLOCK_H

#include "zt/ztExport.h"

namespace ZT {

class ZTMutex;
class ZTSharedMutex;

/// Holds a mutex for a scope: takes it when constructed, gives it back when destroyed, also when an
/// exception leaves the scope.
///
/// It works through the mutex's virtual operations alone, so with any implementation. It does not
/// own the mutex, which must not be null (not tested) and must outlive it. An exception out of the
/// unlock ends the process.
class ZT_API ZTAutoLock {
public:
    /// Takes `mutex` exclusively, waiting as long as it takes. A ZTSharedMutex passed as a ZTMutex*
    /// is locked exclusively. What the mutex's lock() throws passes on, and nothing is held.
    explicit ZTAutoLock(ZTMutex* mutex);

    /// Takes `mutex` in shared mode, waiting as long as it takes. The static type of the argument
    /// decides: writers pass the same object as a ZTMutex*. What lock_shared() throws passes on,
    /// and nothing is held.
    explicit ZTAutoLock(ZTSharedMutex* mutex);

    virtual ~ZTAutoLock();

    ZTAutoLock(const ZTAutoLock&) = delete;
    ZTAutoLock& operator=(const ZTAutoLock&) = delete;

private:
    bool shared;
    ZTMutex* mutex;
};

} // namespace ZT

#endif
