#include "filehandling/DirectoryCopyWorker.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTFilesAndFolders.h"

namespace ZT {

namespace {

const std::uint64_t NO_SIZE = UINT64_MAX;

std::uint64_t sizeOf(const std::string& path)
{
    return ZTFilesAndFolders::getFileSize(path, nullptr);
}

} // namespace

std::atomic<DirectoryCopyWorker::State> DirectoryCopyWorker::state{SET_UP};

DirectoryCopyWorker::DirectoryCopyWorker(ZTFileHandling& handling)
    : CopyWorker(handling, "ZTFileHandling::copy thread done")
{
    state = SET_UP;
    ZTDebug::debugPrintError(4, handling.debugSection, "ZTFileHandling::copy source %s  target %s",
                             handling.sourceDirectory.c_str(), handling.targetDirectory.c_str());
}

bool DirectoryCopyWorker::step()
{
    switch (state) {
    case SET_UP:
        setUp();
        return true;
    case CALCULATE_SIZE:
        calculateSize();
        return true;
    case COPY_ENTRY:
        copyEntry();
        return true;
    case DONE:
        reportAll();
        return false;
    default: // FAILED
        return false;
    }
}

void DirectoryCopyWorker::setUp()
{
    sourceDir = ZTFilesAndFolders::addSlash(handling.sourceDirectory);
    targetDir = ZTFilesAndFolders::addSlash(handling.targetDirectory);
    // Without the slash, which would make the root folder of a name that was never set.
    if (ZTFilesAndFolders::isDirectory(handling.sourceDirectory) &&
        ZTFilesAndFolders::isDirectory(handling.targetDirectory)) {
        dir.reset(opendir(sourceDir.c_str()));
        handling.errorCode = 0;
        total = 0;
        state = CALCULATE_SIZE;
    } else {
        fail(41);
    }
    handling.trace("ZTFileHandling::copy source and target found");
}

void DirectoryCopyWorker::calculateSize()
{
    handling.trace("ZTFileHandling::copy get source complete to calculate");
    if (dir != nullptr) {
        addUpSizes();
    }
    if (total != 0) {
        copied = 0;
        state = COPY_ENTRY;
    } else {
        fail(42);
    }
}

void DirectoryCopyWorker::addUpSizes()
{
    while (const dirent* entry = nextEntry()) {
        if (entry->d_type == DT_REG) {
            total += static_cast<unsigned int>(sizeOf(sourceDir + entry->d_name));
        }
    }
    rewinddir(dir.get());
}

void DirectoryCopyWorker::copyEntry()
{
    if (dir == nullptr) {
        return; // only where another run has set the state
    }
    const dirent* entry = nextEntry();
    if (entry == nullptr) {
        dir.reset();
        handling.errorCode = 0;
        state = DONE;
    } else if (entry->d_type == DT_REG) {
        copyFile(entry->d_name);
    }
}

void DirectoryCopyWorker::copyFile(const std::string& name)
{
    const std::string sourcePath = sourceDir + name;
    const std::string targetPath = targetDir + name;
    copier.setOffsetAndTotal(copied, total);
    copier.setInterface(handling.interface);
    ZTDebug::debugPrintError(4, handling.debugSection, "ZTFileHandling::copy | file %s => %s",
                             sourcePath.c_str(), targetPath.c_str());
    if (copier.copy(sourcePath, targetPath) != 0) {
        fail(16);
        return;
    }
    if (sizeOf(targetPath) != NO_SIZE) {
        copied += static_cast<unsigned int>(sizeOf(targetPath));
    }
    if (!handling.cm) {
        ZTFilesAndFolders::eraseFileOrFolder(sourcePath, false, "");
        ZTDebug::debugPrintError(4, handling.debugSection, "ZTFileHandling::copy | kill source %s",
                                 sourcePath.c_str());
    }
}

const dirent* DirectoryCopyWorker::nextEntry()
{
    const dirent* entry = readdir(dir.get());
    if (entry != nullptr) {
        handling.errorCode = 43;
    }
    return entry;
}

void DirectoryCopyWorker::fail(int errorCode)
{
    handling.errorCode = errorCode;
    state = FAILED;
}

} // namespace ZT
