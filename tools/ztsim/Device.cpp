#include "Device.h"

#include "Log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>

#include <cerrno>
#include <csignal>
#include <cstdlib>
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

/// On the device all find the tools of the administrator, whose folders an ordinary user's PATH may
/// lack.
void completePath()
{
    const char* const given = std::getenv("PATH");
    std::string path = given == nullptr ? "/bin:/usr/bin" : given;
    for (const std::string folder : {"/usr/sbin", "/sbin"}) {
        if ((':' + path + ':').find(':' + folder + ':') == std::string::npos) {
            path += ':' + folder;
        }
    }
    ::setenv("PATH", path.c_str(), 1);
}

/// Blocks the signals that are meant for us and returns a descriptor to read them from.
int openOwnSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGUSR1, SIGUSR2}) {
        sigaddset(&signals, signal);
    }
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
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
        return FAILED;
    }
}

} // namespace

Device::Device(const Options& options, int outside)
    : command(options.command), outside(context, {}, outside),
      ownSignals(context, openOwnSignals()), eeprom(context, options.eeprom)
{
    if (options.power) {
        power.emplace(context, *options.power);
    }
    if (options.health) {
        health.emplace(context, *options.health);
    }
    if (!options.noNetwork) {
        network.emplace();
    }
}

int Device::run()
{
    if (start()) {
        passSignals();
        awaitSignals();
        context.run();
    }
    return exitCode;
}

bool Device::start()
{
    completePath();
    const int error = spawnFresh(command, pid);
    if (error != 0) {
        log(std::string("cannot run ") + *command + ": " + std::strerror(error));
        exitCode = error == ENOENT ? 127 : 126;
    }
    return error == 0;
}

void Device::passSignals()
{
    boost::asio::async_read(outside, boost::asio::buffer(&signal, sizeof signal),
                            [this](const auto& error, std::size_t) {
                                if (error) { // the outside is dead
                                    context.stop();
                                    return;
                                }
                                ::kill(pid, signal);
                                passSignals();
                            });
}

void Device::awaitSignals()
{
    ownSignals.async_read_some(boost::asio::buffer(&ownSignal, sizeof ownSignal),
                               [this](const auto& error, std::size_t) {
                                   if (!error) {
                                       takeSignal();
                                       awaitSignals();
                                   }
                               });
}

void Device::takeSignal()
{
    if (ownSignal.ssi_signo == SIGCHLD) {
        reapChildren();
    } else if (ownSignal.ssi_signo == SIGUSR1 && power) {
        power->hangUp();
    } else if (ownSignal.ssi_signo == SIGUSR2 && health) {
        health->hangUp();
    }
}

void Device::reapChildren()
{
    int status = 0;
    for (pid_t ended = ::waitpid(-1, &status, WNOHANG); ended > 0;
         ended = ::waitpid(-1, &status, WNOHANG)) {
        if (ended == pid) {
            exitCode = exitCodeOf(status);
            context.stop();
            return;
        }
    }
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
