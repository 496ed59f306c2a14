#ifndef ZT_MACHINE_CLOCK_H
#define ZT_MACHINE_CLOCK_H

#include <cstdint>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifdef SYS_clock_gettime64
const long GET_TIME = SYS_clock_gettime64;
const long SET_TIME = SYS_clock_settime64;
#else // they have had 64 bits from the start
const long GET_TIME = SYS_clock_gettime;
const long SET_TIME = SYS_clock_settime;
#endif

/// The kernel's own, whatever the C library's time_t is.
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

inline KernelTime clockTime(clockid_t clock)
{
    KernelTime time{};
    EXPECT_EQ(::syscall(GET_TIME, clock, &time), 0);
    return time;
}

inline std::int64_t milliseconds(const KernelTime& time)
{
    return time.seconds * 1000 + time.nanoseconds / 1000000;
}

/// Sets the wall clock, and at its end sets it back to where it would be.
class Clock : public testing::Test {
protected:
    Clock() = default;

    ~Clock() override { set(wall.seconds + clockTime(CLOCK_MONOTONIC).seconds - steady.seconds); }

    static void set(std::int64_t seconds)
    {
        const KernelTime time{seconds, 0};
        EXPECT_EQ(::syscall(SET_TIME, CLOCK_REALTIME, &time), 0);
    }

    static void step(std::int64_t seconds) { set(clockTime(CLOCK_REALTIME).seconds + seconds); }

    /// How long that takes, in milliseconds that nobody sets.
    static std::int64_t duration(const std::function<void()>& action)
    {
        const std::int64_t begin = milliseconds(clockTime(CLOCK_MONOTONIC));
        action();
        return milliseconds(clockTime(CLOCK_MONOTONIC)) - begin;
    }

private:
    const KernelTime wall = clockTime(CLOCK_REALTIME);
    const KernelTime steady = clockTime(CLOCK_MONOTONIC);
};

#endif
