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

struct LedAddress {
    LedAddress(const sockaddr* given, socklen_t givenSize) : address(given), size(givenSize)
    {
        constexpr socklen_t start = offsetof(sockaddr_un, sun_path);
        if (given == nullptr || size <= start || given->sa_family != AF_UNIX) {
            return;
        }
        char path[sizeof led.sun_path + 1] = "";
        std::memcpy(path, reinterpret_cast<const sockaddr_un*>(given)->sun_path,
                    std::min<std::size_t>(size - start, sizeof led.sun_path));
        const char* const to = ::led(path);
        if (to != path) {
            led.sun_family = AF_UNIX;
            std::strcpy(led.sun_path, to); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
            address = reinterpret_cast<const sockaddr*>(&led);
            size = sizeof led;
        }
    }

    sockaddr_un led{};
    const sockaddr* address;
    socklen_t size;
};

} // namespace

// Defines a call of the C library, which does that, knowing the library's own. Where open() gets no
// mode, what is in its place is passed on and not looked at.
#define DEFINE(RESULT, NAME, PARAMETERS, BODY)                                                     \
    extern "C" [[gnu::visibility("default")]] RESULT lead_##NAME PARAMETERS asm(#NAME);            \
    RESULT lead_##NAME PARAMETERS                                                                  \
    {                                                                                              \
        static const auto own = reinterpret_cast<RESULT(*) PARAMETERS>(::dlsym(RTLD_NEXT, #NAME)); \
        BODY;                                                                                      \
    }
#define LEAD(RESULT, NAME, PARAMETERS, ARGUMENTS)                                                  \
    DEFINE(RESULT, NAME, PARAMETERS, return own ARGUMENTS)
#define LEAD_ADDRESS(NAME)                                                                         \
    DEFINE(int, NAME, (int socket, const sockaddr* address, socklen_t size),                       \
           const LedAddress to(address, size);                                                     \
           return own(socket, to.address, to.size))

LEAD(int, open, (const char* path, int flags, mode_t mode), (led(path), flags, mode))
LEAD(int, open64, (const char* path, int flags, mode_t mode), (led(path), flags, mode))
LEAD(int, __open_2, (const char* path, int flags), (led(path), flags))
LEAD(int, __open64_2, (const char* path, int flags), (led(path), flags))
LEAD(int, openat, (int at, const char* path, int flags, mode_t mode), (at, led(path), flags, mode))
LEAD(int, openat64, (int at, const char* path, int flags, mode_t mode),
     (at, led(path), flags, mode))
LEAD(int, __openat_2, (int at, const char* path, int flags), (at, led(path), flags))
LEAD(int, __openat64_2, (int at, const char* path, int flags), (at, led(path), flags))
LEAD(std::FILE*, fopen, (const char* path, const char* mode), (led(path), mode))
LEAD(std::FILE*, fopen64, (const char* path, const char* mode), (led(path), mode))

LEAD(int, access, (const char* path, int mode), (led(path), mode))
LEAD(int, eaccess, (const char* path, int mode), (led(path), mode))
LEAD(int, euidaccess, (const char* path, int mode), (led(path), mode))
LEAD(int, faccessat, (int at, const char* path, int mode, int flags), (at, led(path), mode, flags))

LEAD(int, stat, (const char* path, void* status), (led(path), status))
LEAD(int, stat64, (const char* path, void* status), (led(path), status))
LEAD(int, __stat64_time64, (const char* path, void* status), (led(path), status))
LEAD(int, lstat, (const char* path, void* status), (led(path), status))
LEAD(int, lstat64, (const char* path, void* status), (led(path), status))
LEAD(int, __lstat64_time64, (const char* path, void* status), (led(path), status))
LEAD(int, fstatat, (int at, const char* path, void* status, int flags),
     (at, led(path), status, flags))
LEAD(int, fstatat64, (int at, const char* path, void* status, int flags),
     (at, led(path), status, flags))
LEAD(int, __fstatat64_time64, (int at, const char* path, void* status, int flags),
     (at, led(path), status, flags))
LEAD(int, __xstat, (int version, const char* path, void* status), (version, led(path), status))
LEAD(int, __xstat64, (int version, const char* path, void* status), (version, led(path), status))
LEAD(int, __lxstat, (int version, const char* path, void* status), (version, led(path), status))
LEAD(int, __lxstat64, (int version, const char* path, void* status), (version, led(path), status))
LEAD(int, __fxstatat, (int version, int at, const char* path, void* status, int flags),
     (version, at, led(path), status, flags))
LEAD(int, __fxstatat64, (int version, int at, const char* path, void* status, int flags),
     (version, at, led(path), status, flags))
LEAD(int, statx, (int at, const char* path, int flags, unsigned int mask, void* status),
     (at, led(path), flags, mask, status))

LEAD(ssize_t, getxattr, (const char* path, const char* name, void* value, std::size_t size),
     (led(path), name, value, size))
LEAD(ssize_t, lgetxattr, (const char* path, const char* name, void* value, std::size_t size),
     (led(path), name, value, size))
LEAD(ssize_t, listxattr, (const char* path, char* names, std::size_t size),
     (led(path), names, size))
LEAD(ssize_t, llistxattr, (const char* path, char* names, std::size_t size),
     (led(path), names, size))

LEAD_ADDRESS(connect)
LEAD_ADDRESS(bind)
