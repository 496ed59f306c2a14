#include "Fault.h"

#include "common/Number.h"

#include <stdexcept>

namespace ztsim {

Fault faultNamed(const std::string& name, const FaultKinds& kinds)
{
    std::string known;
    for (const Fault fault : kinds) {
        if (name == nameOf(fault)) {
            return fault;
        }
        known += std::string(known.empty() ? "" : ", ") + nameOf(fault);
    }
    throw std::invalid_argument("there is no fault \"" + name + "\", but " + known);
}

Faults parseFaults(const std::vector<std::string>& texts, const FaultKinds& kinds)
{
    Faults faults;
    for (const std::string& text : texts) {
        const auto at = text.find('@');
        if (at == std::string::npos) {
            throw std::invalid_argument("\"" + text + "\" is not of the form KIND@N");
        }
        const auto record = tools::parseNumber<std::uint64_t>(text.substr(at + 1));
        if (record == 0) {
            throw std::invalid_argument("\"" + text + "\": records are counted from 1");
        }
        if (!faults.emplace(record, faultNamed(text.substr(0, at), kinds)).second) {
            throw std::invalid_argument("\"" + text + "\": that record has a fault already");
        }
    }
    return faults;
}

const char* nameOf(Fault fault)
{
    switch (fault) {
    case Fault::HangUp:
        return "hang-up";
    case Fault::ShortRecord:
        return "short-record";
    case Fault::UnknownType:
        return "unknown-type";
    case Fault::UnknownDevice:
        return "unknown-device";
    case Fault::Unterminated:
        return "unterminated";
    case Fault::Silence:
        return "silence";
    }
    return "?";
}

} // namespace ztsim
