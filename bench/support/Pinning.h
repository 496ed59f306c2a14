#ifndef ZT_BENCH_PINNING_H
#define ZT_BENCH_PINNING_H

#include <sched.h>

/// Keeps the calling thread, and those that it starts from now on, on one core: 0 or 1. All
/// contenders are pinned in the same way.
inline void pinTo(int core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

#endif
