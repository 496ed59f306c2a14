#include "zt/ZTFileHandling.h"

#include "filehandling/DirectoryCopyWorker.h"
#include "filehandling/FileCopyWorker.h"
#include "filehandling/WakeUp.h"
#include "zt/ZTThread.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTFilesAndFolders.h"

#include <new>

namespace ZT {

namespace {

// Part of what the library sets up when it is loaded, and destroyed with it. Nobody locks it: a run
// may go on while the process exits, so what runs share is atomic.
boost::mutex moduleMutex;

} // namespace

ZTFileHandling::ZTFileHandling()
{
    static_assert(sizeof(WakeUp) == sizeof wakeUpStorage, "the storage holds just that");
    static_assert(alignof(WakeUp) <= alignof(pthread_cond_t), "and where it may stand");
    new (wakeUpStorage) WakeUp;
    init();
    debugSection = ZTDebug::insertNewDebugSection("zt_copy_thread");
}

ZTFileHandling::~ZTFileHandling()
{
    release();
    wakeUp().~WakeUp();
}

int ZTFileHandling::copyDir(const std::string& source, const std::string& target, bool newCm,
                            ZTFileHandlingInterface* newInterface)
{
    release();
    ZTDebug::debugPrintError(4, debugSection, "ZTFileHandling::copyDir source %s  target %s  cm %d",
                             source.c_str(), target.c_str(), newCm);
    int result = setSourceDirectory(source);
    if (result == 0) {
        result = setTargetDirectory(target);
    }
    trace("ZTFileHandling::copyDir want to start");
    if (result == 0) {
        trace("ZTFileHandling::copyDir lets go thread");
        setRunning();
        result = keepFailure(create(newCm, newInterface));
        trace("ZTFileHandling::start");
    }
    trace("ZTFileHandling::copyDir ends");
    return result;
}

int ZTFileHandling::copyFile(const std::string& source, const std::string& target, bool newCm,
                             ZTFileHandlingInterface* newInterface)
{
    release();
    ZTDebug::debugPrintError(4, debugSection,
                             "ZTFileHandling::copyFile source %s  target %s  cm %d", source.c_str(),
                             target.c_str(), newCm);
    int result = setCurrentSourceFile(source);
    if (result == 0) {
        result = setCurrentTargetFile(target);
    }
    if (result == 0) {
        trace("ZTFileHandling::copyFile lets go thread");
        setRunning();
        result = startWorker(copyTheFile, newCm, newInterface);
        trace("ZTFileHandling::start");
    }
    return result;
}

int ZTFileHandling::create(bool newCm, ZTFileHandlingInterface* newInterface)
{
    return startWorker(copy, newCm, newInterface);
}

// The worker may be done before the caller goes on, so everything is stored before it starts.
int ZTFileHandling::startWorker(void (*worker)(void*), bool newCm,
                                ZTFileHandlingInterface* newInterface)
{
    endWorker();
    cm = newCm;
    interface = newInterface;
    try {
        lock = wakeUp().makeLock();
        thread.reset(ZTThread::create("FileCopyThread"));
        if (thread == nullptr) {
            return 19;
        }
        notified = false;
        thread->startThread(worker, this);
    } catch (...) {
        thread.reset();
        running = false;
        throw;
    }
    return 0;
}

void ZTFileHandling::start()
{
    trace("ZTFileHandling::start");
    setRunning();
}

void ZTFileHandling::setRunning()
{
    threadEnded = false;
    running = true;
    stopRequested = false;
}

void ZTFileHandling::stop()
{
    trace("ZTFileHandling::stop");
    requestStop();
}

void ZTFileHandling::requestStop()
{
    threadEnded = false;
    running = false;
    stopRequested = true;
    wakeUp().raise(notified);
}

void ZTFileHandling::setThreadEnd(bool end)
{
    threadEnded = end;
    stopRequested = false;
    running = false;
}

void ZTFileHandling::join()
{
    if (thread != nullptr) {
        lock->refuseWorker();
        thread->join();
    }
}

void ZTFileHandling::release()
{
    if (lock != nullptr && !lock->isOfThisProcess()) {
        return;
    }
    trace("ZTFileHandling::release");
    stop();
    reset();
}

void ZTFileHandling::init()
{
    endWorker();
    setThreadEnd(false);
    notified = true;
    cm = false;
    errorCode = 0;
    interface = nullptr;
    sourceDirectory.clear();
    targetDirectory.clear();
    currentSourceFile.clear();
    currentTargetFile.clear();
}

void ZTFileHandling::reset()
{
    init();
}

// What the worker uses stays until it has ended.
void ZTFileHandling::endWorker()
{
    if (thread != nullptr) {
        requestStop();
        join();
        setThreadEnd(false);
    }
    lock.reset();
    thread.reset();
}

int ZTFileHandling::setSourceDirectory(const std::string& directory)
{
    sourceDirectory = directory;
    ZTDebug::debugPrintError(4, debugSection, "ZTFileHandling::setSourceDirectory %s",
                             directory.c_str());
    const int result = checkDirectory(directory);
    trace("ZTFileHandling::setSourceDirectory end");
    return result;
}

int ZTFileHandling::setTargetDirectory(const std::string& directory)
{
    targetDirectory = directory;
    ZTDebug::debugPrintError(4, debugSection, "ZTFileHandling::setTargetDirectory %s",
                             directory.c_str());
    const int result = checkDirectory(directory);
    trace("ZTFileHandling::setTargetDirectory end");
    return result;
}

int ZTFileHandling::setCurrentSourceFile(const std::string& file)
{
    currentSourceFile = file;
    ZTDebug::debugPrintError(4, debugSection, "ZTFileHandling::setCurrentSourceFile %s",
                             file.c_str());
    const int result = keepFailure(ZTFilesAndFolders::isFile(file) && !file.empty() ? 0 : 16);
    trace("ZTFileHandling::setCurrentSourceFile end");
    return result;
}

int ZTFileHandling::setCurrentTargetFile(const std::string& file)
{
    currentTargetFile = file;
    ZTDebug::debugPrintError(4, debugSection, "ZTFileHandling::setCurrentTargetFile %s",
                             file.c_str());
    const int result = keepFailure(!file.empty() ? 0 : 16);
    trace("ZTFileHandling::setCurrentTargetFile end");
    return result;
}

int ZTFileHandling::checkDirectory(const std::string& directory)
{
    return keepFailure(ZTFilesAndFolders::isDirectory(directory) && !directory.empty() ? 0 : 41);
}

int ZTFileHandling::keepFailure(int result)
{
    if (result != 0) {
        errorCode = result;
    }
    return result;
}

int ZTFileHandling::getErrorCode() const
{
    return errorCode;
}

bool ZTFileHandling::isRunning() const
{
    return running;
}

bool ZTFileHandling::isThreadEnded() const
{
    return threadEnded;
}

unsigned int ZTFileHandling::getDebugSection() const
{
    return debugSection;
}

void ZTFileHandling::copy(void* self)
{
    DirectoryCopyWorker(*static_cast<ZTFileHandling*>(self)).run();
}

void ZTFileHandling::copyTheFile(void* self)
{
    FileCopyWorker(*static_cast<ZTFileHandling*>(self)).run();
}

WakeUp& ZTFileHandling::wakeUp()
{
    return *std::launder(reinterpret_cast<WakeUp*>(wakeUpStorage));
}

void ZTFileHandling::trace(const char* text) const
{
    ZTDebug::debugPrintError(4, debugSection, "%s", text);
}

} // namespace ZT
