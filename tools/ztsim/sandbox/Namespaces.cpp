#include "Namespaces.h"

#include "DevicePaths.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace ztsim {
namespace {

/// Makes /dev a directory of the sandbox's own, in which a device can be added to those of the
/// host.
void addDeviceFiles(Invocation& invocation)
{
    invocation.add({"--tmpfs", "/dev"});
    for (const auto& entry : std::filesystem::directory_iterator("/dev")) {
        const std::string path = entry.path();
        if (entry.is_symlink()) {
            invocation.add({"--symlink", std::filesystem::read_symlink(entry.path()), path});
        } else if (path != EEPROM_DEVICE) {
            invocation.add({"--dev-bind-try", path, path});
        }
    }
}

/// Bubblewrap reads the content from the descriptor, and closes it.
int openEmpty()
{
    const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
    return file;
}

/// Gives the sandbox files of its own in the place of those through which a root of the host would
/// reach into the host's memory.
void addKernelFiles(Invocation& invocation)
{
    for (const char* path : {DROP_CACHES, COMPACT_MEMORY}) {
        if (std::filesystem::exists(path)) {
            invocation.add({"--bind-data"});
            invocation.addFile(openEmpty());
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

} // namespace

Invocation inNamespaces(const Invocation& inside)
{
    const std::string run = folder("/var/run", "make it");
    const std::string bus = folder("/sys/bus", "mount /sys (mount -t sysfs sysfs /sys)");
    Invocation invocation;
    invocation.add({BUBBLEWRAP, "--die-with-parent", "--unshare-user", "--uid", "0", "--gid", "0"});
    invocation.add({"--cap-add", "ALL", "--unshare-pid", "--as-pid-1", "--unshare-net"});
    invocation.add({"--dev-bind", "/", "/", "--proc", "/proc", "--tmpfs", run, "--tmpfs", bus});
    addDeviceFiles(invocation);
    addKernelFiles(invocation);
    invocation.add({"--"});
    invocation.add(inside.words);
    invocation.files.insert(invocation.files.end(), inside.files.begin(), inside.files.end());
    return invocation;
}

std::string explainRefusal(const std::string& errors)
{
    return isChroot()
               ? "cannot set up the sandbox in a chroot, where there are no user namespaces: run "
                 "ztsim outside of it (" +
                     errors + ')'
               : "cannot set up the sandbox: " + errors +
                     " (if it is user namespaces that this host forbids, see the sysctls"
                     " kernel.unprivileged_userns_clone and user.max_user_namespaces, in a "
                     "container"
                     " its seccomp and AppArmor profiles, and whether this is a chroot)";
}

} // namespace ztsim
