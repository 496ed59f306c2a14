#include "Command.h"

#include "common/NumberOption.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace ztsim {
namespace {

PowerDaemon& powerOf(Daemons& daemons)
{
    if (!daemons.power) {
        throw std::invalid_argument("there is no power-management daemon");
    }
    return *daemons.power;
}

HealthDaemon& healthOf(Daemons& daemons)
{
    if (!daemons.health) {
        throw std::invalid_argument("there is no health-monitor daemon");
    }
    return *daemons.health;
}

/// The words of a command become options of CLI11, which checks them.
class Parser {
public:
    Parser();

    Command parse(std::vector<std::string> words);

private:
    CLI::App& addVerb(const char* name, Command (Parser::*make)());

    Command power();
    Command timeout();
    Command propagation();
    Command device();
    Command health();
    Command hangUp();
    Command powerFault();
    Command healthFault();

    CLI::App app;
    Command command;
    std::string name;                   ///< of a device, a field, a daemon or a fault
    std::uint32_t state = 0;            ///< of which the time-out is
    std::optional<std::uint32_t> value; ///< what something is to be, and so are these
    std::optional<std::int32_t> deviceState;
    std::optional<std::string> text;
};

Parser::Parser()
{
    app.set_help_flag();
    app.require_subcommand(0, 1); // what comes behind is no command, even if it is called like one
    tools::addNumber(addVerb("power", &Parser::power), "STATE", value, 0U, 6U);
    CLI::App& timeoutVerb = addVerb("timeout", &Parser::timeout);
    tools::addNumber(timeoutVerb, "STATE", state, 0U, 5U)->required();
    tools::addNumber(timeoutVerb, "VALUE", value, 0U, UINT32_MAX);
    tools::addNumber(addVerb("propagation", &Parser::propagation), "TIME", value, 0U,
                     PowerSettings::MAX_PROPAGATION_TIME);
    CLI::App& deviceVerb = addVerb("device", &Parser::device);
    deviceVerb.add_option("NAME", name)->required();
    tools::addNumber(deviceVerb, "STATE", deviceState, INT32_MIN, INT32_MAX);
    CLI::App& healthVerb = addVerb("health", &Parser::health);
    healthVerb.add_option("NAME", name)->required();
    healthVerb.add_option("VALUE", text);
    addVerb("hang-up", &Parser::hangUp)
        .add_option("DAEMON", name)
        ->check(CLI::IsMember({"power", "health"}));
    addVerb("power-fault", &Parser::powerFault).add_option("KIND", name)->required();
    addVerb("health-fault", &Parser::healthFault).add_option("KIND", name)->required();
}

CLI::App& Parser::addVerb(const char* name, Command (Parser::*make)())
{
    CLI::App* const verb = app.add_subcommand(name);
    verb->set_help_flag();
    verb->callback([this, make] { command = (this->*make)(); });
    return *verb;
}

Command Parser::parse(std::vector<std::string> words)
{
    const std::string verb = words.empty() ? "" : words.front();
    if (app.get_subcommands([&verb](const CLI::App* known) { return known->get_name() == verb; })
            .empty()) {
        throw std::invalid_argument(
            "there is no command \"" + verb +
            "\", but power, timeout, propagation, device, health, hang-up, power-fault and "
            "health-fault");
    }
    std::reverse(words.begin(), words.end());
    try {
        app.parse(std::move(words));
    } catch (const std::exception& error) {
        throw std::invalid_argument(verb + ": " + error.what());
    }
    return command;
}

Command Parser::power()
{
    return [wanted = value](Daemons& daemons) {
        if (!wanted) {
            return powerOf(daemons).perform(powerRecord(ZT::ZTPMD_GET_POWER_STATE));
        }
        powerOf(daemons).enterState(*wanted);
        return std::string();
    };
}

Command Parser::timeout()
{
    const auto request = value ? powerRecord(ZT::ZTPMD_SET_TIMEOUT, state, *value)
                               : powerRecord(ZT::ZTPMD_GET_TIMEOUT, state);
    return [request](Daemons& daemons) { return powerOf(daemons).perform(request); };
}

Command Parser::propagation()
{
    const auto request = value ? powerRecord(ZT::ZTPMD_SET_PROPAGATION_TIME, 2, *value)
                               : powerRecord(ZT::ZTPMD_GET_PROPAGATION_TIME, 2);
    return [request](Daemons& daemons) { return powerOf(daemons).perform(request); };
}

Command Parser::device()
{
    if (PowerSettings().devices.count(reportedName(name)) == 0) {
        throw CLI::ValidationError("NAME", "there is no device \"" + name + '"');
    }
    const auto request = deviceState ? deviceRecord(ZT::ZTPMD_SET_DEVICE_STATE, name, *deviceState)
                                     : deviceRecord(ZT::ZTPMD_GET_DEVICE_STATE, name, 0);
    return [request](Daemons& daemons) { return powerOf(daemons).perform(request); };
}

Command Parser::health()
{
    HealthMonitor trial;
    if (text) {
        trial.set(name, *text);
    } else {
        trial.get(name);
    }
    return [field = name, wanted = text](Daemons& daemons) {
        HealthMonitor& monitor = healthOf(daemons).values();
        if (!wanted) {
            return monitor.get(field) + '\n';
        }
        monitor.set(field, *wanted);
        return std::string();
    };
}

Command Parser::hangUp()
{
    return [which = name](Daemons& daemons) {
        if (which == "power" || (which.empty() && daemons.power)) {
            powerOf(daemons).hangUp();
        }
        if (which == "health" || (which.empty() && daemons.health)) {
            healthOf(daemons).hangUp();
        }
        return std::string();
    };
}

Command Parser::powerFault()
{
    return [fault = faultNamed(name, PowerDaemonOptions::FAULTS)](Daemons& daemons) {
        powerOf(daemons).sufferNext(fault);
        return std::string();
    };
}

Command Parser::healthFault()
{
    return [fault = faultNamed(name, HealthDaemonOptions::FAULTS)](Daemons& daemons) {
        healthOf(daemons).sufferNext(fault);
        return std::string();
    };
}

} // namespace

const char* const COMMANDS_HELP =
    "  power [STATE]            the power state, 0..6; 6 is never reported\n"
    "  timeout STATE [VALUE]    the time-out of a power state 0..5\n"
    "  propagation [TIME]       the propagation time of power state 2, 0..30\n"
    "  device NAME [STATE]      the state of a device in low power\n"
    "  health NAME [VALUE]      a health field; of these no client is told\n"
    "  hang-up [power|health]   that daemon, or both, close all clients and stay away for a time\n"
    "  power-fault KIND         what befalls the next record of the power-management daemon\n"
    "  health-fault KIND        the same for the health-monitor daemon\n";

Command parseCommand(const std::vector<std::string>& words)
{
    return Parser().parse(words);
}

Command parseCommand(const std::string& line)
{
    return parseCommand(CLI::detail::split_up(line));
}

} // namespace ztsim
