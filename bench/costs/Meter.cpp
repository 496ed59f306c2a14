// Takes the place of the C library's allocation and clocks, for the libraries, too: allocations are
// counted, and the time stands still, lest its digits cost more or less.

#include "bench/costs/Meter.h"

#include <cstdlib>
#include <ctime>
#include <sys/time.h>

thread_local bool Meter::isCounting = false;
Counts Meter::counts;

namespace {

const std::time_t NOW = 1780000000;
const long NOW_NS = 123456789;

void* allocated(void* memory, std::size_t size)
{
    if (Meter::isCounting) {
        ++Meter::counts.allocations;
        Meter::counts.bytes += size;
    }
    return memory;
}

void countClock()
{
    if (Meter::isCounting) {
        ++Meter::counts.clocks;
    }
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size)
{
    return allocated(__libc_malloc(size), size);
}

void* calloc(std::size_t count, std::size_t size)
{
    return allocated(__libc_calloc(count, size), count * size);
}

void* realloc(void* memory, std::size_t size)
{
    return allocated(__libc_realloc(memory, size), size);
}

int clock_gettime(clockid_t /*clock*/, timespec* time) noexcept
{
    countClock();
    *time = {NOW, NOW_NS};
    return 0;
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    countClock();
    *time = {NOW, NOW_NS / 1000};
    return 0;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
