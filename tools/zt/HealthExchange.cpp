#include "HealthExchange.h"

#include "Failure.h"
#include "TimeLimit.h"

namespace zt {
namespace {

const int NOT_SUPPORTED = 11;

} // namespace

const char* const HEALTH_DAEMON = "/var/run/zthmd_api";

void exchangeWithin(double seconds, const std::string& task, const std::function<int()>& exchange)
{
    const TimeLimit limit(seconds);
    const int result = exchange();
    checkInTime(result, task, "the health-monitor daemon has not answered", seconds);
    check(result, task,
          result == NOT_SUPPORTED
              ? "take another field: the health-monitor daemon does not have this one"
              : Advice::orSimulate(
                    std::string("see that the health-monitor daemon runs; it listens on ") +
                    HEALTH_DAEMON));
}

} // namespace zt
