#include "Device.h"

#include "ControlSocket.h"
#include "Descendants.h"
#include "DevicePaths.h"
#include "Log.h"
#include "Place.h"
#include "Preloading.h"
#include "TextFile.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <linux/capability.h>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ztsim {
namespace {

/// Spawns with default signal dispositions and no signal blocked; returns an errno value.
///
/// `interactive` gives the terminal to it, in a process group of its own: a shell hands that back
/// in the end, which it could not if the group were one from outside.
int spawnFresh(char** command, bool interactive, pid_t& pid)
{
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    if (interactive) {
        flags |= POSIX_SPAWN_SETPGROUP;
        posix_spawn_file_actions_addtcsetpgrp_np(&actions, STDIN_FILENO);
    }
    posix_spawnattr_setflags(&attributes, static_cast<short>(flags));
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    const int error = posix_spawnp(&pid, *command, &actions, &attributes, command, environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error;
}

/// On the device all find the tools of the administrator, whose folders an ordinary user's PATH may
/// lack, and ztsim itself.
void completePath()
{
    const char* const given = std::getenv("PATH");
    std::string path = given == nullptr ? "/bin:/usr/bin" : given;
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const std::string& folder : {std::string("/usr/sbin"), std::string("/sbin"), own}) {
        if ((':' + path + ':').find(':' + folder + ':') == std::string::npos) {
            path += ':' + folder;
        }
    }
    ::setenv("PATH", path.c_str(), 1);
}

/// Blocks SIGCHLD and returns a descriptor to read it from.
int openChildSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

int exitCodeOf(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

bool hasNetwork(const Options& options)
{
    return options.inside->way == Way::Namespaces && !options.noNetwork;
}

/// What COMMAND does to the network, the mounts and the clock of its device is not to happen to the
/// machine, even if root runs it.
void giveUpRightsOverMachine()
{
    for (const int right :
         {CAP_NET_ADMIN, CAP_SYS_ADMIN, CAP_SYS_BOOT, CAP_SYS_MODULE, CAP_SYS_TIME}) {
        // Fails for who has none.
        ::prctl(PR_CAPBSET_DROP, static_cast<unsigned long>(right), 0, 0, 0);
    }
}

/// What namespaces do by themselves.
class Bare {
public:
    explicit Bare(const Options& options) : place(options.inside->root)
    {
        adoptOrphans();
        giveUpRightsOverMachine();
        ::setenv(DEVICE_VARIABLE, std::to_string(::getppid()).c_str(), 1);
        if (options.inside->way == Way::Preload) {
            preloadFor(place.root, *options.command);
        }
    }

    ~Bare() { killDescendants(); }

    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

private:
    const Place place;
};

int runDevice(const Options& options)
{
    try {
        completePath();
        std::optional<Bare> bare;
        if (options.inside->way != Way::Namespaces) {
            bare.emplace(options);
        }
        return Device(options, *options.inside).run();
    } catch (const std::exception& error) {
        log(error.what());
        return FAILED;
    }
}

} // namespace

Device::Device(const Options& options, const Inside& inside)
    : options(options), outside(context, boost::asio::local::stream_protocol(), inside.outside),
      childSignals(context, openChildSignals()), lifeline(context), journal(inside.record),
      eeprom(context, options.eeprom, inside.root), simulated{options.name,        journal, eeprom,
                                                              hasNetwork(options), {},      {}},
      control(context, simulated, options.verbose),
      script(context, simulated, options.speed, options.verbose)
{
    if (inside.script >= 0) {
        script.read(options.script, readAll(inside.script));
        ::close(inside.script);
    }
    if (options.power) {
        simulated.power.emplace(context, *options.power, journal);
    }
    if (options.health) {
        simulated.health.emplace(context, *options.health, journal);
    }
    if (hasNetwork(options)) {
        network.emplace();
    }
    if (inside.capture >= 0) {
        capture.emplace(inside.capture);
        journal.tap([this](const Transfer& transfer) { capture->write(transfer); });
        for (const std::string& path : options.captureIpc) {
            ipcTaps.emplace_back(context, path, journal);
        }
    }
#ifdef ZTSIM_WEB
    if (inside.web >= 0) {
        web.emplace(context, inside.web, simulated, options.verbose);
        log("the device is shown at " + web->address());
    }
#endif
    control.listenOn(inside.control);
    if (inside.way == Way::Namespaces) { // from where the outside cannot be reached
        control.listenOn(listenForControl(options.name));
    }
}

int Device::run()
{
    script.start();
    sayReady();
    if (start()) {
        passSignals();
        watchLifeline();
        reapChildren();
        context.run();
    }
    return exitCode;
}

void Device::sayReady() const
{
    if (options.readyFile >= 0) {
        const std::string line = "ready\n";
        if (::write(options.readyFile, line.data(), line.size()) < 0) {
            log(std::string("cannot say that the device is ready: ") + std::strerror(errno));
        }
        ::close(options.readyFile);
    }
}

bool Device::start()
{
    const bool interactive = options.isShell && ::isatty(STDIN_FILENO) == 1;
    if (interactive) {
        log("a shell on the simulated device; exit leaves it");
    }
    const int error = spawnFresh(options.command, interactive, pid);
    if (error != 0) {
        log(std::string("cannot run ") + *options.command + ": " + std::strerror(error));
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

void Device::watchLifeline()
{
    if (options.lifeline < 0) {
        return;
    }
    lifeline.assign(options.lifeline);
    lifeline.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                        [this](const auto&) { context.stop(); });
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
    childSignals.async_read_some(boost::asio::buffer(&childSignal, sizeof childSignal),
                                 [this](const auto& error, std::size_t) {
                                     if (!error) {
                                         reapChildren();
                                     }
                                 });
}

int runInside(const Options& options)
{
    const Inside& inside = *options.inside;
    for (const int file : {inside.outside, inside.control, inside.script, inside.record, inside.log,
                           inside.capture, inside.web, options.readyFile, options.lifeline}) {
        ::fcntl(file, F_SETFD, FD_CLOEXEC);
    }
    ::dup2(inside.errors, STDERR_FILENO);
    ::close(inside.errors);
    logStyle() = {options.logTime, inside.log};
    const int reportFd = ::fcntl(inside.outside, F_DUPFD_CLOEXEC, 0);
    ::send(reportFd, &BEGUN, sizeof BEGUN, MSG_NOSIGNAL);
    const auto code = static_cast<unsigned char>(runDevice(options));
    ::send(reportFd, &code, sizeof code, MSG_NOSIGNAL);
    return code;
}

} // namespace ztsim
