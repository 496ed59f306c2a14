#ifndef ZT_BENCH_PEERPROCESS_H
#define ZT_BENCH_PEERPROCESS_H

#include "bench/support/Pinning.h"
#include "bench/support/require.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// A program that runs on the other core while the object lives, and not longer than this thread.
class PeerProcess {
public:
    explicit PeerProcess(std::vector<std::string> command)
    {
        std::vector<char*> arguments(command.size() + 1, nullptr);
        std::transform(command.begin(), command.end(), arguments.begin(),
                       [](std::string& argument) { return argument.data(); });
        process = fork();
        require(process >= 0, "no process for the peer");
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            pinTo(1);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
    }

    ~PeerProcess()
    {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }

    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

private:
    pid_t process;
};

#endif
