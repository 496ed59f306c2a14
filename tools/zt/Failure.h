#ifndef ZT_TOOL_FAILURE_H
#define ZT_TOOL_FAILURE_H

#include <stdexcept>
#include <string>

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

/// What went wrong, and what the user may try about it.
class Failure : public std::runtime_error {
public:
    Failure(int exitCode, const std::string& what, std::string advice);

    const int exitCode;
    const std::string advice;
};

/// On standard error, a line each: what went wrong, and what to try.
void tell(const Failure& failure);

/// "result 14, not reachable": a result of the library in words.
std::string describeResult(int result);

/// Throws for every result but 0; `task` is what was to be done, e.g. "send the message".
void check(int result, const std::string& task, const std::string& advice);

} // namespace zt

#endif
