#include "Process.h"

#include "ztsim/Device.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ztsim {
namespace {

const int NOT_FOUND = 127; ///< the exit code of what is spawned where an emulator hides why

/// Both of its ends are closed in what others start.
struct Pipe {
    int reading;
    int writing;
};

Pipe openPipe()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) < 0) {
        throw Error(std::string("cannot make a pipe: ") + std::strerror(errno));
    }
    return {ends[0], ends[1]};
}

/// Of sockets, for a write to a pipe that nobody reads raises a signal.
Pipe openLifeline()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) < 0) {
        throw Error(std::string("cannot make a pair of sockets: ") + std::strerror(errno));
    }
    return {ends[0], ends[1]};
}

/// Returns an errno value. The program inherits these two descriptors.
int spawn(pid_t& pid, const std::vector<std::string>& words, int first, int second)
{
    std::vector<char*> arguments(words.size() + 1);
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](const std::string& word) { return const_cast<char*>(word.c_str()); });
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, first, first);
    posix_spawn_file_actions_adddup2(&actions, second, second);
    const int error =
        posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

Process startProcess(const std::vector<std::string>& options,
                     const std::vector<std::string>& command)
{
    const char* const given = std::getenv("ZTSIM");
    const Pipe ready = openPipe();
    const Pipe lifeline = openLifeline();
    std::vector<std::string> words = {given == nullptr ? "ztsim" : given, "--ready-fd",
                                      std::to_string(ready.writing), "--lifeline-fd",
                                      std::to_string(lifeline.reading)};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back("--");
    words.insert(words.end(), command.begin(), command.end());
    pid_t pid = -1;
    const int error = spawn(pid, words, ready.writing, lifeline.reading);
    ::close(ready.writing);
    ::close(lifeline.reading);
    char byte = 0;
    const bool isReady = error == 0 && ::read(ready.reading, &byte, 1) == 1;
    ::close(ready.reading);
    if (isReady) {
        return {pid, lifeline.writing};
    }
    ::close(lifeline.writing);
    const int exitCode = error == 0 ? awaitProcess(pid) : NOT_FOUND;
    if (exitCode == NOT_FOUND) {
        throw Error("cannot run " + words.front() +
                    ": put the folder of ztsim on the PATH, or set ZTSIM to its path");
    }
    throw Error("ztsim ended with " + std::to_string(exitCode) +
                " before its device was ready: see what it says on standard error");
}

int awaitProcess(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            throw Error(std::string("cannot wait for the device: ") + std::strerror(errno));
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace ztsim
