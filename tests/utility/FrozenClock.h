#ifndef ZT_TESTS_FROZENCLOCK_H
#define ZT_TESTS_FROZENCLOCK_H

#include <ctime>

/// The time of day, which stands still: 2026-11-21 09:12:13.012 UTC until somebody sets it.
extern timespec frozenTime;

#endif
