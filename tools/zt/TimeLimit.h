#ifndef ZT_TOOL_TIMELIMIT_H
#define ZT_TOOL_TIMELIMIT_H

#include <CLI/CLI.hpp>

#include <string>

namespace zt {

/// Ends the waits of the process, which the library does not bound itself, once the time is up:
/// what waits then fails, because a signal has come. There is one such object at a time.
class TimeLimit {
public:
    explicit TimeLimit(double seconds);
    ~TimeLimit();

    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;

    static bool isOver();
};

/// The option --wait SECONDS, for a number that is the default before.
void addWaitOption(CLI::App& verb, double& seconds,
                   const std::string& help = "How long to wait for an answer");

/// "the time is up: LACK within 2 s"
std::string timeIsUp(const std::string& lack, double seconds);

/// Throws Failure for a result other than 0 that came because the time was up; `task` is as for
/// check(), and `lack` what has not happened.
void checkInTime(int result, const std::string& task, const std::string& lack, double seconds);

/// For what has not come in time.
extern const char* const WAIT_ADVICE;

} // namespace zt

#endif
