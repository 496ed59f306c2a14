#ifndef ZT_TESTS_FAKECLOCKS_H
#define ZT_TESTS_FAKECLOCKS_H

#include "support/Interpose.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>
#include <sys/time.h>
#include <utility>

/// Clocks that timed waits on condition variables move, and nothing else does. Unless told
/// otherwise such a wait times out at once, as far as anybody can tell by these clocks at its
/// deadline.
class FakeClocks {
public:
    using Time = std::chrono::nanoseconds;

    explicit FakeClocks(timespec wall) : wall(nanoseconds(wall)) {}

    std::int64_t now() const { return wall; }

    Time slept() const { return Time(monotonic); }

    /// How many timed waits there were.
    int waits() const { return waitCount; }

    /// Somebody sets the wall clock by so much during the next wait.
    void stepDuringWait(Time by) { step = by.count(); }

    /// The next wait ends after so long by a wake-up.
    void wakeAfter(Time time) { wake = time.count(); }

    /// So much time passes with each look at a clock.
    void passWithEachReading(Time time) { perReading = time.count(); }

    /// The next wait fails.
    void failWith(int newError) { error = newError; }

    static std::int64_t nanoseconds(timespec time)
    {
        return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
    }

private:
    static timespec fromNanoseconds(std::int64_t time)
    {
        return {static_cast<time_t>(time / 1000000000), static_cast<long>(time % 1000000000)};
    }

    void pass(std::int64_t time)
    {
        wall += time;
        monotonic += time;
    }

    int wait(const timespec* deadline)
    {
        ++waitCount;
        wall += std::exchange(step, 0);
        if (error != 0) {
            return std::exchange(error, 0);
        }
        // Boost waits on the monotonic clock where it can, and on the wall clock elsewhere.
        const std::int64_t clock = deadline->tv_sec > 1000000000 ? wall : monotonic;
        const bool woken = wake.has_value();
        const std::int64_t passed =
            woken ? *wake : std::max<std::int64_t>(nanoseconds(*deadline) - clock, 0);
        wake.reset();
        pass(passed);
        return woken ? 0 : ETIMEDOUT;
    }

    std::int64_t wall;
    std::int64_t monotonic = 0;
    std::int64_t step = 0;
    std::optional<std::int64_t> wake;
    std::int64_t perReading = 0;
    int error = 0;
    int waitCount = 0;
    const Interpose<int(clockid_t, timespec*)> reading{
        interposed::clock_gettime, [this](clockid_t clock, timespec* time) {
            pass(perReading);
            *time = fromNanoseconds(clock == CLOCK_REALTIME ? wall : monotonic);
            return 0;
        }};
    const Interpose<int(timeval*, void*)> readingMicroseconds{
        interposed::gettimeofday, [this](timeval* time, void*) {
            pass(perReading);
            *time = {static_cast<time_t>(wall / 1000000000),
                     static_cast<suseconds_t>(wall % 1000000000 / 1000)};
            return 0;
        }};
    const Interpose<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> waiting{
        interposed::pthread_cond_timedwait,
        [this](pthread_cond_t*, pthread_mutex_t*, const timespec* deadline) {
            return wait(deadline);
        }};
};

#endif
