#ifndef ZT_TESTS_KILLEDCHILD_H
#define ZT_TESTS_KILLEDCHILD_H

#include "support/Emulation.h"

#include <functional>

/// Runs the action in a child made by fork() and kills that (SIGKILL), all its threads at once, as
/// one of them enters a system call, the given one of all that they make; that call does nothing
/// any more. Returns whether that came to it: false once the child has come to its end before, and
/// then all that the action expects was so.
///
/// Commands that the child started by the shell are not killed. They have ended when this returns.
bool isKilledAtSystemCall(int number, const std::function<void()>& action);

/// Whether this process may trace its children.
bool canTrace();

/// For a test of killed children, where they cannot be watched.
#define SKIP_WHERE_NOTHING_CAN_BE_TRACED()                                                         \
    SKIP_IN_AN_EMULATOR("it knows no ptrace()");                                                   \
    SKIP_UNDER_VALGRIND("the system calls would be its own, too");                                 \
    if (!canTrace()) {                                                                             \
        GTEST_SKIP() << "The system refuses ptrace()";                                             \
    }

#endif
