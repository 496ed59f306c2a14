#ifndef ZT_FUZZ_REQUIRE_H
#define ZT_FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/// Says what does not hold and ends the run; the fuzzer then keeps the input.
inline void require(bool holds, const char* claim)
{
    if (!holds) {
        std::fprintf(stderr, "Not so: %s\n", claim);
        std::abort();
    }
}

#endif
