#include "Command.h"

#include "State.h"
#include "common/NumberOption.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace ztsim {
namespace {

PowerDaemon& powerOf(Simulated& device)
{
    if (!device.power) {
        throw std::invalid_argument("there is no power-management daemon");
    }
    return *device.power;
}

HealthDaemon& healthOf(Simulated& device)
{
    if (!device.health) {
        throw std::invalid_argument("there is no health-monitor daemon");
    }
    return *device.health;
}

constexpr double LONGEST_DELAY = 1000; // in seconds
constexpr double LONGEST_WAIT = 1e6;

std::chrono::milliseconds inMilliseconds(double seconds)
{
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// From a text such as 200ms or 1.5s.
std::chrono::milliseconds parseDelay(const std::string& text)
{
    for (const auto& [unit, seconds] : {std::pair("ms", 0.001), std::pair("s", 1.0)}) {
        if (endsWith(text, unit)) {
            const std::string number = text.substr(0, text.size() - std::string(unit).size());
            return inMilliseconds(tools::parseNumber(number, 0.0, LONGEST_DELAY / seconds) *
                                  seconds);
        }
    }
    throw std::invalid_argument('"' + text + "\" is no time such as 200ms or 1.5s");
}

/// For each of the daemons that is meant: the one of that name, or both.
template <typename Act>
void forEach(Simulated& device, const std::string& which, Act act)
{
    if (which == "power" || (which.empty() && device.power)) {
        act(powerOf(device));
    }
    if (which == "health" || (which.empty() && device.health)) {
        act(healthOf(device));
    }
}

/// The words of a command become options of CLI11, which checks them.
class Parser {
public:
    Parser();

    bool knows(const std::string& verb) const;
    Command parse(std::vector<std::string> words);

private:
    CLI::App& addVerb(const char* name, Command (Parser::*make)());
    void addDaemon(CLI::App& verb);

    Command power();
    Command timeout();
    Command propagation();
    Command device();
    Command health();
    Command hangUp();
    Command powerFault();
    Command healthFault();
    Command slow();
    Command deaf();
    Command await();
    Command count();
    Command records();
    Command show();
    Command watch();

    RecordPattern anyUnlessGiven() const;

    CLI::App app;
    Command command;
    std::string name;                   ///< of a device, a field, a daemon or a fault
    std::uint32_t state = 0;            ///< of which the time-out is
    std::optional<std::uint32_t> value; ///< what something is to be, and so are these
    std::optional<std::int32_t> deviceState;
    std::optional<std::string> text;
    std::vector<std::string> words; ///< of a record or a fault
    std::optional<double> seconds;
    bool isOn = false; ///< a flag, or a state that is
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
    addDaemon(addVerb("hang-up", &Parser::hangUp));
    addVerb("power-fault", &Parser::powerFault).add_option("KIND", words)->required();
    addVerb("health-fault", &Parser::healthFault).add_option("KIND", words)->required();
    CLI::App& slowVerb = addVerb("slow", &Parser::slow);
    slowVerb.add_option("TIME", text)->required();
    addDaemon(slowVerb);
    CLI::App& deafVerb = addVerb("deaf", &Parser::deaf);
    deafVerb.add_option("STATE", text)->required()->check(CLI::IsMember({"on", "off"}));
    addDaemon(deafVerb);
    CLI::App& awaitVerb = addVerb("await", &Parser::await);
    awaitVerb.add_option("RECORD", words)->required();
    tools::addNumber(awaitVerb, "--wait", seconds, 0.0, LONGEST_WAIT);
    awaitVerb.add_flag("--since-start", isOn);
    addVerb("count", &Parser::count).add_option("RECORD", words);
    addVerb("records", &Parser::records).add_option("RECORD", words);
    addVerb("show", &Parser::show);
    addVerb("watch", &Parser::watch);
    for (const char* const question : {"power", "timeout", "propagation", "device", "health",
                                       "count", "records", "show", "watch"}) {
        // A number is the same in JSON.
        app.get_subcommand(question)->add_flag("--json", isOn);
    }
}

void Parser::addDaemon(CLI::App& verb)
{
    verb.add_option("DAEMON", name)->check(CLI::IsMember({"power", "health"}));
}

CLI::App& Parser::addVerb(const char* name, Command (Parser::*make)())
{
    CLI::App* const verb = app.add_subcommand(name);
    verb->set_help_flag();
    verb->callback([this, make] { command = (this->*make)(); });
    return *verb;
}

bool Parser::knows(const std::string& verb) const
{
    return !app.get_subcommands(
                   [&verb](const CLI::App* known) { return known->get_name() == verb; })
                .empty();
}

Command Parser::parse(std::vector<std::string> words)
{
    const std::string verb = words.empty() ? "" : words.front();
    if (!knows(verb)) {
        throw std::invalid_argument(
            "there is no command \"" + verb +
            "\", but power, timeout, propagation, device, health, hang-up, power-fault, "
            "health-fault, slow, deaf, await, count, records, show and watch");
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
    return [wanted = value](Simulated& device) {
        if (!wanted) {
            return powerOf(device).perform(powerRecord(ZT::ZTPMD_GET_POWER_STATE));
        }
        powerOf(device).enterState(*wanted);
        return Answer();
    };
}

Command Parser::timeout()
{
    const auto request = value ? powerRecord(ZT::ZTPMD_SET_TIMEOUT, state, *value)
                               : powerRecord(ZT::ZTPMD_GET_TIMEOUT, state);
    return [request](Simulated& device) { return powerOf(device).perform(request); };
}

Command Parser::propagation()
{
    const auto request = value ? powerRecord(ZT::ZTPMD_SET_PROPAGATION_TIME, 2, *value)
                               : powerRecord(ZT::ZTPMD_GET_PROPAGATION_TIME, 2);
    return [request](Simulated& device) { return powerOf(device).perform(request); };
}

Command Parser::device()
{
    if (PowerSettings().devices.count(reportedName(name)) == 0) {
        throw CLI::ValidationError("NAME", "there is no device \"" + name + '"');
    }
    const auto request = deviceState ? deviceRecord(ZT::ZTPMD_SET_DEVICE_STATE, name, *deviceState)
                                     : deviceRecord(ZT::ZTPMD_GET_DEVICE_STATE, name, 0);
    return [request](Simulated& device) { return powerOf(device).perform(request); };
}

Command Parser::health()
{
    HealthMonitor trial;
    if (text) {
        trial.set(name, *text);
    } else {
        trial.get(name);
    }
    return [field = name, wanted = text,
            inJson = isOn && HealthMonitor::isText(name)](Simulated& device) {
        HealthMonitor& monitor = healthOf(device).values();
        if (!wanted) {
            const std::string value = monitor.get(field);
            return Answer({inJson ? toJson(value) : value});
        }
        monitor.set(field, *wanted);
        return Answer();
    };
}

Command Parser::hangUp()
{
    return [which = name](Simulated& device) {
        forEach(device, which, [](Daemon& daemon) { daemon.hangUp(); });
        return Answer();
    };
}

/// A fault of the next record, or a planned one, or none any more, for the daemon that `of` gives.
template <typename Of>
Action planFault(const std::vector<std::string>& words, const FaultKinds& kinds, Of of)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    if (text == "none") {
        return [of](Simulated& device) {
            of(device).faults().clear();
            return Answer();
        };
    }
    if (text.find('@') == std::string::npos) {
        faultNamed(text, kinds);
        return [of, text, kinds](Simulated& device) {
            Daemon& daemon = of(device);
            const std::string next = text + '@' + std::to_string(daemon.nextRecord());
            daemon.faults().add(parseFault(next, kinds));
            return Answer();
        };
    }
    return [of, planned = parseFault(text, kinds)](Simulated& device) {
        of(device).faults().add(planned);
        return Answer();
    };
}

Command Parser::powerFault()
{
    return planFault(words, PowerDaemonOptions::FAULTS, powerOf);
}

Command Parser::healthFault()
{
    return planFault(words, HealthDaemonOptions::FAULTS, healthOf);
}

Command Parser::slow()
{
    return [which = name, delay = parseDelay(*text)](Simulated& device) {
        forEach(device, which, [delay](Daemon& daemon) { daemon.slowDown(delay); });
        return Answer();
    };
}

Command Parser::deaf()
{
    return [which = name, isDeaf = text == "on"](Simulated& device) {
        forEach(device, which, [isDeaf](Daemon& daemon) { daemon.setDeaf(isDeaf); });
        return Answer();
    };
}

Command Parser::await()
{
    const auto longest = seconds ? std::optional(inMilliseconds(*seconds)) : std::nullopt;
    return Await{RecordPattern(words), longest, isOn};
}

RecordPattern Parser::anyUnlessGiven() const
{
    return RecordPattern(words.empty() ? std::vector<std::string>{"any"} : words);
}

Command Parser::count()
{
    return [wanted = anyUnlessGiven()](Simulated& device) {
        return Answer({std::to_string(device.journal.records(wanted).size())});
    };
}

Command Parser::records()
{
    return [wanted = anyUnlessGiven(), inJson = isOn](Simulated& device) {
        const Lines records = device.journal.records(wanted);
        return Answer(inJson ? Lines{toJson(records)} : records);
    };
}

Command Parser::show()
{
    return [inJson = isOn](Simulated& device) {
        return Answer(inJson ? Lines{toJson(stateOf(device))} : toLines(stateOf(device)));
    };
}

Command Parser::watch()
{
    return Watch{isOn};
}

} // namespace

std::string Await::complaint() const
{
    return "no client has said \"" + record.text() + "\" in time";
}

const char* const COMMANDS_HELP =
    "  power [STATE]            the power state, 0..6; 6 is never reported\n"
    "  timeout STATE [VALUE]    the time-out of a power state 0..5\n"
    "  propagation [TIME]       the propagation time of power state 2, 0..30\n"
    "  device NAME [STATE]      the state of a device in low power\n"
    "  health NAME [VALUE]      a health field; of these no client is told\n"
    "  hang-up [power|health]   that daemon, or both, close all clients and stay away for a time\n"
    "  power-fault FAULT        what befalls the next record of the power-management daemon, for\n"
    "                           a KIND, or records to come, for a KIND@WHEN; or none any more\n"
    "  health-fault FAULT       the same for the health-monitor daemon\n"
    "  slow TIME [power|health] each record is handled so much later, such as 200ms or 1.5s\n"
    "  deaf on|off [power|health]\n"
    "                           clients are accepted, and nothing they say is read\n"
    "  await RECORD [--wait S] [--since-start]\n"
    "                           ends when a client says that, or with 3 after S seconds\n"
    "  count [RECORD]           how many of these the clients have said since the start\n"
    "  records [RECORD]         these records\n"
    "  show                     all that there is\n"
    "  watch                    each record of a client, and each change, as it happens\n"
    "What is printed is JSON with --json behind the command: a number, a text, the array of "
    "records,\n"
    "an object, or for watch one in each line.\n";

Command parseCommand(const std::vector<std::string>& words)
{
    return Parser().parse(words);
}

std::vector<std::string> splitCommand(const std::string& line)
{
    return CLI::detail::split_up(line);
}

bool isVerb(const std::string& word)
{
    return Parser().knows(word);
}

} // namespace ztsim
