#include "Sandbox.h"

#include "ControlSocket.h"
#include "Log.h"
#include "TextFile.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <spawn.h>
#include <string>
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

/// What connects the sandbox with the outside. The far ends are for the sandbox only.
struct Channels {
    int device = -1; ///< takes signal numbers, brings the exit code
    int farDevice = -1;
    int errors = -1; ///< brings what bubblewrap says on stderr
    int farErrors = -1;
    int ownErrors = -1; ///< the stderr for the inside
    int control = -1;   ///< listens for "ztsim ctl"; for the inside

    Channels();
    void closeFarEnds() const;
};

Channels::Channels()
{
    int ends[2];
    check(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), "socketpair");
    device = ends[0];
    farDevice = ends[1];
    check(::pipe(ends), "pipe");
    errors = ends[0];
    farErrors = ends[1];
    ownErrors = check(::dup(STDERR_FILENO), "dup");
    control = listenForControl();
    for (const int fd : {device, errors, farErrors}) {
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

void Channels::closeFarEnds() const
{
    for (const int fd : {farDevice, farErrors, ownErrors, control}) {
        ::close(fd);
    }
}

/// Makes /dev a directory of the sandbox's own, in which a device can be added to those of the
/// host.
void addDeviceFiles(std::vector<std::string>& command)
{
    command.insert(command.end(), {"--tmpfs", "/dev"});
    for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
        const std::string path = entry.path();
        if (entry.is_symlink()) {
            command.insert(command.end(),
                           {"--symlink", std::filesystem::read_symlink(entry.path()), path});
        } else if (path != Eeprom::DEVICE) {
            command.insert(command.end(), {"--dev-bind-try", path, path});
        }
    }
}

/// Gives the sandbox files of its own in the place of those through which a root of the host would
/// reach into the host's memory.
void addKernelFiles(std::vector<std::string>& command)
{
    for (const std::string path : {"/proc/sys/vm/drop_caches", "/proc/sys/vm/compact_memory"}) {
        if (std::filesystem::exists(path)) {
            // Bubblewrap reads the content from the descriptor, and closes it.
            const int nothing =
                check(::open("/dev/null", O_RDONLY), "/dev/null"); // NOLINT(android-cloexec-open)
            command.insert(command.end(), {"--bind-data", std::to_string(nothing), path});
        }
    }
}

std::vector<std::string> sandboxCommand(const Options& options, const Channels& channels)
{
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string run = std::filesystem::canonical("/var/run");
    const std::string bus = std::filesystem::canonical("/sys/bus");
    std::vector<std::string> command{"bwrap",
                                     "--die-with-parent",
                                     "--unshare-user",
                                     "--uid",
                                     "0",
                                     "--gid",
                                     "0",
                                     "--cap-add",
                                     "ALL",
                                     "--unshare-pid",
                                     "--as-pid-1",
                                     "--unshare-net",
                                     "--dev-bind",
                                     "/",
                                     "/",
                                     "--proc",
                                     "/proc",
                                     "--tmpfs",
                                     run,
                                     "--tmpfs",
                                     bus};
    addDeviceFiles(command);
    addKernelFiles(command);
    command.insert(command.end(), {"--", self, "--inside"});
    for (const int fd : {channels.farDevice, channels.ownErrors, channels.control,
                         options.scriptFile, options.recordFile}) {
        command.push_back(std::to_string(fd));
    }
    for (const std::string& field : options.fields) {
        command.push_back("--health-field=" + field);
    }
    return command;
}

/// Returns an errno value.
int spawn(std::vector<char*> command, int errors, pid_t& pid)
{
    command.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    const int error = posix_spawnp(&pid, command[0], &actions, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

pid_t startSandbox(const Options& options, const Channels& channels, int argc, char** argv)
{
    std::vector<std::string> sandbox = sandboxCommand(options, channels);
    std::vector<char*> command(sandbox.size());
    std::transform(sandbox.begin(), sandbox.end(), command.begin(),
                   [](std::string& text) { return text.data(); });
    command.insert(command.end(), argv + 1, argv + argc);
    pid_t pid = -1;
    const int error = spawn(std::move(command), channels.farErrors, pid);
    if (error == ENOENT) {
        throw std::runtime_error("there is no bwrap on the PATH: install the package bubblewrap");
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot run bwrap");
    }
    return pid;
}

/// A terminal sends these to its whole foreground process group, so COMMAND has got them already.
/// (A hang-up it tells the leader of the session only, which ztsim may be.)
bool isFromTerminal(const siginfo_t& signal)
{
    switch (signal.si_signo) {
    case SIGINT:
    case SIGQUIT:
    case SIGWINCH:
        return signal.si_code == SI_KERNEL;
    default:
        return false;
    }
}

/// Returns the wait status of the sandbox. All signals waited for are blocked.
int passSignals(const sigset_t& awaited, int device, pid_t sandbox)
{
    for (;;) {
        siginfo_t signal;
        const int number = ::sigwaitinfo(&awaited, &signal);
        if (number == SIGCHLD) {
            int status = 0;
            if (::waitpid(sandbox, &status, WNOHANG) == sandbox) {
                return status;
            }
        } else if (number > 0 && !isFromTerminal(signal)) {
            const auto message = static_cast<unsigned char>(number);
            ::send(device, &message, sizeof message, MSG_NOSIGNAL | MSG_DONTWAIT);
        }
    }
}

std::optional<int> receiveExitCode(int device)
{
    unsigned char code = 0;
    if (::read(device, &code, sizeof code) != sizeof code) {
        return std::nullopt;
    }
    return code;
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

void logFailure(const std::string& errors, int status)
{
    if (!errors.empty()) {
        log("cannot set up the sandbox: " + errors +
            " (if it is user namespaces that this host forbids, see the sysctls"
            " kernel.unprivileged_userns_clone and user.max_user_namespaces, or in a container its"
            " seccomp and AppArmor profiles)");
    } else if (WIFSIGNALED(status)) {
        log("bwrap was killed by signal " + std::to_string(WTERMSIG(status)));
    } else {
        log("bwrap ended with exit code " + std::to_string(WEXITSTATUS(status)));
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

} // namespace

int runOutside(const Options& options, int argc, char** argv)
{
    sigset_t awaited = passedSignals();
    sigaddset(&awaited, SIGCHLD);
    std::signal(SIGCHLD, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, &awaited, nullptr);

    const Channels channels;
    const pid_t sandbox = startSandbox(options, channels, argc, argv);
    channels.closeFarEnds();
    const int status = passSignals(awaited, channels.device, sandbox);
    takeBackTerminal();
    if (const auto exitCode = receiveExitCode(channels.device)) {
        return *exitCode;
    }
    logFailure(readErrors(channels.errors), status);
    return FAILED;
}

} // namespace ztsim
