#ifndef ZT_FILECOPYWORKER_H
#define ZT_FILECOPYWORKER_H

#include "filehandling/CopyWorker.h"

#include <atomic>

namespace ZT {

/// Copies or moves one file.
class FileCopyWorker : public CopyWorker {
public:
    explicit FileCopyWorker(ZTFileHandling& handling);

private:
    enum State { SET_UP = 100, COPY = 200, DONE = 400, FAILED = 500 };

    bool step() override;
    void setUp();
    void copy();

    // One for the process: two runs at once push each other on.
    static std::atomic<State> state;
};

} // namespace ZT

#endif
