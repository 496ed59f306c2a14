#include "Failure.h"
#include "Output.h"
#include "RequiredCommand.h"
#include "Verbs.h"
#include "zt/ZTSystem.h"

#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace zt {
namespace {

/// The shell would heed these in a name.
const char UNSAFE[] = "$`\\\"";

struct ProcessOptions {
    std::vector<std::string> names;
    bool json = false;
};

int psVerb(const ProcessOptions& options)
{
    requireCommand("killall", "psmisc");
    Json fields;
    bool allRun = true;
    for (const std::string& name : options.names) {
        const bool runs = ZT::ZTSystem::isProcessRunning(name);
        fields[name] = runs;
        allRun = allRun && runs;
    }
    if (options.json) {
        printJson(fields);
    } else {
        for (const auto& field : fields.items()) {
            printLine(escape(field.key()) + (field.value() ? " runs" : " does not run"));
        }
    }
    return allRun ? DONE : FAILED;
}

int runVerb(const std::vector<std::string>& words)
{
    std::string command;
    for (const std::string& word : words) {
        command += (command.empty() ? "" : " ") + word;
    }
    if (command.empty()) {
        throw CLI::RequiredError("COMMAND");
    }
    std::signal(SIGPIPE, SIG_DFL); // for the command
    const int result = ZT::ZTSystem::runSystemCommand(command);
    if (result < 0) {
        throw Failure(NOT_RUN,
                      "\"" + escape(command) + "\" was ended by a signal, or could not be run: " +
                          describeResult(result),
                      "the command in a shell, to see what becomes of it");
    }
    return result;
}

} // namespace

void addProcess(CLI::App& app, int& exitCode)
{
    CLI::App* const run =
        app.add_subcommand("run", "Run a command by the shell, and end with its exit code");
    run->prefix_command();
    run->footer("Behind it stand the words of the command, which are joined by blanks.");
    run->callback([run, &exitCode] { exitCode = runVerb(run->remaining()); });

    const auto options = std::make_shared<ProcessOptions>();
    CLI::App* const ps = app.add_subcommand("ps", "Say whether processes of these names run");
    ps->add_option("NAME", options->names, "The name of a program, as killall takes it")
        ->required()
        ->check([](const std::string& name) {
            return !name.empty() && name.find_first_of(UNSAFE) == std::string::npos
                       ? ""
                       : "\"" + name + "\" is no name of a program";
        });
    ps->add_flag("--json", options->json, "Print JSON");
    ps->callback([options, &exitCode] { exitCode = psVerb(*options); });
}

} // namespace zt
