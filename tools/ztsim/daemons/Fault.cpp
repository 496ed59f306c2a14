#include "Fault.h"

#include "common/Number.h"

#include <algorithm>
#include <iterator>
#include <sstream>
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

PlannedFault parseFault(const std::string& text, const FaultKinds& kinds)
{
    const auto at = text.find('@');
    if (at == std::string::npos) {
        throw std::invalid_argument("\"" + text + "\" is not of the form KIND@WHEN");
    }
    PlannedFault planned{faultNamed(text.substr(0, at), kinds), 0, 0, {}, text};
    const std::string when = text.substr(at + 1);
    if (!when.empty() && when.back() == '%') {
        planned.chance = tools::parseNumber(when.substr(0, when.size() - 1), 0.0, 100.0) / 100;
    } else if (when.find_first_not_of("0123456789") == std::string::npos) {
        planned.number = tools::parseNumber<std::uint64_t>(when);
        if (planned.number == 0) {
            throw std::invalid_argument("\"" + text + "\": records are counted from 1");
        }
    } else {
        std::istringstream words(when);
        planned.kind.emplace(
            std::vector<std::string>{std::istream_iterator<std::string>(words), {}});
    }
    return planned;
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

void Faults::set(const std::vector<std::string>& texts, const FaultKinds& kinds)
{
    for (const std::string& text : texts) {
        const PlannedFault planned = parseFault(text, kinds);
        if (byNumber.count(planned.number) != 0) {
            throw std::invalid_argument("\"" + text + "\": that record has a fault already");
        }
        add(planned);
    }
}

void Faults::add(const PlannedFault& fault)
{
    if (fault.number != 0) {
        byNumber.insert_or_assign(fault.number, fault);
    } else {
        others.push_back(fault);
    }
}

void Faults::clear()
{
    byNumber.clear();
    others.clear();
}

std::optional<Fault> Faults::at(std::uint64_t number, const std::string& record)
{
    if (const auto planned = byNumber.extract(number)) {
        return planned.mapped().fault;
    }
    const auto befalls = [this, &record](const PlannedFault& planned) {
        return planned.kind ? planned.kind->matches(record)
                            : std::bernoulli_distribution(planned.chance)(random);
    };
    const auto found = std::find_if(others.begin(), others.end(), befalls);
    return found == others.end() ? std::nullopt : std::optional(found->fault);
}

std::vector<std::string> Faults::texts() const
{
    std::vector<std::string> texts;
    for (const auto& planned : byNumber) {
        texts.push_back(planned.second.text);
    }
    for (const PlannedFault& planned : others) {
        texts.push_back(planned.text);
    }
    return texts;
}

} // namespace ztsim
