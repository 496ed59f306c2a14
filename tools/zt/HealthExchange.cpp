#include "HealthExchange.h"

#include "Failure.h"
#include "TimeLimit.h"

namespace zt {

void exchangeWithin(double seconds, const std::string& task, const std::function<int()>& exchange)
{
    const TimeLimit limit(seconds);
    const int result = exchange();
    if (result != 0 && TimeLimit::isOver()) {
        throw Failure(NO_ANSWER,
                      "cannot " + task + ": " + describeResult(result) +
                          ": the health-monitor daemon has not answered " + within(seconds),
                      "see that the daemon is well, or give it longer with --wait SECONDS");
    }
    check(result, task,
          result == 11 ? "take another field: the health-monitor daemon does not have this one"
                       : "see that the health-monitor daemon runs; it listens on "
                         "/var/run/zthmd_api");
}

} // namespace zt
