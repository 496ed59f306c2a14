#include "Preloading.h"

#include "DevicePaths.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <link.h>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace ztsim {
namespace {

namespace fs = std::filesystem;

/// As posix_spawnp() looks for it.
std::optional<std::string> find(const std::string& command)
{
    if (command.find('/') != std::string::npos) {
        return command;
    }
    std::istringstream folders(std::getenv("PATH"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::string path = (folder.empty() ? "." : folder) + '/' + command;
        std::error_code closed; // folders are passed over
        if (fs::is_regular_file(path, closed) && ::access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return std::nullopt;
}

/// Of zeros, as far as the file does not go.
template <typename Header>
Header headerOf(std::ifstream& file, std::streamoff place)
{
    Header header{};
    file.seekg(place);
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    return header;
}

bool isStatic(std::ifstream& file, const ElfW(Ehdr) & elf)
{
    for (unsigned int index = 0; index < elf.e_phnum; ++index) {
        const auto place = static_cast<std::streamoff>(elf.e_phoff + index * sizeof(ElfW(Phdr)));
        if (headerOf<ElfW(Phdr)>(file, place).p_type == PT_INTERP) {
            return false;
        }
    }
    return true;
}

/// Whether the system starts it with other rights than ours, and lets nobody preload into it.
bool isPrivileged(const std::string& path)
{
    struct stat status = {};
    if (::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1 || ::stat(path.c_str(), &status) < 0) {
        return false;
    }
    return ((status.st_mode & S_ISUID) != 0 && status.st_uid != ::geteuid()) ||
           ((status.st_mode & S_ISGID) != 0 && status.st_gid != ::getegid()) ||
           (::geteuid() != 0 && ::getxattr(path.c_str(), "security.capability", nullptr, 0) > 0);
}

/// Of a script the interpreter, which may be a script, too.
std::string loadedFor(std::string path)
{
    constexpr int depth = 4; // of the system
    for (int level = 0; level < depth; ++level) {
        std::ifstream file(path);
        std::string start(2, '\0');
        file.read(start.data(), 2);
        if (start != "#!" || !(file >> start)) {
            break;
        }
        path = start;
    }
    return path;
}

/// Why it cannot be served, or nothing.
std::string obstacle(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const auto elf = headerOf<ElfW(Ehdr)>(file, 0);
    std::ifstream own("/proc/self/exe", std::ios::binary);
    const auto ours = headerOf<ElfW(Ehdr)>(own, 0);
    if (std::memcmp(elf.e_ident, ELFMAG, SELFMAG) != 0) {
        return ""; // whatever it is, it is not for the system to load
    }
    if (elf.e_ident[EI_CLASS] != ours.e_ident[EI_CLASS] || elf.e_machine != ours.e_machine) {
        return "it is for another processor";
    }
    if (isPrivileged(path)) {
        return "it has rights of its own (setuid)";
    }
    return isStatic(file, elf) ? "it is statically linked" : "";
}

/// Beside the folder of ztsim.
fs::path preloadedLibrary()
{
    const fs::path own = fs::read_symlink("/proc/self/exe");
    fs::path library = own.parent_path().parent_path() / "lib/ztsim/libztsim_preload.so";
    if (!fs::exists(library)) {
        throw std::runtime_error("there is no " + library.string() + ": install it with ztsim");
    }
    return library;
}

void prepend(const char* variable, const std::string& value, char separator)
{
    const char* const given = std::getenv(variable);
    const std::string more =
        given == nullptr || *given == '\0' ? "" : separator + std::string(given);
    ::setenv(variable, (value + more).c_str(), 1);
}

} // namespace

void preloadFor(const std::string& root, const std::string& command)
{
    if (const auto path = find(command)) {
        const std::string program = loadedFor(*path);
        const std::string reason = obstacle(program);
        if (!reason.empty()) {
            throw std::runtime_error("cannot serve " + program + " without namespaces: " + reason +
                                     " (root of a throw-away container may use --way machine)");
        }
    }
    const std::string link = root + "/preload.so"; // of a path without blanks
    fs::create_symlink(preloadedLibrary(), link);
    prepend("LD_PRELOAD", link, ':');
    // Or else a program with AddressSanitizer, which wants to be the first, refuses to start.
    prepend("ASAN_OPTIONS", "verify_asan_link_order=0", ':');
    ::setenv(ROOT_VARIABLE, root.c_str(), 1);
}

} // namespace ztsim
