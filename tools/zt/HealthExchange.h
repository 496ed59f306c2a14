#ifndef ZT_TOOL_HEALTHEXCHANGE_H
#define ZT_TOOL_HEALTHEXCHANGE_H

#include <functional>
#include <string>

namespace zt {

/// Where it listens.
extern const char* const HEALTH_DAEMON;

/// Runs `exchange`, which asks the health-monitor daemon and gives a result of the library, for so
/// long at most. Throws Failure.
void exchangeWithin(double seconds, const std::string& task, const std::function<int()>& exchange);

} // namespace zt

#endif
