#include "Failure.h"
#include "OffDevice.h"
#include "Output.h"
#include "Usage.h"
#include "Verbs.h"
#include "zt/ZTEnvironmentVariable.h"
#include "ztutil/ZTDebug.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* ABOUT = "The device's operating system from the shell.";

constexpr const char* FOOTER =
    "zt VERB --help says more about a verb, and the manual page zt(1) all of it.\n"
    "\n"
    "What is read is printed plainly, or with --json as JSON, one object a line. Failures are "
    "told\n"
    "on standard error, with the library's result and what to try. ZT_DEBUG_LEVEL=1 shows the\n"
    "library's own lines there, too.\n"
    "\n"
    "Exit codes:\n"
    "    0  done\n"
    "    1  it failed; for ps: a process does not run\n"
    "    2  wrong usage\n"
    "    3  no answer came in time\n"
    "    4  the daemon or the other side cannot be reached\n"
    "  125  the command of run could not be run, or a signal ended it; else its own\n"
    "  130  Ctrl-C stopped a copy, or another signal N with 128+N; watch and listen end with 0";

class Formatter : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override
    {
        const bool isNamed = option->get_positional() || option->get_type_name().empty();
        return isNamed ? "" : ' ' + option->get_type_name();
    }
};

/// Lest a socket of ours take the place of a closed one of these.
void openStandardStreams()
{
    int fd = STDIN_FILENO;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = ::open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open)
    }
    ::close(fd);
}

/// The library's own lines would mix with ours; whoever wants them sees them on standard error.
void quietLibrary()
{
    if (ZT::ZTEnvironmentVariable::getEnvironmentVariable("ZT_DEBUG_LEVEL") == nullptr) {
        ZT::ZTDebug::setLevel(0);
        std::cout.rdbuf(nullptr);
    } else {
        std::cout.rdbuf(std::cerr.rdbuf());
    }
}

int exitFor(const CLI::App& app, const CLI::ParseError& error)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        std::ostringstream text;
        app.exit(error, text);
        const std::string lines = text.str();
        zt::printLine(lines.substr(0, lines.find_last_not_of('\n') + 1));
        return zt::DONE;
    }
    zt::complain(zt::explain(app, error));
    return zt::WRONG_USAGE;
}

/// In the order in which CLI11 takes them. "run" hands on what stands behind it, so that CLI11
/// would take a "--" there for the end of that verb.
std::vector<std::string> reversedArguments(int argc, char** argv)
{
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() > 1 && arguments[0] == "run" && arguments[1] == "--") {
        arguments.erase(arguments.begin() + 1);
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

int run(int argc, char** argv)
{
    int exitCode = zt::DONE;
    CLI::App app(ABOUT, "zt");
    app.formatter(std::make_shared<Formatter>());
    app.set_version_flag("--version", "zt " ZT_VERSION);
    zt::requireVerb(app);
    zt::addInfo(app);
    zt::addPower(app);
    zt::addHealth(app);
    zt::addEeprom(app);
    zt::addNet(app);
    zt::addCopy(app);
    zt::addIpc(app);
    zt::addSocket(app);
    zt::addDecode(app);
    zt::addExplain(app);
    zt::addProcess(app, exitCode);
    app.footer(FOOTER); // behind them, for it would be theirs, too
    try {
        app.parse(reversedArguments(argc, argv));
    } catch (const CLI::ParseError& error) {
        return exitFor(app, error);
    }
    return exitCode;
}

} // namespace

int main(int argc, char** argv)
{
    openStandardStreams();
    // A daemon that hangs up is a failure that is told; see Output.h for who reads what we print.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        quietLibrary();
        return run(argc, argv);
    } catch (const zt::Failure& failure) {
        zt::tell(failure);
        if (failure.advice.canSimulate && zt::isOffDevice()) {
            zt::complain("or try: " + zt::simulated(argc, argv));
        }
        return failure.exitCode;
    } catch (const std::exception& error) {
        zt::complain(error.what());
        return zt::FAILED;
    }
}
