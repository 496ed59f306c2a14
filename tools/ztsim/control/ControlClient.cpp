#include "ControlClient.h"

#include "Command.h"
#include "Control.h"
#include "ControlSocket.h"
#include "DevicePaths.h"
#include "Log.h"
#include "Options.h"
#include "State.h"
#include "common/NumberOption.h"
#include "common/Printable.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

constexpr int TOO_LATE = 3; ///< the exit code
constexpr const char* ENDED = "the device has ended";

constexpr const char* ABOUT_CTL =
    "Says a command to a running device: from another terminal of the same user, or on the device.";

class CtlFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override
    {
        return "Usage: ztsim ctl [--pid PID|--name NAME] COMMAND\n"
               "       ztsim ctl list [--json]\n";
    }
};

std::string footer()
{
    return std::string("COMMAND is one of\n") + COMMANDS_HELP +
           "A STATE, VALUE or TIME in brackets changes that, and the power-management daemon "
           "tells\n"
           "its clients; without it, what there is is printed. For NAMEs, KINDs and WHEN see\n"
           "ztsim --help.\n"
           "\n"
           "RECORD is the first words of what a client says, as --record writes it, such as\n"
           "\"timeout\" or \"timeout 2 9\"; the word any stands for each, and a dot\n"
           "behind them for the end: \"power .\" is the question, and \"power any\" is not.\n"
           "\n"
           "It reaches the device that it is on, or else the only one that this user runs, or\n"
           "that of --pid or --name; \"list\" shows them: the process, the name or a -, and\n"
           "what was run.\n"
           "\n"
           "The exit code is 0, 3 when the time of --wait is up, or 125 for a failure; a line on\n"
           "standard error tells which.\n"
           "\n"
           "Example: ztsim ctl power 3";
}

/// Which device is meant.
struct Target {
    std::optional<pid_t> pid;
    std::optional<std::string> name;

    /// Without namespaces the device that this process is on is one among others.
    static Target usual()
    {
        const char* const own = std::getenv(DEVICE_VARIABLE);
        return own == nullptr ? Target() : Target{tools::parseNumber<pid_t>(own), {}};
    }

    bool matches(pid_t otherPid, const std::string& otherName) const
    {
        return (!pid || *pid == otherPid) && (!name || *name == otherName);
    }

    std::string missing() const
    {
        if (name) {
            return "no device named " + *name + " runs here";
        }
        return pid ? "no device of process " + std::to_string(*pid) + " runs here"
                   : "no device runs here: start ztsim in another terminal";
    }
};

/// What the process was started with.
std::vector<std::string> commandOf(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
    std::vector<std::string> words;
    for (std::string word; std::getline(file, word, '\0');) {
        words.push_back(word);
    }
    return words;
}

/// For the user to know it by.
std::string commandLineOf(pid_t pid)
{
    std::string line;
    for (const std::string& word : commandOf(pid)) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

Stream::socket connect(boost::asio::io_context& context, const Target& target)
{
    const auto devices = findDevices(
        [&target](pid_t pid, const std::string& name) { return target.matches(pid, name); });
    if (devices.empty()) {
        throw std::runtime_error(target.missing());
    }
    if (devices.size() == 1) {
        const int device = connectToDevice(devices.front().address);
        if (device < 0) {
            throw std::runtime_error(ENDED);
        }
        return {context, Stream(), device};
    }
    std::string list;
    for (const ReachedDevice& device : devices) {
        list += (list.empty() ? "" : "; ") + std::to_string(device.pid) +
                (device.name.empty() ? "" : " (" + device.name + ')') + ": " +
                commandLineOf(device.pid);
    }
    throw std::runtime_error("several devices run here, choose one with --pid or --name: " + list);
}

void printLine(const std::string& line)
{
    std::cout << tools::printable(line) << '\n';
    flushOutput();
}

void list(bool inJson)
{
    Json array = Json::array();
    for (const ReachedDevice& device :
         findDevices([](pid_t, const std::string&) { return true; })) {
        if (inJson) {
            array.push_back({{"pid", device.pid},
                             {"name", device.name.empty() ? Json() : Json(device.name)},
                             {"command", commandOf(device.pid)}});
        } else {
            printLine(std::to_string(device.pid) + ' ' + (device.name.empty() ? "-" : device.name) +
                      ' ' + commandLineOf(device.pid));
        }
    }
    if (inJson) {
        printLine(toJson(array));
    }
}

void send(Stream::socket& device, const std::vector<std::string>& words)
{
    std::string text = Control::VERSION + std::string(1, '\0');
    for (const std::string& word : words) {
        text += word + '\0';
    }
    boost::system::error_code ended; // what comes tells
    boost::asio::write(device, boost::asio::buffer(text), ended);
    device.shutdown(Stream::socket::shutdown_send, ended);
}

/// Up to the end; `take` gets each line.
template <typename Take>
void receiveLines(Stream::socket& device, Take take)
{
    std::string text;
    boost::system::error_code ended;
    std::size_t size = 0;
    while ((size = boost::asio::read_until(device, boost::asio::dynamic_buffer(text), '\0',
                                           ended)) > 0) {
        take(text.substr(0, size - 1));
        text.erase(0, size);
    }
}

/// Returns the exit code.
int tell(const Target& target, const std::vector<std::string>& words)
{
    boost::asio::io_context context;
    Stream::socket device = connect(context, target);
    send(device, words);
    char outcome = 0;
    boost::system::error_code ended;
    if (boost::asio::read(device, boost::asio::buffer(&outcome, 1), ended) == 0) {
        throw std::runtime_error(ENDED);
    }
    if (outcome == Session::DONE) {
        receiveLines(device, printLine);
        return 0;
    }
    receiveLines(device, log);
    return outcome == Session::TOO_LATE ? TOO_LATE : FAILED;
}

/// Whether that is "list", which is no command of one device.
std::optional<bool> parseList(const std::vector<std::string>& words)
{
    if (words.empty() || words.front() != "list") {
        return std::nullopt;
    }
    const bool inJson = words.size() == 2 && words.back() == "--json";
    if (words.size() > 1 && !inJson) {
        throw std::invalid_argument("list: takes nothing but --json");
    }
    return inJson;
}

} // namespace

int runControlClient(int argc, char** argv)
{
    CLI::App app(ABOUT_CTL, "ztsim ctl");
    app.formatter(std::make_shared<CtlFormatter>());
    app.footer(footer());
    app.prefix_command();
    Target target;
    std::optional<bool> listing;
    tools::addNumber(app, "--pid", target.pid, 1, INT32_MAX,
                     "The process of the ztsim; the only one that runs by default")
        ->type_name("PID");
    app.add_option("--name", target.name, "The name of the device")->type_name("NAME");
    try {
        app.parse(argc, argv);
        listing = parseList(app.remaining());
        if (!listing) {
            parseCommand(app.remaining()); // a wrong one is told without a device, too
        }
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            const int exitCode = app.exit(error);
            flushOutput();
            return exitCode;
        }
        log(std::string(error.what()) + "; see ztsim ctl --help");
        return FAILED;
    } catch (const std::invalid_argument& error) {
        log(std::string(error.what()) + "; see ztsim ctl --help");
        return FAILED;
    }
    if (listing) {
        list(*listing);
        return 0;
    }
    return tell(target.pid || target.name ? target : Target::usual(), app.remaining());
}

} // namespace ztsim
