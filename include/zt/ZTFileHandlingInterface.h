#ifndef ZT_ZTFILEHANDLINGINTERFACE_H
#define ZT_ZTFILEHANDLINGINTERFACE_H

#include "zt/ztExport.h"

namespace ZT {

/// Implemented by an application that wants to hear how a copy goes, see ZTFileHandling and ZTCopy.
///
/// The library only calls it, on the copy's thread, and never deletes it. It must outlive the copy.
/// A callback may take its time, the copy waits. It must not throw. Of the ZTFileHandling that
/// calls it, it may call stop(), getErrorCode(), isRunning() and isThreadEnded() alone: others wait
/// for the copy's thread, which cannot wait for its own end, and Boost's exception would end
/// the process.
class ZT_API ZTFileHandlingInterface {
public:
    virtual ~ZTFileHandlingInterface();

    /// The overall progress in percent. Whoever draws it must bear more than 100, up to 4294967295,
    /// for files that grow, and targets that are longer than their sources, count as more than all;
    /// the same number again; and a lower one, for a target that is no regular file counts for
    /// nothing once it is copied.
    virtual void copyProgress(unsigned int percent) = 0;

    /// A run has ended, however it did; see ZTFileHandling for the codes. Comes last, once for each
    /// run.
    virtual void copyFinished(int errorCode) = 0;
};

} // namespace ZT

#endif
