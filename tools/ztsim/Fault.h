#ifndef ZTSIM_FAULT_H
#define ZTSIM_FAULT_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ztsim {

/// What a daemon may do instead of handling a record.
enum class Fault { HangUp, ShortRecord, UnknownType, UnknownDevice, Unterminated, Silence };

/// Those that befall one of the daemons.
using FaultKinds = std::array<Fault, 5>;

/// The faults by the record they befall, counted from 1.
using Faults = std::map<std::uint64_t, Fault>;

/// Throws std::invalid_argument for a name that none of these has.
Fault faultNamed(const std::string& name, const FaultKinds& kinds);

/// From texts of the form KIND@N; throws std::invalid_argument.
Faults parseFaults(const std::vector<std::string>& texts, const FaultKinds& kinds);

const char* nameOf(Fault fault);

} // namespace ztsim

#endif
