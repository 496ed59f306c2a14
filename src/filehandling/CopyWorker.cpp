#include "filehandling/CopyWorker.h"

#include "filehandling/WakeUp.h"
#include "zt/ZTFileHandlingInterface.h"

namespace ZT {

namespace {

const unsigned int TICK_MS = 200;

} // namespace

CopyWorker::CopyWorker(ZTFileHandling& handling, const char* lastTrace)
    : handling(handling), lastTrace(lastTrace)
{}

CopyWorker::~CopyWorker() = default;

void CopyWorker::run()
{
    handling.lock->setWorker(std::this_thread::get_id());
    while (!isNotifiedWithinTick() && step() && !handling.stopRequested) {
    }
    if (handling.interface != nullptr) {
        handling.interface->copyFinished(handling.errorCode);
    }
    handling.setThreadEnd(true);
    handling.trace(lastTrace);
    handling.lock->setWorker({});
}

bool CopyWorker::isNotifiedWithinTick()
{
    return handling.wakeUp().wait(*handling.lock, handling.notified, TICK_MS);
}

void CopyWorker::reportAll()
{
    if (handling.interface != nullptr) {
        handling.interface->copyProgress(100);
    }
}

} // namespace ZT
