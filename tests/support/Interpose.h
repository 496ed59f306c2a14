#ifndef ZT_TESTS_INTERPOSE_H
#define ZT_TESTS_INTERPOSE_H

#include <atomic>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <functional>
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <utility>

/// Calls of the C library that a test can take over, in the libraries too:
///
///     Interpose refused(interposed::connect, [](auto...) { errno = ECONNREFUSED; return -1; });
///
/// takes connect() over until `refused` goes out of scope. The substitute may be called from any
/// thread; it reaches the real call as interposed::connect.real(...).
template <class Signature>
class InterposedCall;

/// Whether code at this address is a sanitizer's own, which needs the real calls.
bool isSanitizer(const void* address);

template <class Result, class... Arguments>
class InterposedCall<Result(Arguments...)> {
public:
    using Function = std::function<Result(Arguments...)>;

    constexpr explicit InterposedCall(const char* name) : name(name) {}

    Result real(Arguments... arguments)
    {
        return reinterpret_cast<Result (*)(Arguments...)>(find())(arguments...);
    }

    Result callFrom(const void* caller, Arguments... arguments)
    {
        const Function* taken = substitute;
        return taken == nullptr || isSanitizer(caller) ? real(arguments...)
                                                       : (*taken)(arguments...);
    }

    std::atomic<const Function*> substitute{nullptr};

private:
    void* find()
    {
        void* symbol = found;
        if (symbol == nullptr) {
            symbol = dlsym(RTLD_NEXT, name);
            found = symbol;
        }
        return symbol;
    }

    const char* name;
    std::atomic<void*> found{nullptr};
};

template <class Signature>
class Interpose {
public:
    Interpose(InterposedCall<Signature>& call, std::function<Signature> substitute)
        : call(call), substitute(std::move(substitute))
    {
        call.substitute = &this->substitute;
    }

    ~Interpose() { call.substitute = nullptr; }

    Interpose(const Interpose&) = delete;
    Interpose& operator=(const Interpose&) = delete;

private:
    InterposedCall<Signature>& call;
    const std::function<Signature> substitute;
};

template <class Signature, class Substitute>
Interpose(InterposedCall<Signature>&, Substitute) -> Interpose<Signature>;

struct epoll_event;
struct sysinfo;
struct utsname;

namespace interposed {

extern InterposedCall<int(int, sockaddr*, socklen_t*)> accept;
extern InterposedCall<int(int, const sockaddr*, socklen_t)> bind;
extern InterposedCall<int(clockid_t, timespec*)> clock_gettime;
extern InterposedCall<int(int)> close;
extern InterposedCall<int(DIR*)> closedir;
extern InterposedCall<int(int, const sockaddr*, socklen_t)> connect;
extern InterposedCall<unsigned long(unsigned long, const unsigned char*, unsigned int)> crc32;
extern InterposedCall<int(int)> epoll_create1;
extern InterposedCall<int(int, epoll_event*, int, int)> epoll_wait;
extern InterposedCall<int(unsigned int, int)> eventfd;
extern InterposedCall<int(std::FILE*)> fclose;
extern InterposedCall<std::FILE*(const char*, const char*)> fopen64;
extern InterposedCall<int(int)> fsync;
extern InterposedCall<size_t(const void*, size_t, size_t, std::FILE*)> fwrite;
extern InterposedCall<int(timeval*, void*)> gettimeofday;
extern InterposedCall<int(int, unsigned long, void*)> ioctl;
extern InterposedCall<int(int, int)> listen;
extern InterposedCall<int(const timespec*, timespec*)> nanosleep;
extern InterposedCall<int(const char*, int, mode_t)> open64;
extern InterposedCall<int(std::FILE*)> pclose;
extern InterposedCall<DIR*(const char*)> opendir;
extern InterposedCall<int(int*)> pipe;
extern InterposedCall<int(pollfd*, nfds_t, int)> poll;
extern InterposedCall<std::FILE*(const char*, const char*)> popen;
extern InterposedCall<int(pthread_cond_t*, const pthread_condattr_t*)> pthread_cond_init;
extern InterposedCall<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>
    pthread_cond_timedwait;
extern InterposedCall<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait;
extern InterposedCall<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>
    pthread_create;
extern InterposedCall<int(pthread_t, int*, sched_param*)> pthread_getschedparam;
extern InterposedCall<int(pthread_mutex_t*)> pthread_mutex_destroy;
extern InterposedCall<int(pthread_mutex_t*, const pthread_mutexattr_t*)> pthread_mutex_init;
extern InterposedCall<int(pthread_mutex_t*)> pthread_mutex_lock;
extern InterposedCall<int(pthread_mutex_t*)> pthread_mutex_unlock;
extern InterposedCall<int(pthread_t, const char*)> pthread_setname_np;
extern InterposedCall<int(pthread_t, int, const sched_param*)> pthread_setschedparam;
extern InterposedCall<ssize_t(int, void*, size_t)> read;
extern InterposedCall<dirent64*(DIR*)> readdir64;
extern InterposedCall<ssize_t(int, void*, size_t, int)> recv;
extern InterposedCall<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select;
extern InterposedCall<ssize_t(int, const void*, size_t, int)> send;
extern InterposedCall<int(int, int, int, const void*, socklen_t)> setsockopt;
extern InterposedCall<int(int, const struct sigaction*, struct sigaction*)> sigaction;
extern InterposedCall<int(int, int, int)> socket;
extern InterposedCall<void()> sync;
extern InterposedCall<int(struct sysinfo*)> sysinfo;
extern InterposedCall<int(const char*)> system;
extern InterposedCall<int(int, int)> timerfd_create;
extern InterposedCall<int(int, int, const itimerspec*, itimerspec*)> timerfd_settime;
extern InterposedCall<int(utsname*)> uname;
extern InterposedCall<mode_t(mode_t)> umask;
extern InterposedCall<int(const char*)> unlink;
extern InterposedCall<ssize_t(int, const void*, size_t)> write;

} // namespace interposed

#endif
