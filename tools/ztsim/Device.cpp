#include "Device.h"

#include "Log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ztsim {
namespace {

/// Spawns with default signal dispositions and no signal blocked; returns an errno value.
int spawnFresh(char** command, pid_t& pid)
{
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    const int error = posix_spawnp(&pid, *command, nullptr, &attributes, command, environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

int exitCodeOf(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int runDevice(const Options& options, int outside)
{
    try {
        return Device(options, outside).run();
    } catch (const std::exception& error) {
        log(error.what());
        return kFailed;
    }
}

} // namespace

Device::Device(const Options& options, int outside)
    : command_(options.command), outside_(context_, {}, outside), childEnded_(context_, SIGCHLD)
{
    if (options.power) {
        power_.emplace(context_, *options.power);
    }
}

int Device::run()
{
    if (start()) {
        passSignals();
        reapChildren();
        context_.run();
    }
    return exitCode_;
}

bool Device::start()
{
    const int error = spawnFresh(command_, pid_);
    if (error != 0) {
        log(std::string("cannot run ") + *command_ + ": " + std::strerror(error));
        exitCode_ = error == ENOENT ? 127 : 126;
    }
    return error == 0;
}

void Device::passSignals()
{
    boost::asio::async_read(outside_, boost::asio::buffer(&signal_, sizeof signal_),
                            [this](const auto& error, std::size_t) {
                                if (error) { // the outside is dead
                                    context_.stop();
                                    return;
                                }
                                ::kill(pid_, signal_);
                                passSignals();
                            });
}

void Device::reapChildren()
{
    int status = 0;
    for (pid_t ended = ::waitpid(-1, &status, WNOHANG); ended > 0;
         ended = ::waitpid(-1, &status, WNOHANG)) {
        if (ended == pid_) {
            exitCode_ = exitCodeOf(status);
            context_.stop();
            return;
        }
    }
    childEnded_.async_wait([this](const auto& /*error*/, int) { reapChildren(); });
}

int runInside(const Options& options)
{
    const auto [outside, errors] = *options.inside;
    ::fcntl(outside, F_SETFD, FD_CLOEXEC);
    ::dup2(errors, STDERR_FILENO);
    ::close(errors);
    const int reportFd = ::fcntl(outside, F_DUPFD_CLOEXEC, 0);
    const auto code = static_cast<unsigned char>(runDevice(options, outside));
    ::send(reportFd, &code, sizeof code, MSG_NOSIGNAL);
    return code;
}

} // namespace ztsim
