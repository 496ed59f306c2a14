#ifndef ZTSIM_FAULT_H
#define ZTSIM_FAULT_H

#include "RecordPattern.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace ztsim {

/// What a daemon may do instead of handling a record.
enum class Fault { HangUp, ShortRecord, UnknownType, UnknownDevice, Unterminated, Silence };

/// Those that befall one of the daemons.
using FaultKinds = std::array<Fault, 5>;

/// Throws std::invalid_argument for a name that none of these has.
Fault faultNamed(const std::string& name, const FaultKinds& kinds);

const char* nameOf(Fault fault);

/// A fault, and the records that it befalls: one of them, some by chance, or those of a kind.
struct PlannedFault {
    Fault fault;
    std::uint64_t number; ///< of the record, counted from 1; 0 for the others
    double chance;
    std::optional<RecordPattern> kind;
    std::string text;
};

/// From a text of the form KIND@N, KIND@P% or KIND@RECORD; throws std::invalid_argument.
PlannedFault parseFault(const std::string& text, const FaultKinds& kinds);

/// The faults that befall a daemon's records.
class Faults {
public:
    /// From texts, of which no two are about the same record; throws std::invalid_argument.
    void set(const std::vector<std::string>& texts, const FaultKinds& kinds);

    /// In the place of what was planned for the same records.
    void add(const PlannedFault& fault);

    void clear();

    /// The records that chance picks are the same for the same seed.
    void seed(std::uint32_t seed) { random.seed(seed); }

    /// What befalls the record of that number, which is asked for but once.
    std::optional<Fault> at(std::uint64_t number, const std::string& record);

    /// What may still happen.
    std::vector<std::string> texts() const;

private:
    std::map<std::uint64_t, PlannedFault> byNumber;
    std::vector<PlannedFault> others;
    std::mt19937 random;
};

} // namespace ztsim

#endif
