#ifndef ZT_TOOL_TIMELIMIT_H
#define ZT_TOOL_TIMELIMIT_H

#include <CLI/CLI.hpp>

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
void addWaitOption(CLI::App& verb, double& seconds);

/// "within 2 s"
std::string within(double seconds);

} // namespace zt

#endif
