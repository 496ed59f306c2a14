#ifndef ZT_TOOL_FAILURE_H
#define ZT_TOOL_FAILURE_H

#include <stdexcept>
#include <string>
#include <utility>

namespace zt {

/// The exit codes of zt; the manual page lists them, too.
enum ExitCode : int {
    DONE = 0,
    FAILED = 1,
    WRONG_USAGE = 2,
    NO_ANSWER = 3,
    UNREACHABLE = 4,
    NOT_RUN = 125,    ///< the command of "zt run"
    STOPPED_BY = 128, ///< and the number of the signal
};

/// What the user may try.
struct Advice {
    Advice(const char* text) : text(text) {}
    Advice(std::string text) : text(std::move(text)) {}

    /// For a failure of which a simulated device is the cure, where there is no real one.
    static Advice orSimulate(std::string text);

    std::string text;
    bool canSimulate = false;
};

/// What went wrong, and what the user may try about it.
class Failure : public std::runtime_error {
public:
    Failure(int exitCode, const std::string& what, Advice advice);

    const int exitCode;
    const Advice advice;
};

/// On standard error, a line each: what went wrong, and what to try.
void tell(const Failure& failure);

/// "result 14, not reachable": a result of the library in words.
std::string describeResult(int result);

/// Throws for every result but 0; `task` is what was to be done, e.g. "send the message".
void check(int result, const std::string& task, const Advice& advice);

} // namespace zt

#endif
