#include "filehandling/CopyWorker.h"

#include "zt/ZTFileHandlingInterface.h"

namespace ZT {

CopyWorker::CopyWorker(ZTFileHandling& handling, const char* lastTrace)
    : handling(handling), lastTrace(lastTrace)
{}

CopyWorker::~CopyWorker() = default;

void CopyWorker::run()
{
    while (!handling.isStoppedWithinTick() && step()) {
    }
    if (handling.interface != nullptr) {
        handling.interface->copyFinished(handling.errorCode);
    }
    handling.setThreadEnd(true);
    handling.trace(lastTrace);
}

void CopyWorker::reportAll()
{
    if (handling.interface != nullptr) {
        handling.interface->copyProgress(100);
    }
}

} // namespace ZT
