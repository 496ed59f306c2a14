#include "Fault.h"

#include "Number.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace ztsim {
namespace {

constexpr std::array<std::pair<Fault, const char*>, 5> NAMES{{
    {Fault::HangUp, "hang-up"},
    {Fault::ShortRecord, "short-record"},
    {Fault::UnknownType, "unknown-type"},
    {Fault::UnknownDevice, "unknown-device"},
    {Fault::Silence, "silence"},
}};

Fault faultNamed(const std::string& text)
{
    for (const auto& [fault, name] : NAMES) {
        if (text == name) {
            return fault;
        }
    }
    throw std::invalid_argument("there is no fault \"" + text + "\"");
}

} // namespace

Faults parseFaults(const std::vector<std::string>& texts)
{
    Faults faults;
    for (const std::string& text : texts) {
        const auto at = text.find('@');
        if (at == std::string::npos) {
            throw std::invalid_argument("\"" + text + "\" is not of the form KIND@N");
        }
        const auto record = parseNumber<std::uint64_t>(text.substr(at + 1));
        if (record == 0) {
            throw std::invalid_argument("\"" + text + "\": records are counted from 1");
        }
        if (!faults.emplace(record, faultNamed(text.substr(0, at))).second) {
            throw std::invalid_argument("\"" + text + "\": that record has a fault already");
        }
    }
    return faults;
}

const char* nameOf(Fault fault)
{
    for (const auto& [known, name] : NAMES) {
        if (known == fault) {
            return name;
        }
    }
    return "?";
}

} // namespace ztsim
