// load LIBRARY: says that it is ready, waits for a line, loads the library, says how many
// nanoseconds and bytes of heap that took, and waits for the end of its input, so that its memory
// can be looked at.

#include <ctime>
#include <dlfcn.h>
#include <iostream>
#include <malloc.h>

namespace {

long long now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2) {
        return 2;
    }
    std::cout << "ready" << std::endl;
    std::cin.get();
    const auto heapBefore = mallinfo2().uordblks;
    const long long start = now();
    const void* library = dlopen(arguments[1], RTLD_NOW);
    const long long end = now();
    if (library == nullptr) {
        std::cerr << "load: " << dlerror() << std::endl;
        return 1;
    }
    std::cout << end - start << ' ' << mallinfo2().uordblks - heapBefore << std::endl;
    std::cin.get();
    return 0;
}
