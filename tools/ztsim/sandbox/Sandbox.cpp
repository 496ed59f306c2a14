#include "Sandbox.h"

#include "ControlSocket.h"
#include "Log.h"
#include "TextFile.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
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

/// What connects the sandbox with the outside. The far ends are for the sandbox only, which
/// inherits what it is told of and nothing else of ours.
struct Channels {
    int device = -1; ///< takes signal numbers, brings the exit code
    int farDevice = -1;
    int errors = -1; ///< brings what bubblewrap says on stderr
    int farErrors = -1;
    int ownErrors = -1; ///< the stderr for the inside
    int control = -1;   ///< listens for "ztsim ctl"; for the inside

    explicit Channels(const std::string& name);
    void closeFarEnds() const;
};

Channels::Channels(const std::string& name)
{
    int ends[2];
    check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "socketpair");
    device = ends[0];
    farDevice = ends[1];
    check(::pipe2(ends, O_CLOEXEC), "pipe");
    errors = ends[0];
    farErrors = ends[1];
    ownErrors = check(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0), "dup");
    control = listenForControl(name);
}

void Channels::closeFarEnds() const
{
    for (const int fd : {farDevice, farErrors, ownErrors, control}) {
        ::close(fd);
    }
}

/// What is run in the sandbox's place, and the descriptors that it gets.
struct Invocation {
    std::vector<std::string> words;
    std::vector<int> files;

    void add(const std::vector<std::string>& more)
    {
        words.insert(words.end(), more.begin(), more.end());
    }

    /// -1 is none.
    void addFile(int file)
    {
        words.push_back(std::to_string(file));
        if (file >= 0) {
            files.push_back(file);
        }
    }
};

/// Makes /dev a directory of the sandbox's own, in which a device can be added to those of the
/// host.
void addDeviceFiles(Invocation& invocation)
{
    invocation.add({"--tmpfs", "/dev"});
    for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
        const std::string path = entry.path();
        if (entry.is_symlink()) {
            invocation.add({"--symlink", std::filesystem::read_symlink(entry.path()), path});
        } else if (path != Eeprom::DEVICE) {
            invocation.add({"--dev-bind-try", path, path});
        }
    }
}

/// Gives the sandbox files of its own in the place of those through which a root of the host would
/// reach into the host's memory.
void addKernelFiles(Invocation& invocation)
{
    for (const std::string path : {"/proc/sys/vm/drop_caches", "/proc/sys/vm/compact_memory"}) {
        if (std::filesystem::exists(path)) {
            // Bubblewrap reads the content from the descriptor, and closes it.
            invocation.add({"--bind-data"});
            invocation.addFile(check(::open("/dev/null", O_RDONLY | O_CLOEXEC), "/dev/null"));
            invocation.add({path});
        }
    }
}

/// Without symbolic links. Bubblewrap would make what is not there, on the host.
std::string folder(const char* path, const char* advice)
{
    if (!std::filesystem::is_directory(path)) {
        throw std::runtime_error(std::string("there is no folder ") + path + " here: " + advice);
    }
    return std::filesystem::canonical(path);
}

Invocation sandbox(const Options& options, const Channels& channels)
{
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string run = folder("/var/run", "make it");
    const std::string bus = folder("/sys/bus", "mount /sys (mount -t sysfs sysfs /sys)");
    Invocation invocation;
    invocation.add({"bwrap", "--die-with-parent", "--unshare-user", "--uid", "0", "--gid", "0"});
    invocation.add({"--cap-add", "ALL", "--unshare-pid", "--as-pid-1", "--unshare-net"});
    invocation.add({"--dev-bind", "/", "/", "--proc", "/proc", "--tmpfs", run, "--tmpfs", bus});
    addDeviceFiles(invocation);
    addKernelFiles(invocation);
    invocation.add({"--", self, "--inside"});
    for (const int file :
         {channels.farDevice, channels.ownErrors, channels.control, options.scriptFile,
          options.recordFile, options.logFile, options.captureFile, options.webSocket}) {
        invocation.addFile(file);
    }
    for (const int file : {options.readyFile, options.lifeline}) {
        if (file >= 0) {
            invocation.files.push_back(file);
        }
    }
    for (const std::string& field : options.fields) {
        invocation.add({"--health-field=" + field});
    }
    return invocation;
}

/// Returns an errno value.
int spawn(std::vector<char*> command, const std::vector<int>& files, int errors, pid_t& pid)
{
    command.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    for (const int file : files) {
        posix_spawn_file_actions_adddup2(&actions, file, file); // is then inherited
    }
    const int error = posix_spawnp(&pid, command[0], &actions, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

pid_t startSandbox(const Options& options, const Channels& channels, int argc, char** argv)
{
    Invocation invocation = sandbox(options, channels);
    std::vector<char*> command(invocation.words.size());
    std::transform(invocation.words.begin(), invocation.words.end(), command.begin(),
                   [](std::string& text) { return text.data(); });
    command.insert(command.end(), argv + 1, argv + argc);
    pid_t pid = -1;
    const int error = spawn(std::move(command), invocation.files, channels.farErrors, pid);
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

/// As far as it can be told: a root that is just some folder has no file system mounted on it.
bool isChroot()
{
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string before;
        std::string place;
        fields >> before >> before >> before >> before >> place;
        if (place == "/") {
            return false;
        }
    }
    return true;
}

void logFailure(const std::string& errors, int status)
{
    if (!errors.empty() && isChroot()) {
        log("cannot set up the sandbox in a chroot, where there are no user namespaces: run ztsim "
            "outside of it (" +
            errors + ')');
    } else if (!errors.empty()) {
        log("cannot set up the sandbox: " + errors +
            " (if it is user namespaces that this host forbids, see the sysctls"
            " kernel.unprivileged_userns_clone and user.max_user_namespaces, in a container its"
            " seccomp and AppArmor profiles, and whether this is a chroot)");
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

    const Channels channels(options.name);
    const pid_t sandbox = startSandbox(options, channels, argc, argv);
    channels.closeFarEnds();
    ::close(options.readyFile); // -1 does no harm
    const int status = passSignals(awaited, channels.device, sandbox);
    takeBackTerminal();
    if (const auto exitCode = receiveExitCode(channels.device)) {
        return *exitCode;
    }
    logFailure(readErrors(channels.errors), status);
    return FAILED;
}

} // namespace ztsim
