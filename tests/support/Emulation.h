#ifndef ZT_TESTS_EMULATION_H
#define ZT_TESTS_EMULATION_H

#include <cstdlib>
#include <gtest/gtest.h>

/// Skips the test that it begins where the program of another processor runs in an emulator.
#define SKIP_IN_AN_EMULATOR(why)                                                                   \
    if (std::getenv("ZT_EMULATED") != nullptr) {                                                   \
        GTEST_SKIP() << "In an emulator: " << (why);                                               \
    }

/// For a test whose select() watches a descriptor beyond FD_SETSIZE.
#define SKIP_WHERE_SELECT_IS_EMULATED()                                                            \
    SKIP_IN_AN_EMULATOR("qemu's own select() aborts beyond FD_SETSIZE")

/// The same where valgrind runs it.
#define SKIP_UNDER_VALGRIND(why)                                                                   \
    if (std::getenv("ZT_VALGRIND") != nullptr) {                                                   \
        GTEST_SKIP() << "Under valgrind: " << (why);                                               \
    }

#endif
