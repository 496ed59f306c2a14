#ifndef ZT_ZTMUTEX_H
#define ZT_ZTMUTEX_H

#include "zt/ztExport.h"

namespace ZT {

/// A mutual-exclusion lock between the threads of one process.
///
/// It is not recursive: a thread that locks a mutex it already holds waits for itself forever. The
/// thread that locked must be the one that unlocks, and nobody may hold the mutex when it is
/// deleted. All operations may be called from any thread. None is an interruption point.
///
/// It does not lend its holder the priority of those that wait: a thread that is urgent waits for
/// the holder, and for every thread that keeps the holder from running.
///
/// In a child made by fork() a mutex that another thread held stays locked for good; it may be
/// deleted there.
class ZT_API ZTMutex {
public:
    virtual ~ZTMutex();

    /// Waits until the mutex is free and takes it. Always returns 0.
    /// Throws boost::lock_error if the system refuses.
    virtual int lock() = 0;

    /// Takes the mutex if it is free now; never waits. True if the caller now holds it.
    virtual bool try_lock() = 0;

    /// Gives the mutex back. Always returns 0. The caller must hold it.
    virtual int unlock() = 0;

    /// A new mutex, never null, which the caller deletes.
    /// Throws boost::thread_resource_error if the system refuses, std::bad_alloc without memory.
    static ZTMutex* create();
};

} // namespace ZT

#endif
