#ifndef ZT_TESTS_FASTCLOCKS_H
#define ZT_TESTS_FASTCLOCKS_H

#include "support/Interpose.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <sys/time.h>
#include <utility>

/// Clocks that run a hundred times as fast, and timed waits on condition variables that end by
/// them, in all threads.
class FastClocks {
public:
    /// What each such wait does before it waits, on its own thread.
    explicit FastClocks(std::function<void()> beforeWait = [] {})
        : beforeWait(std::move(beforeWait))
    {}

private:
    static const std::int64_t FACTOR = 100;

    static std::int64_t nanoseconds(timespec time)
    {
        return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
    }

    static timespec fromNanoseconds(std::int64_t time)
    {
        return {static_cast<time_t>(time / 1000000000), static_cast<long>(time % 1000000000)};
    }

    static std::int64_t real(clockid_t clock)
    {
        timespec time{};
        interposed::clock_gettime.real(clock, &time);
        return nanoseconds(time);
    }

    std::int64_t startOf(clockid_t clock) const
    {
        return clock == CLOCK_REALTIME ? wallStart : monotonicStart;
    }

    std::int64_t fast(clockid_t clock) const
    {
        return startOf(clock) + (real(clock) - startOf(clock)) * FACTOR;
    }

    const std::function<void()> beforeWait;
    const std::int64_t wallStart = real(CLOCK_REALTIME);
    const std::int64_t monotonicStart = real(CLOCK_MONOTONIC);
    const Interpose<int(clockid_t, timespec*)> reading{interposed::clock_gettime,
                                                       [this](clockid_t clock, timespec* time) {
                                                           *time = fromNanoseconds(fast(clock));
                                                           return 0;
                                                       }};
    const Interpose<int(timeval*, void*)> readingMicroseconds{
        interposed::gettimeofday, [this](timeval* time, void*) {
            const timespec now = fromNanoseconds(fast(CLOCK_REALTIME));
            *time = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
            return 0;
        }};
    const Interpose<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> waiting{
        interposed::pthread_cond_timedwait,
        [this](pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
            beforeWait();
            // Boost waits on the monotonic clock where it can, and on the wall clock elsewhere.
            const std::int64_t start =
                startOf(deadline->tv_sec > 1000000000 ? CLOCK_REALTIME : CLOCK_MONOTONIC);
            const timespec earlier =
                fromNanoseconds(start + (nanoseconds(*deadline) - start) / FACTOR);
            return interposed::pthread_cond_timedwait.real(condition, mutex, &earlier);
        }};
};

#endif
