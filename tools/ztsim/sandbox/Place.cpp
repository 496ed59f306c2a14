#include "Place.h"

#include "DevicePaths.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ztsim {
namespace {

namespace fs = std::filesystem;

const char* const FILES[] = {POWER_SOCKET, HEALTH_SOCKET, EEPROM_DEVICE};

/// For an address of a socket below it, and as a part of LD_PRELOAD.
bool isSuitable(const std::string& folder)
{
    constexpr std::size_t longest = 60;
    return folder.size() <= longest && folder.find_first_of(" :") == std::string::npos;
}

std::string temporaryFolder()
{
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    return error || !isSuitable(folder) ? "/tmp" : folder.string();
}

/// Of a folder that is not there yet: nobody would remove it if ztsim were killed before the inside
/// has begun.
std::string newRoot()
{
    std::random_device random;
    return temporaryFolder() + "/ztsim-" + std::to_string(::getpid()) + '-' +
           std::to_string(random());
}

/// With the folders of the device, and the files that the kernel has there.
void makeRoot(const std::string& root)
{
    if (::mkdir(root.c_str(), S_IRWXU) < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + root);
    }
    for (const char* path : {POWER_SOCKET, EEPROM_DEVICE, EEPROM_ATTRIBUTE, DROP_CACHES}) {
        fs::create_directories(fs::path(root + path).parent_path());
    }
    std::ofstream(root + DROP_CACHES);    // NOLINT(bugprone-unused-raii)
    std::ofstream(root + COMPACT_MEMORY); // NOLINT(bugprone-unused-raii)
}

/// The lock goes with the descriptor.
int lockRealPaths()
{
    const int lock = ::open("/var/run", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot open /var/run");
    }
    if (::flock(lock, LOCK_EX | LOCK_NB) < 0) {
        ::close(lock);
        throw std::runtime_error("another device is on this machine already");
    }
    for (const char* path : FILES) {
        if (fs::exists(fs::symlink_status(path))) {
            ::close(lock);
            throw std::runtime_error(std::string("there is ") + path +
                                     " on this machine already: it is not overwritten");
        }
    }
    return lock;
}

} // namespace

Place::Place(Way way)
    : root(way == Way::Machine ? "" : newRoot()), lock(way == Way::Machine ? lockRealPaths() : -1)
{}

Place::Place(const std::string& root) : root(root)
{
    if (!root.empty()) {
        makeRoot(root);
    }
}

Place::~Place()
{
    std::error_code ignored;
    if (!root.empty()) {
        fs::remove_all(root, ignored);
        return;
    }
    for (const char* path : FILES) {
        fs::remove(path, ignored);
    }
    ::close(lock);
}

} // namespace ztsim
