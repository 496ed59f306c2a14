#ifndef ZT_TESTS_STUBCOMMANDS_H
#define ZT_TESTS_STUBCOMMANDS_H

#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <string>

/// Commands that the shell finds before the system's own. Each notes its name and its arguments.
class StubCommands {
public:
    StubCommands() { setenv("PATH", (folder / "" + ':' + path).c_str(), 1); }

    ~StubCommands() { setenv("PATH", path.c_str(), 1); }

    StubCommands(const StubCommands&) = delete;
    StubCommands& operator=(const StubCommands&) = delete;

    /// Adds a command, or replaces it; `script` is what it does beside taking notes.
    void add(const std::string& name, const std::string& script) const
    {
        writeAll(folder / name, "#!/bin/sh\n"
                                "{ printf " +
                                    name + "; printf ' <%s>' \"$@\"; echo; } >>'" + log + "'\n" +
                                    script + "\n");
        std::filesystem::permissions(folder / name, std::filesystem::perms::owner_all);
    }

    /// Lets the shell find nothing but these commands.
    void hideOthers() const { setenv("PATH", (folder / "").c_str(), 1); }

    /// What was run so far, a line for each: "name <argument> <argument>".
    std::string notes() const { return readAll(log); }

private:
    const std::string path = std::getenv("PATH");
    const TemporaryFolder folder;
    const std::string log = folder / "notes";
};

#endif
