#ifndef ZT_SOAK_CHECK_H
#define ZT_SOAK_CHECK_H

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the process if what the soak claims does not hold.
inline void check(bool holds, const std::string& claim)
{
    if (!holds) {
        std::fflush(stdout);
        std::fprintf(stderr, "soak: not so: %s\n", claim.c_str());
        std::_Exit(1);
    }
}

#endif
