#include "Options.h"

#include "Log.h"
#include "TextFile.h"
#include "common/NumberOption.h"

#ifdef ZTSIM_WEB
#include "WebServer.h"
#endif

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace ztsim {
namespace {

constexpr const char* POWER_GROUP = "Power-management daemon";
constexpr const char* HEALTH_GROUP = "Health-monitor daemon and EEPROM";

constexpr const char* ABOUT =
    "Runs COMMAND, or else a shell, on a simulated device: in its own user, mount, pid and network "
    "namespace, as\n"
    "root, with nothing in /var/run but the sockets of the device's daemons, nothing on /sys/bus\n"
    "but the EEPROM, /dev/eeprom2 beside the host's devices, and eth0 beside lo.";

constexpr const char* FOOTER =
    "KIND is what happens when a record arrives, instead of the handling of that record:\n"
    "  hang-up         all clients are closed and the socket is removed, for a time\n"
    "  short-record    its sender gets the first bytes of a record, 20 from the power-management\n"
    "                  and 6 from the health-monitor daemon, and nothing ever after\n"
    "  unknown-type    its sender gets a record of type 99\n"
    "  unknown-device  its sender gets state 1 of a device named \"toaster\"; power only\n"
    "  unterminated    its sender gets a text of 32 letters without the NUL; health only\n"
    "  silence         nothing\n"
    "WHEN is a number, 3 for the third record of all clients of that daemon since the start, a\n"
    "chance for each record, such as 10%, or the first words of the records that are meant, such\n"
    "as timeout, or \"timeout 2\"; see ztsim ctl --help for more about these.\n"
    "\n"
    "\"ztsim ctl\" changes the device while it runs, from another terminal or on the device\n"
    "itself; see ztsim ctl --help for its commands. A script has a line \"TIME COMMAND\" for "
    "each:\n"
    "TIME is in seconds since the start, or after a + since the line before. A line \"COMMAND\" "
    "is\n"
    "done right after the one before, and after \"await RECORD\" once that was said. What "
    "--record\n"
    "writes is such a script, of what the clients say to the daemons; what was not done is a\n"
    "comment there. Played by --script, it brings the device into the same states at the same\n"
    "times, and the clients that are there hear the same reports.\n"
    "\n"
    "NAME of a health field is one of\n"
    "  product-type, product-variant, field-6, field-16, field-17, field-21   0..255\n"
    "  serial-number, part-number, field-8                          a text of up to 32 bytes\n"
    "  field-0, field-19, field-25                                  0..4294967295\n"
    "  value-20, value-26, value-29                                 0..255\n"
    "  value-32                                                     0..4294967295\n"
    "where field-N is what the EEPROM command N reads, and value-N what the health command N "
    "gets.\n"
    "EEPROM command 23 reads value-20, and no command reads field-17. In files, empty lines\n"
    "and lines that begin with # are skipped.\n"
    "\n"
    "NAME of a device is one of\n"
    "  display display_bl keypad_bl encoder_bl rgb_led beeper keypad encoder touch console "
    "output0\n"
    "  output1 output2 cam_output video0 input0 input1 input2 input3 status_led1 status_led2\n"
    "\n"
    "The EEPROM's device is /dev/eeprom2, its unlock attribute /sys/bus/i2c/devices/1-0050/app. It "
    "is\n"
    "  open    there from the start, and so is the attribute\n"
    "  locked  there once a word of 4 bytes, whatever they are, was written to the attribute\n"
    "  absent  never there, nor is the attribute\n"
    "\n"
    "eth0 has the address 192.168.135.6 and the netmask 255.255.255.0. At the other end of its "
    "cable\n"
    "is the default gateway, 192.168.135.1: it answers, and offers no service. Nothing else can "
    "be\n"
    "reached. The PATH is completed by /usr/sbin and /sbin, for ifconfig and route, and by\n"
    "the folder of ztsim. What is written to drop_caches and compact_memory in /proc/sys/vm stays "
    "on the device.\n"
    "\n"
    "Where namespaces are refused, as by Docker's default rules, there is as much of a device as "
    "can "
    "be\n"
    "had without them. A line on standard error says so, unless --way has asked for it:\n"
    "  namespaces  all that is said here\n"
    "  preload     COMMAND runs as this user, among the processes and on the network of this\n"
    "              machine, which not even root may change, without the device's eth0. A\n"
    "              preloaded library leads it from the device's paths to a folder that is removed\n"
    "              in the end; it cannot serve static and setuid programs, which are refused, nor\n"
    "              what makes its system calls itself\n"
    "  machine     the same without a library: the sockets and the EEPROM's device are at their\n"
    "              real paths, on this machine, and removed in the end. It is for root of a\n"
    "              throw-away container, never chosen by itself, and overwrites nothing\n"
    "\n"
    "Signals sent to ztsim are passed on to COMMAND, except for those of job control. When "
    "COMMAND\n"
    "ends, or ztsim is killed, all processes on the device are killed.\n"
    "\n"
    "The exit code is that of COMMAND, 128+N if signal N killed it, 127 if it was not found, 126\n"
    "if it could not be executed, and 125 if ztsim itself failed or was called wrongly.\n"
    "\n"
    "Example: ztsim --health-field serial-number=A1 --power-fault hang-up@3 -- my-application -x";

const std::map<std::string, Eeprom::State> EEPROM_STATES{
    {"open", Eeprom::State::Open},
    {"locked", Eeprom::State::Locked},
    {"absent", Eeprom::State::Absent},
};

const std::map<std::string, Way> WAYS{
    {"namespaces", Way::Namespaces},
    {"preload", Way::Preload},
    {"machine", Way::Machine},
};

class Formatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override
    {
        return "Usage: ztsim [OPTIONS] [-- COMMAND [ARGS...]]\n"
               "       ztsim ctl [--pid PID|--name NAME] COMMAND\n"
               "       ztsim ctl list\n";
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
        throw std::invalid_argument("\"" + text + "\" is not of the form NAME=VALUE");
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

void setTimeout(PowerSettings& settings, const std::string& text)
{
    const auto [state, value] = splitAssignment(text);
    const auto index = tools::parseNumber<std::size_t>(state, 0, settings.timeouts.size() - 1);
    settings.timeouts[index] = tools::parseNumber<std::uint32_t>(value);
}

void setDevice(PowerSettings& settings, const std::string& text)
{
    const auto [name, state] = splitAssignment(text);
    const auto device = settings.devices.find(reportedName(name));
    if (device == settings.devices.end()) {
        throw std::invalid_argument("there is no device \"" + name + "\"");
    }
    device->second = tools::parseNumber<std::int32_t>(state);
}

void setHealthField(HealthMonitor& monitor, const std::string& text)
{
    const auto [name, value] = splitAssignment(text);
    monitor.set(name, value);
}

/// What is wrong with it, or nothing.
std::string checkName(const std::string& name)
{
    constexpr std::size_t longest = 32;
    const auto isAllowed = [](char letter) {
        return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-' ||
               letter == '_' || letter == '.';
    };
    return !name.empty() && name.size() <= longest &&
                   std::all_of(name.begin(), name.end(), isAllowed)
               ? ""
               : '"' + name + "\" is not of 1 to 32 letters, digits, -, _ and .";
}

int openFile(const std::string& option, const std::string& path, int flags)
{
    const int file = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
    if (file < 0) {
        throw CLI::ValidationError(option, "cannot open " + path + ": " + std::strerror(errno));
    }
    return file;
}

/// $SHELL, in the place of COMMAND.
char** userShell()
{
    static char standard[] = "/bin/sh";
    static char* command[] = {standard, nullptr};
    char* const shell = std::getenv("SHELL");
    if (shell != nullptr && *shell != '\0') {
        command[0] = shell;
    }
    return command;
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
    std::string explain(const CLI::ParseError& error) const;
    void addWay();
    void addLogOptions();
    void addInside();
    void addControlOptions();
    void addDescriptor(const std::string& name, int& target, const std::string& description);
    void addPowerOptions();
    void addHealthOptions();
    void addFaultOptions(const std::string& daemon, const char* group, DaemonOptions& settings,
                         const FaultKinds& kinds);
    void addDialogueOptions();
    void addWebOption();
    void takeIdentity(const std::string& path);

    Options& options;
    PowerDaemonOptions power;
    HealthDaemonOptions health;
    bool noPower = false;
    bool noHealth = false;
    bool hasMarker = false; ///< there is a "--"
    CLI::App app{ABOUT, "ztsim"};
};

CommandLine::CommandLine(Options& options) : options(options)
{
    app.formatter(std::make_shared<Formatter>());
    app.footer(FOOTER);
    app.set_version_flag("--version", "ztsim " ZTSIM_VERSION);
    addLogOptions();
    app.add_flag("--no-eth0", options.noNetwork, "There is no eth0");
    addWay();
    addInside();
    addControlOptions();
    addDialogueOptions();
#ifdef ZTSIM_WEB
    addWebOption();
#endif
    addPowerOptions();
    addFaultOptions("power", POWER_GROUP, power, PowerDaemonOptions::FAULTS);
    addHealthOptions();
    addFaultOptions("health", HEALTH_GROUP, health, HealthDaemonOptions::FAULTS);
}

void CommandLine::addWay()
{
    app.add_option_function<std::string>(
           "--way", [this](const auto& name) { options.way = WAYS.at(name); },
           "How the device is set apart, see below; namespaces by default, or else preload")
        ->check(CLI::IsMember(WAYS).description(""))
        ->type_name("namespaces|preload|machine");
}

void CommandLine::addLogOptions()
{
    app.add_flag(
        "-v,--verbose", options.verbose,
        "Log each record received and sent, each fault, and each command of a script or of\n"
        "ztsim ctl, on stderr");
    app.add_flag("--time", options.logTime, "Log with the local time in front of each line");
    app.add_option_function<std::string>(
           "--log",
           [this](const auto& path) {
               options.verbose = true;
               if (!options.inside) {
                   options.logFile =
                       openFile("--log", path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
               }
           },
           "Write what --verbose would show into a file")
        ->type_name("FILE");
}

void CommandLine::addInside()
{
    app.add_option_function<std::vector<std::string>>(
           "--inside",
           [this](const auto& words) {
               const auto file = [&words](std::size_t index) {
                   return tools::parseNumber<int>(words[index]);
               };
               options.inside = Inside{file(0), file(1), file(2), file(3),           file(4),
                                       file(5), file(6), file(7), WAYS.at(words[8]), words[9]};
               power.root = health.root = options.inside->root;
           })
        ->expected(10)
        ->group("");
}

void CommandLine::addControlOptions()
{
    app.add_option("--name", options.name, "The name of the device, for ztsim ctl --name")
        ->type_name("NAME")
        ->check(checkName);
    addDescriptor("--ready-fd", options.readyFile,
                  "Write the line \"ready\" into that file descriptor once the daemons listen");
    addDescriptor("--lifeline-fd", options.lifeline,
                  "End the device when something comes from that file descriptor, or its end");
    tools::addNumber(
        app, "--speed", options.speed, 0.0, 1000.0,
        "How fast the time of the script runs; 1 by default, and with 0 no line waits\n"
        "for its time, but for some client and until all have read what they were sent")
        ->type_name("0..1000");
    tools::addNumber(app, "--seed", options.seed, 0U, UINT32_MAX,
                     "Another one picks other records for the faults by chance; 1 by default")
        ->type_name("N");
}

/// Within the device it has the same number.
void CommandLine::addDescriptor(const std::string& name, int& target,
                                const std::string& description)
{
    app.add_option_function<std::string>(
           name,
           [this, name, &target](const auto& text) {
               target = tools::parseNumber(name, text, 3, INT32_MAX);
               if (!options.inside && ::fcntl(target, F_SETFD, FD_CLOEXEC) < 0) {
                   throw CLI::ValidationError(name, text + ": " + std::strerror(errno));
               }
           },
           description)
        ->type_name("FD");
}

/// The files are opened outside, where all of them can be seen.
void CommandLine::addDialogueOptions()
{
    app.add_option_function<std::string>(
           "--script",
           [this](const auto& path) {
               options.script = path;
               if (!options.inside) {
                   options.scriptFile = openFile("--script", path, O_RDONLY);
               }
           },
           "What happens to the device at which time, see below")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--record",
           [this](const auto& path) {
               if (!options.inside) {
                   options.recordFile =
                       openFile("--record", path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
               }
           },
           "Write what the clients say to the daemons into a file, as such a script")
        ->type_name("FILE");
    CLI::Option* const capture =
        app.add_option_function<std::string>(
               "--capture",
               [this](const auto& path) {
                   if (!options.inside) {
                       options.captureFile =
                           openFile("--capture", path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
                   }
               },
               "Write each record to and from the daemons into a file for Wireshark")
            ->type_name("FILE");
    app.add_option(
           "--capture-ipc", options.captureIpc,
           "And each frame between the server that listens there and its clients; repeatable")
        ->type_name("PATH")
        ->allow_extra_args(false)
        ->needs(capture);
}

#ifdef ZTSIM_WEB
/// It listens outside, where the browser is.
void CommandLine::addWebOption()
{
    app.add_option_function<std::string>(
           "--web",
           [this](const auto& text) {
               const int port = tools::parseNumber("--web", text, 0, 65535);
               try {
                   options.webSocket = options.inside ? -1 : listenOnLoopback(port);
               } catch (const std::system_error& error) {
                   throw CLI::ValidationError("--web", error.what());
               }
           },
           "Show the device on a page, whose address is printed on stderr, for a browser on\n"
           "this machine; 0, some free port, by default")
        ->type_name("[PORT]")
        ->expected(0, 1)
        ->default_str("0");
}
#endif

void CommandLine::addPowerOptions()
{
    PowerSettings& settings = power.settings;
    CLI::Option* const none =
        app.add_flag("--no-power-daemon", noPower, "Nothing listens on /var/run/ztpmd_api");
    CLI::Option* const state = tools::addNumber(app, "--power-state", settings.state, 0U, 5U,
                                                "Initial power state; 0 by default")
                                   ->type_name("0..5");

    CLI::Option* const timeout = addAssignments(
        app, "--power-timeout", [&settings](const auto& text) { setTimeout(settings, text); },
        "Initial time-out of a power state 0..5; 0 by default; repeatable");
    CLI::Option* const time =
        tools::addNumber(app, "--propagation-time", settings.propagationTime, 0U,
                         PowerSettings::MAX_PROPAGATION_TIME,
                         "Initial propagation time of power state 2; 0 by default")
            ->type_name("0..30");

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

void CommandLine::addHealthOptions()
{
    CLI::Option* const none =
        app.add_flag("--no-health-daemon", noHealth, "Nothing listens on /var/run/zthmd_api");
    CLI::Option* const file = app.add_option_function<std::string>(
        "--identity", [this](const auto& path) { takeIdentity(path); },
        "The device's serial number and other health fields, a line NAME=VALUE each;\n"
        "--health-field overrides them");
    CLI::Option* const field = addAssignments(
        app, "--health-field", [this](const auto& text) { setHealthField(health.monitor, text); },
        "Initial value of a health field, see below; 0 or empty by default; repeatable");
    CLI::Option* const eeprom =
        app.add_option_function<std::string>(
               "--eeprom", [this](const auto& name) { options.eeprom = EEPROM_STATES.at(name); },
               "State of the EEPROM's device, see below; open by default")
            ->check(CLI::IsMember(EEPROM_STATES).description(""));
    file->type_name("FILE")->excludes(none);
    field->type_name("NAME=VALUE")->excludes(none);
    eeprom->type_name("open|locked|absent");
    for (CLI::Option* option : {none, file, field, eeprom}) {
        option->group(HEALTH_GROUP);
    }
}

/// Read outside only: inside, the lines have become options.
void CommandLine::takeIdentity(const std::string& path)
{
    if (options.inside) {
        return;
    }
    const int file = openFile("--identity", path, O_RDONLY);
    const std::string text = readAll(file);
    ::close(file);
    try {
        forEachLine(path, text, [this](const std::string& line) {
            setHealthField(health.monitor, line);
            options.fields.push_back(line);
        });
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--identity", error.what());
    }
}

void CommandLine::addFaultOptions(const std::string& daemon, const char* group,
                                  DaemonOptions& settings, const FaultKinds& kinds)
{
    CLI::Option* const fault = addRepeatable(
        app, "--" + daemon + "-fault",
        [&settings, &kinds](const auto& texts) { settings.faults.set(texts, kinds); },
        "What goes wrong at which record, see below; repeatable");
    fault->type_name("KIND@WHEN");
    const std::string name = "--" + daemon + "-away";
    CLI::Option* const away = app.add_option_function<std::string>(
        name,
        [&settings, name](const auto& text) {
            settings.away =
                std::chrono::milliseconds(tools::parseNumber(name, text, 0U, UINT32_MAX));
        },
        "How long a hang-up lasts; 300 by default");
    away->type_name("MS");
    for (CLI::Option* option : {fault, away}) {
        option->group(group)->excludes("--no-" + daemon + "-daemon");
    }
}

void CommandLine::parse(int argc, char** argv)
{
    char** const end = argv + argc;
    char** const marker =
        std::find_if(argv, end, [](std::string_view text) { return text == "--"; });
    hasMarker = marker != end;
    app.parse(static_cast<int>(marker - argv), argv);
    options.isShell = end - marker < 2;
    options.command = options.isShell ? userShell() : marker + 1;
    power.faults.seed(options.seed);
    health.faults.seed(options.seed);
    power.verbose = options.verbose;
    health.verbose = options.verbose;
    options.power = noPower ? std::nullopt : std::optional(power);
    options.health = noHealth ? std::nullopt : std::optional(health);
}

int CommandLine::exit(const CLI::ParseError& error) const
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        const int exitCode = app.exit(error);
        flushOutput();
        return exitCode;
    }
    log(explain(error) + "; see ztsim --help");
    return FAILED;
}

/// Of what is no option, what the user may have meant.
std::string CommandLine::explain(const CLI::ParseError& error) const
{
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::ExtrasError)) {
        return error.what();
    }
    const std::string first = app.remaining().front();
    if (hasMarker || first.compare(0, 1, "-") == 0) {
        return "there is no option " + first;
    }
    if (first == "ctl") {
        return "ctl comes first, and takes --pid and --name alone: ztsim ctl --name NAME COMMAND";
    }
    return "put -- before the command: ztsim -- " + first;
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
