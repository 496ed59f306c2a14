// The hardened headers would put their checked versions in the place of what is defined here.
#undef _FORTIFY_SOURCE

#include "support/Interpose.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/utsname.h>
#include <unistd.h>

bool isSanitizer(const void* address)
{
    Dl_info info{};
    if (dladdr(address, &info) == 0) {
        return false;
    }
    // clang's, and g++'s
    return std::strstr(info.dli_fname, "libclang_rt.") != nullptr ||
           std::strstr(info.dli_fname, "san.so") != nullptr;
}

// Defines the object that tests use and the C function that everybody calls, whose arguments come
// last. Both work before any constructor has run: the object's is constexpr.
#define INTERPOSE(result, name, parameters, specifier, ...)                                        \
    namespace interposed {                                                                         \
    InterposedCall<result parameters> name{#name};                                                 \
    }                                                                                              \
    extern "C" result name parameters specifier                                                    \
    {                                                                                              \
        return interposed::name.callFrom(__builtin_return_address(0), __VA_ARGS__);                \
    }

// clang-format off
INTERPOSE(int, accept, (int fd, sockaddr* from, socklen_t* size), , fd, from, size)
INTERPOSE(int, bind, (int fd, const sockaddr* name, socklen_t size), noexcept, fd, name, size)
INTERPOSE(int, clock_gettime, (clockid_t clock, timespec* time), noexcept, clock, time)
INTERPOSE(int, close, (int fd), , fd)
INTERPOSE(int, closedir, (DIR* stream), , stream)
INTERPOSE(int, connect, (int fd, const sockaddr* to, socklen_t size), , fd, to, size)
INTERPOSE(unsigned long, crc32, (unsigned long seed, const unsigned char* bytes, unsigned int size), ,
          seed, bytes, size)
INTERPOSE(int, epoll_create1, (int flags), noexcept, flags)
INTERPOSE(int, epoll_wait, (int poller, epoll_event* events, int count, int timeout), , poller, events, count,
          timeout)
INTERPOSE(int, eventfd, (unsigned int start, int flags), noexcept, start, flags)
INTERPOSE(int, fclose, (std::FILE* file), , file)
INTERPOSE(std::FILE*, fopen64, (const char* path, const char* mode), , path, mode)
INTERPOSE(int, fsync, (int fd), , fd)
INTERPOSE(size_t, fwrite, (const void* data, size_t size, size_t count, std::FILE* file), , data, size,
          count, file)
INTERPOSE(int, gettimeofday, (timeval* time, void* zone), noexcept, time, zone)
INTERPOSE(int, listen, (int fd, int backlog), noexcept, fd, backlog)
INTERPOSE(int, nanosleep, (const timespec* request, timespec* rest), , request, rest)
INTERPOSE(int, pclose, (std::FILE* stream), , stream)
INTERPOSE(DIR*, opendir, (const char* path), , path)
INTERPOSE(int, pipe, (int* fds), noexcept, fds)
INTERPOSE(int, poll, (pollfd* fds, nfds_t count, int timeout), , fds, count, timeout)
INTERPOSE(std::FILE*, popen, (const char* command, const char* type), , command, type)
INTERPOSE(int, pthread_cond_init, (pthread_cond_t* condition, const pthread_condattr_t* attributes),
          noexcept, condition, attributes)
INTERPOSE(int, pthread_cond_timedwait,
          (pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline), ,
          condition, mutex, deadline)
INTERPOSE(int, pthread_cond_wait, (pthread_cond_t* condition, pthread_mutex_t* mutex), , condition,
          mutex)
INTERPOSE(int, pthread_create,
          (pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument),
          noexcept, thread, attributes, start, argument)
INTERPOSE(int, pthread_getschedparam, (pthread_t thread, int* policy, sched_param* parameter), noexcept,
          thread, policy, parameter)
INTERPOSE(int, pthread_mutex_destroy, (pthread_mutex_t* mutex), noexcept, mutex)
INTERPOSE(int, pthread_mutex_init, (pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes),
          noexcept, mutex, attributes)
INTERPOSE(int, pthread_mutex_lock, (pthread_mutex_t* mutex), noexcept, mutex)
INTERPOSE(int, pthread_mutex_unlock, (pthread_mutex_t* mutex), noexcept, mutex)
INTERPOSE(int, pthread_setname_np, (pthread_t thread, const char* name), noexcept, thread, name)
INTERPOSE(int, pthread_setschedparam, (pthread_t thread, int policy, const sched_param* parameter),
          noexcept, thread, policy, parameter)
INTERPOSE(ssize_t, read, (int fd, void* buffer, size_t size), , fd, buffer, size)
INTERPOSE(dirent64*, readdir64, (DIR* stream), , stream)
INTERPOSE(ssize_t, recv, (int fd, void* buffer, size_t size, int flags), , fd, buffer, size, flags)
INTERPOSE(int, select, (int count, fd_set* in, fd_set* out, fd_set* except, timeval* timeout), ,
          count, in, out, except, timeout)
INTERPOSE(ssize_t, send, (int fd, const void* buffer, size_t size, int flags), , fd, buffer, size,
          flags)
INTERPOSE(int, setsockopt, (int fd, int level, int option, const void* value, socklen_t size),
          noexcept, fd, level, option, value, size)
INTERPOSE(int, sigaction, (int signal, const struct sigaction* action, struct sigaction* before), noexcept,
          signal, action, before)
INTERPOSE(int, socket, (int domain, int type, int protocol), noexcept, domain, type, protocol)
INTERPOSE(int, sysinfo, (struct sysinfo * info), noexcept, info)
INTERPOSE(int, system, (const char* command), , command)
INTERPOSE(int, timerfd_create, (int clock, int flags), noexcept, clock, flags)
INTERPOSE(int, timerfd_settime, (int fd, int flags, const itimerspec* time, itimerspec* before), noexcept, fd,
          flags, time, before)
INTERPOSE(int, uname, (utsname * system), noexcept, system)
INTERPOSE(mode_t, umask, (mode_t mask), noexcept, mask)
INTERPOSE(int, unlink, (const char* path), noexcept, path)
INTERPOSE(ssize_t, write, (int fd, const void* buffer, size_t size), , fd, buffer, size)
// clang-format on

namespace interposed {
InterposedCall<int(int, unsigned long, void*)> ioctl{"ioctl"};
InterposedCall<int(const char*, int, mode_t)> open64{"open64"};
InterposedCall<void()> sync{"sync"};
} // namespace interposed

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*); // whatever it is, where none was given
    va_end(arguments);
    return interposed::ioctl.callFrom(__builtin_return_address(0), fd, request, argument);
}

extern "C" void sync() noexcept
{
    interposed::sync.callFrom(__builtin_return_address(0));
}

extern "C" int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t); // whatever it is, where none was given
    va_end(arguments);
    return interposed::open64.callFrom(__builtin_return_address(0), path, flags, mode);
}

// What a hardened build calls instead when the compiler cannot tell whether the buffer suffices.

extern "C" int __open64_2(const char* path, int flags)
{
    return open64(path, flags);
}

extern "C" ssize_t __read_chk(int fd, void* buffer, size_t size, size_t)
{
    return read(fd, buffer, size);
}

extern "C" ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t, int flags)
{
    return recv(fd, buffer, size, flags);
}

extern "C" int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t)
{
    return poll(fds, count, timeout);
}
