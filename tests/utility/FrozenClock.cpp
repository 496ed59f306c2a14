#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

// The time of day stands still at 2026-11-21 09:12:13.012 UTC.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (clock != CLOCK_REALTIME) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    *time = timespec{1795252333, 12999999};
    return 0;
}
