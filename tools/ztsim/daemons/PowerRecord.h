#ifndef ZTSIM_POWERRECORD_H
#define ZTSIM_POWERRECORD_H

#include <zt/ztpmd_msg.h>

#include <cstdint>
#include <string>

namespace ztsim {

/// One record of the power-management daemon.
using PowerRecord = ZT::ztpmd_msg_t;
static_assert(sizeof(PowerRecord) == 48);

/// All bytes the arguments do not fill are zero.
PowerRecord powerRecord(std::uint32_t type, std::uint32_t state = 0, std::uint32_t value = 0);
PowerRecord deviceRecord(std::uint32_t type, const std::string& name, std::int32_t state);

/// The name in a record, which need not end with a NUL.
std::string deviceName(const PowerRecord& record);

/// The number that a report is about: a power state, a time or a device's state.
std::string reportedNumber(const PowerRecord& report);

/// A request as the command that says the same, e.g. "timeout 2", anything else in words.
std::string describe(const PowerRecord& record);

} // namespace ztsim

#endif
