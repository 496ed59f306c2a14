// Preloaded into the programs on a device without namespaces: leads the paths of the device to its
// folder.
//
// It is in each of these programs, so it needs nothing but the C library. The calls are defined by
// their names in object files, for the headers rename and wrap some of them.

#include "DevicePaths.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

namespace {

using namespace ztsim;

struct Led {
    const char* from;
    char to[sizeof sockaddr_un::sun_path];
};

Led paths[] = {{POWER_SOCKET, ""},     {HEALTH_SOCKET, ""}, {EEPROM_DEVICE, ""},
               {EEPROM_ATTRIBUTE, ""}, {DROP_CACHES, ""},   {COMPACT_MEMORY, ""}};
bool isPrepared = false;

/// Before there are threads. Without a folder each path leads to itself.
[[gnu::constructor]] void prepare()
{
    const char* const root = std::getenv(ROOT_VARIABLE);
    for (Led& path : paths) {
        std::snprintf(path.to, sizeof path.to, "%s%s", root == nullptr ? "" : root, path.from);
    }
    isPrepared = true;
}

const char* led(const char* given)
{
    if (!isPrepared) { // the constructor of another library is the first
        prepare();
    }
    for (const Led& path : paths) {
        if (given != nullptr && std::strcmp(given, path.from) == 0) {
            return path.to;
        }
    }
    return given;
}

/// With the address that it leads to.
int callLed(int (*own)(int, const sockaddr*, socklen_t), int socket, const sockaddr* given,
            socklen_t size)
{
    constexpr socklen_t start = offsetof(sockaddr_un, sun_path);
    if (given == nullptr || size <= start || given->sa_family != AF_UNIX) {
        return own(socket, given, size);
    }
    sockaddr_un address{};
    char path[sizeof address.sun_path + 1] = "";
    std::memcpy(path, reinterpret_cast<const sockaddr_un*>(given)->sun_path,
                std::min<std::size_t>(size - start, sizeof address.sun_path));
    const char* const to = led(path);
    if (to == path) {
        return own(socket, given, size);
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, to, std::strlen(to));
    return own(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

} // namespace

// Defines a call of the C library that is that, where `own` is the library's. Where open() gets no
// mode, what is in its place is passed on and not looked at.
#define LEAD(RESULT, NAME, SYMBOL, PARAMETERS, CALL)                                               \
    extern "C" [[gnu::visibility("default")]] RESULT lead_##NAME PARAMETERS asm(SYMBOL);           \
    RESULT lead_##NAME PARAMETERS                                                                  \
    {                                                                                              \
        static const auto own =                                                                    \
            reinterpret_cast<decltype(&lead_##NAME)>(::dlsym(RTLD_NEXT, SYMBOL));                  \
        return (CALL);                                                                             \
    }

LEAD(int, open, "open", (const char* path, int flags, mode_t mode), own(led(path), flags, mode))
LEAD(int, open64, "open64", (const char* path, int flags, mode_t mode), own(led(path), flags, mode))
LEAD(int, openChecked, "__open_2", (const char* path, int flags), own(led(path), flags))
LEAD(int, open64Checked, "__open64_2", (const char* path, int flags), own(led(path), flags))
LEAD(int, openat, "openat", (int at, const char* path, int flags, mode_t mode),
     own(at, led(path), flags, mode))
LEAD(int, openat64, "openat64", (int at, const char* path, int flags, mode_t mode),
     own(at, led(path), flags, mode))
LEAD(int, openatChecked, "__openat_2", (int at, const char* path, int flags),
     own(at, led(path), flags))
LEAD(int, openat64Checked, "__openat64_2", (int at, const char* path, int flags),
     own(at, led(path), flags))
LEAD(std::FILE*, fopen, "fopen", (const char* path, const char* mode), own(led(path), mode))
LEAD(std::FILE*, fopen64, "fopen64", (const char* path, const char* mode), own(led(path), mode))

LEAD(int, access, "access", (const char* path, int mode), own(led(path), mode))
LEAD(int, eaccess, "eaccess", (const char* path, int mode), own(led(path), mode))
LEAD(int, euidaccess, "euidaccess", (const char* path, int mode), own(led(path), mode))
LEAD(int, faccessat, "faccessat", (int at, const char* path, int mode, int flags),
     own(at, led(path), mode, flags))

LEAD(int, stat, "stat", (const char* path, void* status), own(led(path), status))
LEAD(int, stat64, "stat64", (const char* path, void* status), own(led(path), status))
LEAD(int, stat64Time64, "__stat64_time64", (const char* path, void* status), own(led(path), status))
LEAD(int, lstat, "lstat", (const char* path, void* status), own(led(path), status))
LEAD(int, lstat64, "lstat64", (const char* path, void* status), own(led(path), status))
LEAD(int, lstat64Time64, "__lstat64_time64", (const char* path, void* status),
     own(led(path), status))
LEAD(int, fstatat, "fstatat", (int at, const char* path, void* status, int flags),
     own(at, led(path), status, flags))
LEAD(int, fstatat64, "fstatat64", (int at, const char* path, void* status, int flags),
     own(at, led(path), status, flags))
LEAD(int, fstatat64Time64, "__fstatat64_time64",
     (int at, const char* path, void* status, int flags), own(at, led(path), status, flags))
LEAD(int, xstat, "__xstat", (int version, const char* path, void* status),
     own(version, led(path), status))
LEAD(int, xstat64, "__xstat64", (int version, const char* path, void* status),
     own(version, led(path), status))
LEAD(int, lxstat, "__lxstat", (int version, const char* path, void* status),
     own(version, led(path), status))
LEAD(int, lxstat64, "__lxstat64", (int version, const char* path, void* status),
     own(version, led(path), status))
LEAD(int, fxstatat, "__fxstatat", (int version, int at, const char* path, void* status, int flags),
     own(version, at, led(path), status, flags))
LEAD(int, fxstatat64, "__fxstatat64",
     (int version, int at, const char* path, void* status, int flags),
     own(version, at, led(path), status, flags))
LEAD(int, statx, "statx", (int at, const char* path, int flags, unsigned int mask, void* status),
     own(at, led(path), flags, mask, status))

LEAD(ssize_t, getxattr, "getxattr",
     (const char* path, const char* name, void* value, std::size_t size),
     own(led(path), name, value, size))
LEAD(ssize_t, lgetxattr, "lgetxattr",
     (const char* path, const char* name, void* value, std::size_t size),
     own(led(path), name, value, size))
LEAD(ssize_t, listxattr, "listxattr", (const char* path, char* names, std::size_t size),
     own(led(path), names, size))
LEAD(ssize_t, llistxattr, "llistxattr", (const char* path, char* names, std::size_t size),
     own(led(path), names, size))

LEAD(int, connect, "connect", (int socket, const sockaddr* address, socklen_t size),
     callLed(own, socket, address, size))
LEAD(int, bind, "bind", (int socket, const sockaddr* address, socklen_t size),
     callLed(own, socket, address, size))
