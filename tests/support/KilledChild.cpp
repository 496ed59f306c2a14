#include "support/KilledChild.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const int SYSTEM_CALL_STOP = SIGTRAP | 0x80; // so PTRACE_O_TRACESYSGOOD makes it

[[noreturn]] void letBeTraced(const std::function<void()>& action)
{
    setpgid(0, 0); // with all that it starts
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    action();
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

bool entersSystemCall(pid_t thread)
{
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info);
    return info.op == PTRACE_SYSCALL_INFO_ENTRY;
}

// The signal that a stop is about, if it is not about the tracing itself.
int signalOf(int status)
{
    const int signal = WSTOPSIG(status);
    return signal == SYSTEM_CALL_STOP || signal == SIGTRAP || signal == SIGSTOP ? 0 : signal;
}

// Returns the status that the child ends with.
int traceUntil(int number, pid_t child)
{
    int status = 0;
    pid_t thread = 0;
    while ((thread = waitpid(-child, &status, __WALL)) != child || WIFSTOPPED(status)) {
        if (WIFSTOPPED(status)) {
            if (WSTOPSIG(status) == SYSTEM_CALL_STOP && entersSystemCall(thread) && --number == 0) {
                kill(child, SIGKILL);
            }
            ptrace(PTRACE_SYSCALL, thread, nullptr, signalOf(status));
        }
    }
    return status;
}

// What the killed one had started is this process's child by then.
void awaitOrphansOf(pid_t child)
{
    while (waitpid(-child, nullptr, 0) != -1) {
    }
}

} // namespace

bool isKilledAtSystemCall(int number, const std::function<void()>& action)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t child = fork();
    if (child == 0) {
        letBeTraced(action);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(ptrace(PTRACE_SETOPTIONS, child, nullptr,
                     PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL),
              0);
    ptrace(PTRACE_SYSCALL, child, nullptr, 0);
    const int status = traceUntil(number, child);
    awaitOrphansOf(child);
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << number;
    return killed;
}

bool canTrace()
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
