#include "Command.h"

#include "State.h"
#include "common/NumberOption.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
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

template <typename Texts>
std::string alternatives(const Texts& texts)
{
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : "|") + text;
    }
    return joined;
}

std::string deviceNames()
{
    std::vector<std::string> names;
    for (const auto& device : PowerSettings().devices) {
        names.push_back(device.first);
    }
    return alternatives(names);
}

std::string faultNames(const FaultKinds& kinds)
{
    std::vector<std::string> names;
    std::transform(kinds.begin(), kinds.end(), std::back_inserter(names), nameOf);
    names.emplace_back("none");
    return alternatives(names);
}

/// What COMMANDS_HELP says behind the arguments of a command; a line may go on in those below.
std::string helpOf(const std::string& verb)
{
    constexpr std::size_t column = 27; // in which that begins
    std::istringstream lines(COMMANDS_HELP);
    std::string help;
    bool isMeant = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 3, "   ") != 0) {
            const std::string rest = line.substr(2);
            isMeant = rest.substr(0, rest.find(' ')) == verb;
        }
        if (isMeant && line.size() > column && line[column - 1] == ' ') {
            help += (help.empty() ? "" : " ") + line.substr(column);
        }
    }
    return help;
}

/// The words of a command become options of CLI11, which checks them.
class Parser {
public:
    Parser();

    bool knows(const std::string& verb) const;
    std::vector<CommandForm> forms() const;
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

// The descriptions are hints for CommandForm.
Parser::Parser()
{
    app.set_help_flag();
    app.require_subcommand(0, 1); // what comes behind is no command, even if it is called like one
    tools::addNumber(addVerb("power", &Parser::power), "STATE", value, 0U, 6U, "0..6");
    CLI::App& timeoutVerb = addVerb("timeout", &Parser::timeout);
    tools::addNumber(timeoutVerb, "STATE", state, 0U, 5U, "0..5")->required();
    tools::addNumber(timeoutVerb, "VALUE", value, 0U, UINT32_MAX, "0..4294967295");
    tools::addNumber(addVerb("propagation", &Parser::propagation), "TIME", value, 0U,
                     PowerSettings::MAX_PROPAGATION_TIME, "0..30");
    CLI::App& deviceVerb = addVerb("device", &Parser::device);
    deviceVerb.add_option("NAME", name, deviceNames())->required();
    tools::addNumber(deviceVerb, "STATE", deviceState, INT32_MIN, INT32_MAX,
                     "-2147483648..2147483647");
    CLI::App& healthVerb = addVerb("health", &Parser::health);
    healthVerb.add_option("NAME", name, alternatives(HealthMonitor::names()))->required();
    healthVerb.add_option("VALUE", text);
    addDaemon(addVerb("hang-up", &Parser::hangUp));
    addVerb("power-fault", &Parser::powerFault)
        .add_option("KIND", words, faultNames(PowerDaemonOptions::FAULTS))
        ->required();
    addVerb("health-fault", &Parser::healthFault)
        .add_option("KIND", words, faultNames(HealthDaemonOptions::FAULTS))
        ->required();
    CLI::App& slowVerb = addVerb("slow", &Parser::slow);
    slowVerb.add_option("TIME", text, "200ms, 1.5s, 0s")->required();
    addDaemon(slowVerb);
    CLI::App& deafVerb = addVerb("deaf", &Parser::deaf);
    deafVerb.add_option("STATE", text, "on|off")->required()->check(CLI::IsMember({"on", "off"}));
    addDaemon(deafVerb);
    CLI::App& awaitVerb = addVerb("await", &Parser::await);
    awaitVerb.add_option("RECORD", words, "timeout 2")->required();
    tools::addNumber(awaitVerb, "--wait", seconds, 0.0, LONGEST_WAIT, "seconds");
    awaitVerb.add_flag("--since-start", isOn);
    addVerb("count", &Parser::count).add_option("RECORD", words, "any");
    addVerb("records", &Parser::records).add_option("RECORD", words, "any");
    addVerb("show", &Parser::show);
    addVerb("watch", &Parser::watch);
    for (const char* const question : {"power", "timeout", "propagation", "device", "health",
                                       "count", "records", "show", "watch"}) {
        // A number is the same in JSON. No form has what only programs want.
        app.get_subcommand(question)->add_flag("--json", isOn)->group("");
    }
}

void Parser::addDaemon(CLI::App& verb)
{
    verb.add_option("DAEMON", name, "power|health")->check(CLI::IsMember({"power", "health"}));
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

std::vector<CommandForm> Parser::forms() const
{
    std::vector<CommandForm> forms;
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        CommandForm form{verb->get_name(), helpOf(verb->get_name()), {}};
        const auto isShown = [](const CLI::Option* option) { return !option->get_group().empty(); };
        for (const CLI::Option* option : verb->get_options(isShown)) {
            form.arguments.push_back({option->get_name(), option->get_required(),
                                      option->get_expected_max() == 0,
                                      option->get_expected_max() > 1, option->get_description()});
        }
        forms.push_back(std::move(form));
    }
    return forms;
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
    const std::string text = joinWords(words);
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

Answer perform(const Action& action, Simulated& device, Event::By by, const std::string& text)
{
    const Journal::Hold hold(device.journal);
    Answer answer = action(device);
    if (!answer) {
        device.journal.addChange(by, text);
    }
    return answer;
}

std::string joinWords(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

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

std::vector<CommandForm> commandForms()
{
    return Parser().forms();
}

} // namespace ztsim
