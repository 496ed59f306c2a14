#include "filehandling/FileCopyWorker.h"

#include "ztutil/ZTDebug.h"
#include "ztutil/ZTFilesAndFolders.h"

namespace ZT {

std::atomic<FileCopyWorker::State> FileCopyWorker::state{SET_UP};

FileCopyWorker::FileCopyWorker(ZTFileHandling& handling)
    : CopyWorker(handling, "ZTFileHandling::copyFile thread done")
{
    state = SET_UP;
    ZTDebug::debugPrintError(
        4, handling.debugSection, "ZTFileHandling::copyTheFile source %s  target %s",
        handling.currentSourceFile.c_str(), handling.currentTargetFile.c_str());
}

bool FileCopyWorker::step()
{
    switch (state) {
    case SET_UP:
        setUp();
        return true;
    case COPY:
        copy();
        return true;
    case DONE:
        reportAll();
        return false;
    default: // FAILED
        return false;
    }
}

void FileCopyWorker::setUp()
{
    if (ZTFilesAndFolders::isFile(handling.currentSourceFile)) {
        handling.trace("ZTFileHandling::copyTheFile file found");
        handling.errorCode = 0;
        state = COPY;
    } else {
        handling.trace("ZTFileHandling::copyTheFile file not found");
        handling.errorCode = 16;
        state = FAILED;
    }
}

void FileCopyWorker::copy()
{
    const std::string& source = handling.currentSourceFile;
    const auto total = static_cast<unsigned int>(ZTFilesAndFolders::getFileSize(source, nullptr));
    copier.setOffsetAndTotal(0, total);
    copier.setInterface(handling.interface);
    if (copier.copy(source, handling.currentTargetFile) != 0) {
        handling.errorCode = 16;
        state = FAILED;
        return;
    }
    if (!handling.cm) {
        ZTFilesAndFolders::eraseFileOrFolder(source, false, "");
        ZTDebug::debugPrintError(4, handling.debugSection,
                                 "ZTFileHandling::copyTheFile delete file %s", source.c_str());
    }
    handling.errorCode = 0;
    state = DONE;
}

} // namespace ZT
