#ifndef ZT_TESTS_COMMANDS_H
#define ZT_TESTS_COMMANDS_H

#include "support/Interpose.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

/// Takes the place of system(): notes each command, runs none, and returns `status`.
class Commands {
public:
    /// Those since the last call.
    std::vector<std::string> take() { return std::exchange(commands, {}); }

    int status = 0;

private:
    std::vector<std::string> commands;
    const Interpose<int(const char*)> system{interposed::system, [this](const char* command) {
                                                 commands.emplace_back(command);
                                                 return status;
                                             }};
};

/// Takes the place of popen(): notes each command, and lets `output` be what it writes.
class CommandOutput {
public:
    std::string output;
    std::vector<std::string> commands;
    int closed = 0;

private:
    std::FILE* open(const char* command, const char* type)
    {
        EXPECT_STREQ(type, "r");
        commands.emplace_back(command);
        std::FILE* stream = std::tmpfile();
        std::fputs(output.c_str(), stream);
        std::rewind(stream);
        return stream;
    }

    const Interpose<std::FILE*(const char*, const char*)> opening{
        interposed::popen,
        [this](const char* command, const char* type) { return open(command, type); }};
    const Interpose<int(std::FILE*)> closing{interposed::pclose, [this](std::FILE* stream) {
                                                 ++closed;
                                                 return std::fclose(stream);
                                             }};
};

#endif
