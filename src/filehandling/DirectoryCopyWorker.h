#ifndef ZT_DIRECTORYCOPYWORKER_H
#define ZT_DIRECTORYCOPYWORKER_H

#include "filehandling/CopyWorker.h"

#include <atomic>
#include <dirent.h>
#include <memory>
#include <string>

namespace ZT {

/// Copies or moves the regular files of a folder, one entry for each step.
class DirectoryCopyWorker : public CopyWorker {
public:
    explicit DirectoryCopyWorker(ZTFileHandling& handling);

private:
    enum State { SET_UP = 100, CALCULATE_SIZE = 200, COPY_ENTRY = 300, DONE = 400, FAILED = 500 };

    struct Closer {
        void operator()(DIR* stream) const { closedir(stream); }
    };

    bool step() override;
    void setUp();
    void calculateSize();
    void addUpSizes();
    void copyEntry();
    void copyFile(const std::string& name);
    const dirent* nextEntry();
    void fail(int errorCode);

    // One for the process: two runs at once push each other on.
    static std::atomic<State> state;

    std::string sourceDir;
    std::string targetDir;
    std::unique_ptr<DIR, Closer> dir;
    unsigned int total = 0;
    unsigned int copied = 0;
};

} // namespace ZT

#endif
