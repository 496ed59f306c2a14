#include "Options.h"

#include "Log.h"
#include "Number.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ztsim {
namespace {

constexpr const char* POWER_GROUP = "Power-management daemon";
constexpr const char* FAULT_GROUP = "Faults of the power-management daemon";

constexpr const char* ABOUT =
    "Runs COMMAND on a simulated device: in its own user, mount, pid and network namespace, as\n"
    "root, with nothing in /var/run but the sockets of the device's daemons.";

constexpr const char* FOOTER =
    "KIND is what happens when the Nth record, of all clients since the start, arrives, instead "
    "of\n"
    "the handling of that record:\n"
    "  hang-up         all clients are closed and the socket is removed, for --power-away\n"
    "  short-record    its sender gets the first 20 bytes of a record, and nothing ever after\n"
    "  unknown-type    its sender gets a record of type 99\n"
    "  unknown-device  its sender gets state 1 of a device named \"toaster\"\n"
    "  silence         nothing\n"
    "\n"
    "Signals sent to ztsim are passed on to COMMAND, except for those of job control. When "
    "COMMAND\n"
    "ends, or ztsim is killed, all processes on the device are killed.\n"
    "\n"
    "The exit code is that of COMMAND, 128+N if signal N killed it, 127 if it was not found, 126\n"
    "if it could not be executed, and 125 if ztsim itself failed or was called wrongly.\n"
    "\n"
    "Example: ztsim --power-state 2 --power-fault hang-up@3 -- my-application --option";

class Formatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override
    {
        return "Usage: ztsim [OPTIONS] -- COMMAND [ARGS...]\n";
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        return ' ' + option->get_type_name();
    }
};

std::pair<std::string, std::string> splitAssignment(const std::string& text)
{
    const auto at = text.find('=');
    if (at == std::string::npos) {
        throw std::invalid_argument("\"" + text + "\" is not an assignment");
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

void setTimeout(PowerSettings& settings, const std::string& text)
{
    const auto [state, value] = splitAssignment(text);
    const auto index = parseNumber<std::uint32_t>(state);
    if (index >= settings.timeouts.size()) {
        throw std::invalid_argument("there is no time-out of power state " + state);
    }
    settings.timeouts[index] = parseNumber<std::uint32_t>(value);
}

void setDevice(PowerSettings& settings, const std::string& text)
{
    const auto [name, state] = splitAssignment(text);
    const auto device = settings.devices.find(reportedName(name));
    if (device == settings.devices.end()) {
        throw std::invalid_argument("there is no device \"" + name + "\"");
    }
    device->second = parseNumber<std::int32_t>(state);
}

/// What a function that takes the texts of a repeatable option throws becomes a usage error.
template <typename Take>
CLI::Option* addRepeatable(CLI::App& app, const std::string& name, Take take,
                           const std::string& description)
{
    const auto checked = [name, take](const std::vector<std::string>& texts) {
        try {
            take(texts);
        } catch (const std::invalid_argument& error) {
            throw CLI::ValidationError(name, error.what());
        }
    };
    return app.add_option_function<std::vector<std::string>>(name, checked, description)
        ->allow_extra_args(false);
}

template <typename Set>
CLI::Option* addAssignments(CLI::App& app, const std::string& name, Set set,
                            const std::string& description)
{
    const auto setAll = [set](const std::vector<std::string>& texts) {
        std::for_each(texts.begin(), texts.end(), set);
    };
    return addRepeatable(app, name, setAll, description);
}

class CommandLine {
public:
    explicit CommandLine(Options& options);

    void parse(int argc, char** argv);
    int exit(const CLI::ParseError& error) const;

private:
    void addPowerOptions();
    void addFaultOptions();

    Options& options;
    PowerDaemonOptions power;
    bool noPower = false;
    CLI::App app{ABOUT, "ztsim"};
};

CommandLine::CommandLine(Options& options) : options(options)
{
    app.formatter(std::make_shared<Formatter>());
    app.footer(FOOTER);
    app.set_version_flag("--version", "ztsim " ZTSIM_VERSION);
    app.add_flag("-v,--verbose", power.verbose,
                 "Log each record received and sent, and each fault, on stderr");
    app.add_option("--inside", options.inside)->group("");
    addPowerOptions();
    addFaultOptions();
}

void CommandLine::addPowerOptions()
{
    PowerSettings& settings = power.settings;
    CLI::Option* const none =
        app.add_flag("--no-power-daemon", noPower, "Nothing listens on /var/run/ztpmd_api");
    CLI::Option* const state =
        app.add_option("--power-state", settings.state, "Initial power state; 0 by default")
            ->type_name("0..5")
            ->check(CLI::Range(0U, 5U).description(""));

    CLI::Option* const timeout = addAssignments(
        app, "--power-timeout", [&settings](const auto& text) { setTimeout(settings, text); },
        "Initial time-out of a power state 0..5; 0 by default; repeatable");
    CLI::Option* const time =
        app.add_option("--propagation-time", settings.propagationTime,
                       "Initial propagation time of power state 2; 0 by default")
            ->type_name("0..30")
            ->check(CLI::Range(0U, PowerSettings::MAX_PROPAGATION_TIME).description(""));

    CLI::Option* const device = addAssignments(
        app, "--device", [&settings](const auto& text) { setDevice(settings, text); },
        "Initial state of a device in low power; 0 by default; repeatable");
    timeout->type_name("STATE=VALUE");
    device->type_name("NAME=STATE");
    for (CLI::Option* option : {none, state, timeout, time, device}) {
        option->group(POWER_GROUP);
    }
    for (CLI::Option* option : {state, timeout, time, device}) {
        option->excludes(none);
    }
}

void CommandLine::addFaultOptions()
{
    CLI::Option* const fault = addRepeatable(
        app, "--power-fault", [this](const auto& texts) { power.faults = parseFaults(texts); },
        "What goes wrong at which record, see below; repeatable");
    fault->type_name("KIND@N");
    CLI::Option* const away = app.add_option_function<unsigned>(
        "--power-away", [this](unsigned value) { power.away = std::chrono::milliseconds(value); },
        "How long a hang-up lasts; 300 by default");
    away->type_name("MS");
    for (CLI::Option* option : {fault, away}) {
        option->group(FAULT_GROUP)->excludes("--no-power-daemon");
    }
}

void CommandLine::parse(int argc, char** argv)
{
    char** const end = argv + argc;
    char** const marker =
        std::find_if(argv, end, [](std::string_view text) { return text == "--"; });
    app.parse(static_cast<int>(marker - argv), argv);
    if (end - marker < 2) {
        throw CLI::RequiredError("-- COMMAND");
    }
    options.command = marker + 1;
    if (noPower) {
        options.power.reset();
    } else {
        options.power = power;
    }
}

int CommandLine::exit(const CLI::ParseError& error) const
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        return app.exit(error);
    }
    log(std::string(error.what()) + "; see ztsim --help");
    return FAILED;
}

} // namespace

Options parseOptions(int argc, char** argv)
{
    Options options;
    CommandLine commandLine(options);
    try {
        commandLine.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::exit(commandLine.exit(error));
    }
    return options;
}

} // namespace ztsim
