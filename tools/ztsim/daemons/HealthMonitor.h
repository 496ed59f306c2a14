#ifndef ZTSIM_HEALTHMONITOR_H
#define ZTSIM_HEALTHMONITOR_H

#include <zt/zthmd_msg.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ztsim {

/// One record of the health-monitor daemon.
using HealthRecord = ZT::zthmd_msg_t;
static_assert(sizeof(HealthRecord) == 36);

/// What the health monitor of a device keeps: the EEPROM's fields, and its own values. Each is kept
/// as the payload of a record.
class HealthMonitor {
public:
    HealthMonitor();

    /// Of all fields.
    static std::vector<std::string> names();

    /// Whether the field of that name is a text, and no number.
    static bool isText(const std::string& name);

    /// Both throw std::invalid_argument.
    void set(const std::string& name, const std::string& value);
    std::string get(const std::string& name) const;

    /// The answer, unless no request has the record's type.
    std::optional<HealthRecord> handle(const HealthRecord& request);

private:
    std::map<std::uint32_t, HealthRecord> answers; ///< by their types
};

/// A request as the command that says the same, e.g. "health serial-number", anything else in
/// words.
std::string describe(const HealthRecord& record);

} // namespace ztsim

#endif
