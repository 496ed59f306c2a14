#ifndef ZT_SOAK_DISTURBANCE_H
#define ZT_SOAK_DISTURBANCE_H

#include "Check.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

/// How often a daemon of the simulated device was taken away. It lives in memory that two processes
/// share: one disturbs, the other one uses the daemon.
class Disturbance {
public:
    /// `command` takes the daemon away that listens at `path`.
    Disturbance(const char* path, const char* command) : path(path), command(command) {}

    /// Takes the daemon away, and waits until it is back and has closed what was open before.
    void disturb()
    {
        const std::string before = socketChange();
        ++changes;
        check(std::system(command) == 0, "the simulated device can be told");
        while (socketChange() == before || !listens()) {
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

    // A socket is there a moment before it listens.
    bool listens() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
        const int trial = socket(AF_UNIX, SOCK_STREAM, 0);
        const int result = connect(trial, reinterpret_cast<sockaddr*>(&address), sizeof address);
        close(trial);
        return result == 0;
    }

    const char* const path;
    const char* const command;
    std::atomic<int> changes{0}; // odd while the daemon is away
};

#endif
