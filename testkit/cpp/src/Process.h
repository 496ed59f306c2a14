#ifndef ZTSIM_PROCESS_H
#define ZTSIM_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace ztsim {

/// A ztsim whose daemons listen.
struct Process {
    pid_t pid;
    int lifeline; ///< it ends when this is closed
};

/// Runs a ztsim with these words behind it; throws Error.
Process startProcess(const std::vector<std::string>& options,
                     const std::vector<std::string>& command);

/// Returns the exit code, or 128 and the number of the signal that killed it.
int awaitProcess(pid_t pid);

} // namespace ztsim

#endif
