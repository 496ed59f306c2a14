#ifndef ZT_COPYWORKER_H
#define ZT_COPYWORKER_H

#include "zt/ZTCopy.h"
#include "zt/ZTFileHandling.h"

namespace ZT {

/// Takes the steps of a run, one for each tick, on the thread of a ZTFileHandling.
class CopyWorker {
public:
    /// `lastTrace` is what the run prints when it is over.
    CopyWorker(ZTFileHandling& handling, const char* lastTrace);
    virtual ~CopyWorker();

    CopyWorker(const CopyWorker&) = delete;
    CopyWorker& operator=(const CopyWorker&) = delete;

    /// Returns when a step was the last or the run was stopped.
    void run();

protected:
    /// False if there is no further one.
    virtual bool step() = 0;

    /// The progress of a run that went well.
    void reportAll();

    ZTFileHandling& handling;
    ZTCopy copier;

private:
    bool isNotifiedWithinTick();

    const char* lastTrace;
};

} // namespace ZT

#endif
