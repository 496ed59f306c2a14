#ifndef ZT_BENCH_REQUIRE_H
#define ZT_BENCH_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/// A measurement of something that does not work is worth nothing: ends the program.
inline void require(bool holds, const char* claim)
{
    if (!holds) {
        std::fprintf(stderr, "benchmark: %s\n", claim);
        std::abort();
    }
}

#endif
