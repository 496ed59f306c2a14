#include "zt/ZTSleep.h"

#include <ctime>

namespace ZT {

void ZTSleep::sleep(int seconds, long nanoseconds)
{
    timespec request{};
    request.tv_sec = seconds;
    request.tv_nsec = nanoseconds;
    while (nanosleep(&request, nullptr) != 0) {
    }
}

} // namespace ZT
