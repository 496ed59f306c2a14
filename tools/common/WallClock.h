#ifndef ZT_TOOLS_WALLCLOCK_H
#define ZT_TOOLS_WALLCLOCK_H

#include <cstdio>
#include <ctime>
#include <string>

namespace tools {

/// The local time, such as 2026-11-22 09:30:00.125.
inline std::string wallClock()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm fields{};
    ::localtime_r(&now.tv_sec, &fields);
    char day[32];
    std::strftime(day, sizeof day, "%Y-%m-%d %H:%M:%S", &fields);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03ld", day, now.tv_nsec / 1000000);
    return text;
}

} // namespace tools

#endif
