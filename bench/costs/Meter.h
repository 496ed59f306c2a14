#ifndef ZT_BENCH_METER_H
#define ZT_BENCH_METER_H

#include <cstddef>
#include <cstdint>
#include <sys/syscall.h>
#include <unistd.h>

#ifdef __arm__
// What bench/costs/count.c, the emulator's plugin, looks for.
#define ZT_COUNT_INSTRUCTIONS() asm volatile("dbg #13" ::: "memory")
#define ZT_COUNT_NO_INSTRUCTIONS() asm volatile("dbg #14" ::: "memory")
#else
#include <valgrind/callgrind.h>
#define ZT_COUNT_INSTRUCTIONS() CALLGRIND_TOGGLE_COLLECT
#define ZT_COUNT_NO_INSTRUCTIONS() CALLGRIND_TOGGLE_COLLECT
#endif

/// What the calls that Meter.cpp puts in the place of the C library's have counted.
struct Counts {
    std::uint64_t allocations = 0;
    std::uint64_t bytes = 0;
    std::uint64_t clocks =
        0; // how often the time was asked for, which is no system call everywhere
    std::uint64_t wakeUps = 0; // at rest
};

/// Marks what is counted, on one thread at a time.
class Meter {
public:
    /// An operation is counted so many times, after it was done `WARM_UP` times.
    static const int TIMES = 16;
    static const int WARM_UP = 4;

    /// Counts the operation, with `before` not counted before each.
    template <class Before, class Operation>
    void count(Before before, Operation operation)
    {
        for (int i = 0; i < WARM_UP + TIMES; ++i) {
            before();
            if (i < WARM_UP) {
                operation();
                continue;
            }
            begin();
            operation();
            end();
        }
    }

    template <class Operation>
    void count(Operation operation)
    {
        count([] {}, operation);
    }

    /// Counts what this thread does from here on.
    void begin()
    {
        syscall(SYS_getsid, 0); // which strace shows, and nothing here needs
        isCounting = true;
        ZT_COUNT_INSTRUCTIONS();
    }

    void end()
    {
        ZT_COUNT_NO_INSTRUCTIONS();
        isCounting = false;
        syscall(SYS_getsid, 0);
    }

    static thread_local bool isCounting;
    static Counts counts;
};

#endif
