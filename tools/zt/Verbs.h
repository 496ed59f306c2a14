#ifndef ZT_TOOL_VERBS_H
#define ZT_TOOL_VERBS_H

#include <CLI/CLI.hpp>

namespace zt {

/// Each adds its verbs to the command line. A verb does its work while the command line is parsed,
/// after all of it was understood; it throws Failure, and CLI::ParseError for wrong usage.
void addInfo(CLI::App& app);
void addPower(CLI::App& app);
void addHealth(CLI::App& app);
void addEeprom(CLI::App& app);
void addNet(CLI::App& app);
void addCopy(CLI::App& app);
void addIpc(CLI::App& app);
void addSocket(CLI::App& app);
void addDecode(CLI::App& app);
void addExplain(CLI::App& app);
void addProcess(CLI::App& app, int& exitCode);

/// For what has verbs of its own: one of them is required.
inline void requireVerb(CLI::App& app)
{
    app.require_subcommand(0, 1); // or CLI11 takes an argument that is called like a verb for one
    app.callback([&app] {         // CLI11 itself would ask for it before it tells of an unknown one
        if (app.get_subcommands().empty()) {
            throw CLI::RequiredError("A verb");
        }
    });
}

} // namespace zt

#endif
