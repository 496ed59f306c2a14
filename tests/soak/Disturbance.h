#ifndef ZT_SOAK_DISTURBANCE_H
#define ZT_SOAK_DISTURBANCE_H

#include "Check.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>

/// How often a daemon of the simulated device was taken away. It lives in memory that two processes
/// share: one disturbs, the other one uses the daemon.
class Disturbance {
public:
    Disturbance(const char* path, int signal) : path(path), signal(signal) {}

    /// Takes the daemon away, and waits until it is back and has closed what was open before.
    void disturb()
    {
        const std::string before = socketChange();
        ++changes;
        check(kill(1, signal) == 0, "the simulated device can be told");
        while (socketChange().empty() || socketChange() == before) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ++changes;
    }

    int count() const { return changes / 2; }

    /// What the daemon is asked while this lives is to be answered if it was not disturbed.
    class Witness {
    public:
        explicit Witness(const Disturbance& disturbance)
            : disturbance(disturbance), start(disturbance.changes)
        {}

        bool isDisturbed() const { return start % 2 != 0 || start != disturbance.changes; }

    private:
        const Disturbance& disturbance;
        const int start;
    };

private:
    // When the daemon's socket was made; empty while there is none.
    std::string socketChange() const
    {
        struct stat status {};
        if (stat(path, &status) != 0) {
            return "";
        }
        return std::to_string(status.st_ctim.tv_sec) + ' ' + std::to_string(status.st_ctim.tv_nsec);
    }

    const char* const path;
    const int signal;
    std::atomic<int> changes{0}; // odd while the daemon is away
};

#endif
