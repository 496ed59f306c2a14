#include "ControlClient.h"

#include "Command.h"
#include "Control.h"
#include "ControlSocket.h"
#include "Log.h"
#include "Options.h"
#include "common/NumberOption.h"
#include "common/Printable.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

constexpr const char* ABOUT_CTL =
    "Says a command to a running device: from another terminal of the same user, or on the device.";

class CtlFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override
    {
        return "Usage: ztsim ctl [--pid PID] COMMAND\n";
    }
};

std::string footer()
{
    return std::string("COMMAND is one of\n") + COMMANDS_HELP +
           "A STATE, VALUE or TIME in brackets changes that, and the power-management daemon "
           "tells\n"
           "its clients; without it, what there is is printed. For NAMEs and KINDs see\n"
           "ztsim --help.\n"
           "\n"
           "It reaches the device that it is on, or else the only one that this user runs, or\n"
           "that of --pid.\n"
           "\n"
           "The exit code is 0, or 125 for a failure, which a line on standard error tells.\n"
           "\n"
           "Example: ztsim ctl power 3";
}

/// What the process was started with, for the user to know it by.
std::string commandLineOf(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
    std::string line{std::istreambuf_iterator<char>(file), {}};
    std::replace(line.begin(), line.end(), '\0', ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

Stream::socket connect(boost::asio::io_context& context, std::optional<pid_t> wanted)
{
    auto devices =
        connectToDevices(context, [wanted](pid_t pid) { return !wanted || pid == *wanted; });
    if (devices.empty()) {
        throw std::runtime_error(wanted ? "no device of process " + std::to_string(*wanted) +
                                              " runs here"
                                        : "no device runs here: start ztsim in another terminal");
    }
    if (devices.size() == 1) {
        return std::move(devices.begin()->second);
    }
    std::string list;
    for (const auto& device : devices) {
        list += (list.empty() ? "" : "; ") + std::to_string(device.first) + ": " +
                commandLineOf(device.first);
    }
    throw std::runtime_error("several devices run here, choose one with --pid: " + list);
}

std::string exchange(Stream::socket& device, const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += word + '\0';
    }
    boost::system::error_code ended; // what has come tells
    boost::asio::write(device, boost::asio::buffer(text), ended);
    device.shutdown(Stream::socket::shutdown_send, ended);
    std::string answer;
    boost::asio::read(device, boost::asio::dynamic_buffer(answer), ended);
    return answer;
}

void tell(std::optional<pid_t> pid, const std::vector<std::string>& words)
{
    boost::asio::io_context context;
    Stream::socket device = connect(context, pid);
    const std::string answer = exchange(device, words);
    if (answer.empty()) {
        throw std::runtime_error("the device has ended");
    }
    const std::string text = answer.substr(1);
    if (answer.front() != Control::DONE) {
        throw std::runtime_error(text);
    }
    if (!text.empty()) { // it is a line
        std::cout << tools::printable(text.substr(0, text.size() - 1)) << '\n';
        flushOutput();
    }
}

} // namespace

int runControlClient(int argc, char** argv)
{
    CLI::App app(ABOUT_CTL, "ztsim ctl");
    app.formatter(std::make_shared<CtlFormatter>());
    app.footer(footer());
    app.prefix_command();
    std::optional<pid_t> pid;
    tools::addNumber(app, "--pid", pid, 1, INT32_MAX,
                     "The process of the ztsim; the only one that runs by default")
        ->type_name("PID");
    try {
        app.parse(argc, argv);
        parseCommand(app.remaining()); // a wrong one is told without a device, too
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
    tell(pid, app.remaining());
    return 0;
}

} // namespace ztsim
