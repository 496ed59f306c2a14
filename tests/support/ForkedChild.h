#ifndef ZT_TESTS_FORKEDCHILD_H
#define ZT_TESTS_FORKEDCHILD_H

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

/// Whether a child made by fork(), as it is while other threads run, comes to the end of the action
/// with all that is expected there.
template <class Action>
bool succeedsInForkedChild(Action action)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(60); // nobody else ends it when the action does not return
        action();
        // An exit would be held against it under valgrind: what threads of the parent had is lost.
        raise(testing::Test::HasFailure() ? SIGABRT : SIGKILL);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFSIGNALED(status) &&
           WTERMSIG(status) == SIGKILL;
}

#endif
