#include "Sandbox.h"

#include "ControlSocket.h"
#include "Descendants.h"
#include "Device.h"
#include "DevicePaths.h"
#include "Log.h"
#include "Namespaces.h"
#include "Place.h"
#include "TextFile.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace ztsim {
namespace {

int check(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/// All but those of faults, of job control and of children.
sigset_t passedSignals()
{
    sigset_t signals;
    sigfillset(&signals);
    for (const int own : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP, SIGPIPE,
                          SIGCONT, SIGTSTP, SIGTTIN, SIGTTOU, SIGCHLD}) {
        sigdelset(&signals, own);
    }
    return signals;
}

/// Blocks those and returns a descriptor that brings them.
int openSignals()
{
    sigset_t awaited = passedSignals();
    sigaddset(&awaited, SIGCHLD);
    std::signal(SIGCHLD, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, &awaited, nullptr);
    return check(::signalfd(-1, &awaited, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

/// A terminal sends these to its whole foreground process group, so COMMAND has got them already.
/// (A hang-up it tells the leader of the session only, which ztsim may be.)
bool isFromTerminal(const signalfd_siginfo& signal)
{
    switch (signal.ssi_signo) {
    case SIGINT:
    case SIGQUIT:
    case SIGWINCH:
        return signal.ssi_code == SI_KERNEL;
    default:
        return false;
    }
}

/// In one line.
std::string readErrors(int fd)
{
    std::string text = readAll(fd);
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// How what was to run the inside has ended.
struct End {
    bool hasBegun = false; ///< the inside
    std::optional<int> exitCode;
    int status = 0;
    std::string errors; ///< what it said on stderr
};

/// The outside of the device. The inside inherits what it is told of and nothing else of ours.
class Outside {
public:
    Outside(const Options& options, char** arguments);

    /// This program again.
    Invocation inside(const char* way, const std::string& root) const;

    /// Passes signals on to the inside up to the end. As long as the inside has not begun, another
    /// invocation may be tried.
    End run(Invocation invocation);

private:
    std::optional<unsigned char> receive() const;
    void closeFarEnds() const;
    int await(pid_t process, End& end) const;
    void passSignal(const signalfd_siginfo& signal) const;

    const Options& options;
    char** const arguments;
    int signals;
    int device = -1; ///< takes signal numbers, brings what the inside says
    int farDevice = -1;
    int ownErrors = -1; ///< the stderr for the inside
    int control = -1;   ///< listens for "ztsim ctl"; for the inside
};

Outside::Outside(const Options& options, char** arguments)
    : options(options), arguments(arguments), signals(openSignals())
{
    int ends[2];
    check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "socketpair");
    device = ends[0];
    farDevice = ends[1];
    ownErrors = check(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0), "dup");
    control = listenForControl(options.name);
}

Invocation Outside::inside(const char* way, const std::string& root) const
{
    Invocation invocation;
    invocation.add({std::filesystem::read_symlink("/proc/self/exe"), "--inside"});
    for (const int file : {farDevice, ownErrors, control, options.scriptFile, options.recordFile,
                           options.logFile, options.captureFile, options.webSocket}) {
        invocation.addFile(file);
    }
    invocation.add({way, root});
    for (const int file : {options.readyFile, options.lifeline}) {
        invocation.inherit(file);
    }
    for (const std::string& field : options.fields) {
        invocation.add({"--health-field=" + field});
    }
    for (char** argument = arguments; *argument != nullptr; ++argument) {
        invocation.add({*argument});
    }
    return invocation;
}

/// Returns an errno value.
int spawn(Invocation& invocation, int errors, pid_t& pid)
{
    std::vector<char*> command(invocation.words.size() + 1);
    std::transform(invocation.words.begin(), invocation.words.end(), command.begin(),
                   [](std::string& text) { return text.data(); });
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    for (const int file : invocation.files) {
        posix_spawn_file_actions_adddup2(&actions, file, file); // is then inherited
    }
    const int error = posix_spawnp(&pid, command[0], &actions, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

End Outside::run(Invocation invocation)
{
    int errors[2];
    check(::pipe2(errors, O_CLOEXEC), "pipe");
    pid_t process = -1;
    const int error = spawn(invocation, errors[1], process);
    ::close(errors[1]);
    if (error == ENOENT && invocation.words.front() == BUBBLEWRAP) {
        throw std::runtime_error("there is no bwrap on the PATH: install the package bubblewrap");
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(),
                                "cannot run " + invocation.words.front());
    }
    End end;
    end.status = await(process, end);
    if (end.hasBegun) {
        end.exitCode = receive();
    } else {
        end.errors = readErrors(errors[0]);
    }
    ::close(errors[0]);
    return end;
}

/// What the inside has said, as far as it has.
std::optional<unsigned char> Outside::receive() const
{
    unsigned char said = 0;
    return ::recv(device, &said, sizeof said, MSG_DONTWAIT) == sizeof said ? std::optional(said)
                                                                           : std::nullopt;
}

/// The inside has them now.
void Outside::closeFarEnds() const
{
    for (const int fd : {farDevice, ownErrors, control, options.readyFile}) {
        ::close(fd); // -1 does no harm
    }
}

/// Returns the wait status.
int Outside::await(pid_t process, End& end) const
{
    pollfd awaited[] = {{signals, POLLIN, 0}, {device, POLLIN, 0}};
    for (;;) {
        ::poll(awaited, 2, -1);
        if (!end.hasBegun && receive()) {
            end.hasBegun = true;
            awaited[1].fd = -1; // what comes next is the end
            closeFarEnds();
        }
        signalfd_siginfo signal{};
        int status = 0;
        if (::read(signals, &signal, sizeof signal) != sizeof signal) {
            continue;
        }
        if (signal.ssi_signo != SIGCHLD) {
            passSignal(signal);
        } else if (::waitpid(process, &status, WNOHANG) == process) {
            end.hasBegun = end.hasBegun || receive();
            return status;
        }
    }
}

void Outside::passSignal(const signalfd_siginfo& signal) const
{
    if (!isFromTerminal(signal)) {
        const auto message = static_cast<unsigned char>(signal.ssi_signo);
        ::send(device, &message, sizeof message, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
}

/// An interactive COMMAND gives the terminal to a process group that ends with the device.
void takeBackTerminal()
{
    const int terminal = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    const pid_t foreground = ::tcgetpgrp(terminal);
    if (foreground > 0 && ::kill(-foreground, 0) < 0 && errno == ESRCH) {
        std::signal(SIGTTOU, SIG_IGN);
        ::tcsetpgrp(terminal, ::getpgrp());
    }
}

int exitCodeOf(const End& end, const char* process)
{
    if (end.exitCode) {
        return *end.exitCode;
    }
    if (!end.errors.empty()) {
        log(explainRefusal(end.errors));
    } else if (WIFSIGNALED(end.status)) {
        log(std::string(process) + " was killed by signal " + std::to_string(WTERMSIG(end.status)));
    } else {
        log(std::string(process) + " ended with exit code " +
            std::to_string(WEXITSTATUS(end.status)));
    }
    return FAILED;
}

int runWithoutNamespaces(Outside& outside, Way way)
{
    const Place place(way);
    adoptOrphans();
    const auto others = children(); // of whoever became ztsim
    const End end =
        outside.run(outside.inside(way == Way::Preload ? "preload" : "machine", place.root));
    if (!end.exitCode) {
        killDescendants(others);
    }
    return exitCodeOf(end, "the device");
}

int run(Outside& outside, std::optional<Way> way)
{
    if (way.value_or(Way::Namespaces) != Way::Namespaces) {
        return runWithoutNamespaces(outside, *way);
    }
    const End end = outside.run(inNamespaces(outside.inside("namespaces", "")));
    if (way || end.hasBegun || end.errors.empty()) {
        return exitCodeOf(end, BUBBLEWRAP);
    }
    log("no namespaces here (" + end.errors.substr(0, end.errors.find(',')) +
        "): the device has no eth0, and its processes, user and network are those of this machine");
    return runWithoutNamespaces(outside, Way::Preload);
}

} // namespace

int runOutside(const Options& options, char** arguments)
{
    // This device is another than the one that ztsim itself may be on.
    ::unsetenv(ROOT_VARIABLE);
    ::unsetenv(DEVICE_VARIABLE);
    Outside outside(options, arguments);
    const int exitCode = run(outside, options.way);
    takeBackTerminal();
    return exitCode;
}

} // namespace ztsim
