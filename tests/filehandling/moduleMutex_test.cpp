#include "support/Interpose.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

namespace {

using Mutexes = std::vector<const pthread_mutex_t*>;

// Never destroyed, for the library's own are destroyed late.
Mutexes& constructed = *new Mutexes;
Mutexes& destroyed = *new Mutexes;

// Whether it stands in the library's own memory.
bool isLibrarys(const pthread_mutex_t* mutex)
{
    Dl_info info{};
    return dladdr(mutex, &info) != 0 &&
           std::strstr(info.dli_fname, "libZTAPI_OS_ABS.so") != nullptr;
}

void keep(const pthread_mutex_t* mutex, Mutexes& mutexes)
{
    if (isLibrarys(mutex)) {
        mutexes.push_back(mutex);
    }
}

const Interpose<int(pthread_mutex_t*, const pthread_mutexattr_t*)> constructing{
    interposed::pthread_mutex_init, [](pthread_mutex_t* mutex, const pthread_mutexattr_t* type) {
        keep(mutex, constructed);
        return interposed::pthread_mutex_init.real(mutex, type);
    }};

const Interpose<int(pthread_mutex_t*)> destroying{
    interposed::pthread_mutex_destroy, [](pthread_mutex_t* mutex) {
        keep(mutex, destroyed);
        return interposed::pthread_mutex_destroy.real(mutex);
    }};

// Runs after the library's own destructors, since it is registered before they are.
void exitWithWhatWasDestroyed()
{
    _exit(destroyed == constructed ? 42 : 43);
}

} // namespace

// This executable is not linked to the library.
TEST(FileHandlingModule, OneMutexIsConstructedAtLoadAndDestroyedAtTheEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::atexit(exitWithWhatWasDestroyed);
            dlopen(ZT_LIBRARY, RTLD_NOW);
            if (constructed.size() != 1 || !destroyed.empty()) {
                _exit(44);
            }
            std::exit(0);
        },
        testing::ExitedWithCode(42), "");
}
