// The environment is read once in a program, so each of these tests runs programs of its own.

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

std::vector<char*> pointersTo(Strings& strings)
{
    std::vector<char*> pointers;
    for (std::string& string : strings) {
        pointers.push_back(string.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

Strings environmentWith(const Strings& variables)
{
    Strings all = variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (text.rfind("ZT_DEBUG_", 0) != 0 && text.rfind("TZ=", 0) != 0) {
            all.push_back(text);
        }
    }
    return all;
}

// Takes what a program prints.
class Capture {
public:
    explicit Capture(int replaced) : file(memfd_create("capture", MFD_CLOEXEC)), replaced(replaced)
    {}
    ~Capture() { close(file); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    void addTo(posix_spawn_file_actions_t& actions) const
    {
        posix_spawn_file_actions_adddup2(&actions, file, replaced);
    }
    std::string text() const { return readAll("/proc/self/fd/" + std::to_string(file)); }

private:
    const int file;
    const int replaced;
};

Outcome run(Strings command, const Strings& variables)
{
    Strings environment = environmentWith(variables);
    const Capture out(STDOUT_FILENO);
    const Capture err(STDERR_FILENO);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    out.addTo(actions);
    err.addTo(actions);
    pid_t child = 0;
    const int error = posix_spawn(&child, command[0].c_str(), &actions, nullptr,
                                  pointersTo(command).data(), pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (error == 0) {
        waitpid(child, &status, 0);
    }
    return {status, out.text(), err.text()};
}

// Runs ZTDebug_printer in UTC.
Outcome print(Strings variables, Strings arguments)
{
    variables.push_back("TZ=UTC0");
    arguments.insert(arguments.begin(), ZTDEBUG_PRINTER);
    return run(arguments, variables);
}

const Strings FAILURE_AND_TRACE = {"1", "zt_pipe", "failure", "4", "zt_pipe", "trace"};
const std::string FAILURE_LINE = "2026-11-21 09:12:13.012 1 zt_pipe failure\n";
const std::string TRACE_LINE = "2026-11-21 09:12:13.012 4 zt_pipe trace\n";

} // namespace

TEST(ZTDebugEnvironment, ByDefaultFailuresOfAllSectionsGoToStderr)
{
    const Outcome outcome = print({}, FAILURE_AND_TRACE);
    EXPECT_EQ(outcome.err, FAILURE_LINE);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST(ZTDebugEnvironment, TheTimeIsLocal)
{
    const Strings command = {ZTDEBUG_PRINTER, "1", "zt_pipe", "failure"};
    EXPECT_EQ(run(command, {"TZ=ABC-5:30"}).err, "2026-11-21 14:42:13.012 1 zt_pipe failure\n");
    EXPECT_EQ(run(command, {"TZ=ABC+10"}).err, "2026-11-20 23:12:13.012 1 zt_pipe failure\n");
}

TEST(ZTDebugEnvironment, LinesUpToTheLevelAreShown)
{
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=1"}, FAILURE_AND_TRACE).err, FAILURE_LINE);
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=3"}, FAILURE_AND_TRACE).err, FAILURE_LINE);
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=4"}, FAILURE_AND_TRACE).err, FAILURE_LINE + TRACE_LINE);
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=2147483647"}, FAILURE_AND_TRACE).err,
              FAILURE_LINE + TRACE_LINE);
}

TEST(ZTDebugEnvironment, LevelZeroAndBelowSilences)
{
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=0"}, FAILURE_AND_TRACE).err, "");
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=0"}, {"0", "zt_pipe", "", "-7", "zt_pipe", ""}).err, "");
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=-1"}, FAILURE_AND_TRACE).err, "");
}

TEST(ZTDebugEnvironment, TheFirstCallOfAllMayBeALine)
{
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=0"}, {"1", "?", "x"}).err, "");
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=4"}, {"4", "?", "x"}).err, "2026-11-21 09:12:13.012 4 ? x\n");
    EXPECT_EQ(print({"ZT_DEBUG_SECTIONS=a"}, {"1", "?", "x"}).err, "");
}

TEST(ZTDebugEnvironment, WhatIsNoNumberIsTheDefaultLevel)
{
    for (const char* level : {"", "x", "4x", " 4", "4 ", "0x4", "-", "99999999999"}) {
        const std::string variable = std::string("ZT_DEBUG_LEVEL=") + level;
        EXPECT_EQ(print({variable}, FAILURE_AND_TRACE).err, FAILURE_LINE) << variable;
    }
}

TEST(ZTDebugEnvironment, OnlyTheSectionsListedAreShown)
{
    const Strings lines = {"1", "a", "x", "1", "b", "x", "1", "ab", "x", "1", "c", "x"};
    EXPECT_EQ(print({"ZT_DEBUG_SECTIONS=a,c"}, lines).err, "2026-11-21 09:12:13.012 1 a x\n"
                                                           "2026-11-21 09:12:13.012 1 c x\n");
    EXPECT_EQ(print({"ZT_DEBUG_SECTIONS=b"}, lines).err, "2026-11-21 09:12:13.012 1 b x\n");
    EXPECT_EQ(print({"ZT_DEBUG_SECTIONS=none"}, lines).err, "");
    EXPECT_EQ(print({"ZT_DEBUG_SECTIONS=none"}, lines).status, 0);
}

TEST(ZTDebugEnvironment, AnEmptyListShowsAllSections)
{
    EXPECT_EQ(print({"ZT_DEBUG_SECTIONS="}, FAILURE_AND_TRACE).err, FAILURE_LINE);
}

TEST(ZTDebugEnvironment, LevelAndSectionsDecideWhatASinkGets)
{
    const Outcome outcome = print({"ZT_DEBUG_LEVEL=3", "ZT_DEBUG_SECTIONS=a"},
                                  {"--sink", "3", "a", "x", "4", "a", "x", "1", "b", "x"});
    EXPECT_EQ(outcome.out, "sink 3 a x\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(ZTDebugEnvironment, TheHostsLevelTakesThePlaceOfTheEnvironments)
{
    EXPECT_EQ(print({"ZT_DEBUG_LEVEL=0"}, {"--level", "3", "3", "a", "x", "4", "a", "x"}).err,
              "2026-11-21 09:12:13.012 3 a x\n");
}

TEST(ZTDebugEnvironment, ASetUserIDProgramIgnoresIt)
{
    const TemporaryFolder temporary;
    const std::string file = temporary / "log";
    const Strings variables = {"ZT_DEBUG_LEVEL=4", "ZT_DEBUG_SECTIONS=a",
                               "ZT_DEBUG_OUTPUT=" + file};
    const Strings lines = {"--set-user-id", "1", "zt_pipe", "failure", "4", "a", "trace"};
    EXPECT_EQ(print(variables, lines).err, FAILURE_LINE);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(ZTDebugEnvironment, StderrMayBeNamed)
{
    EXPECT_EQ(print({"ZT_DEBUG_OUTPUT=stderr"}, FAILURE_AND_TRACE).err, FAILURE_LINE);
    EXPECT_EQ(print({"ZT_DEBUG_OUTPUT="}, FAILURE_AND_TRACE).err, FAILURE_LINE);
}

TEST(ZTDebugEnvironment, AFileIsCreatedWithTheModeTheUmaskLeavesAndNotInherited)
{
    const TemporaryFolder temporary;
    const std::string file = temporary / "log";
    const mode_t before = umask(027);
    const Outcome outcome = print({"ZT_DEBUG_OUTPUT=" + file}, FAILURE_AND_TRACE);
    umask(before);
    EXPECT_EQ(readAll(file), FAILURE_LINE);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "close-on-exec\n");
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640u);
}

TEST(ZTDebugEnvironment, AFileIsAppendedTo)
{
    const TemporaryFolder temporary;
    const std::string file = temporary / "log";
    writeAll(file, "what was there\n");
    print({"ZT_DEBUG_OUTPUT=" + file, "ZT_DEBUG_LEVEL=4"}, FAILURE_AND_TRACE);
    EXPECT_EQ(readAll(file), "what was there\n" + FAILURE_LINE + TRACE_LINE);
}

TEST(ZTDebugEnvironment, AFileIsOpenedOnlyForALine)
{
    const TemporaryFolder temporary;
    const std::string file = temporary / "log";
    print({"ZT_DEBUG_OUTPUT=" + file, "ZT_DEBUG_LEVEL=0"}, FAILURE_AND_TRACE);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(ZTDebugEnvironment, WithoutTheFileOneLineSaysSoAndStderrGetsAll)
{
    const Outcome outcome =
        print({"ZT_DEBUG_OUTPUT=/dev/null/log", "ZT_DEBUG_LEVEL=4"}, FAILURE_AND_TRACE);
    EXPECT_EQ(outcome.err, "2026-11-21 09:12:13.012 1 ZTDebug cannot open /dev/null/log "
                           "(Not a directory), using stderr\n" +
                               FAILURE_LINE + TRACE_LINE);
    EXPECT_EQ(outcome.status, 0);
}

TEST(ZTDebugEnvironment, AFullFileIsAFailure)
{
    const Outcome outcome = print({"ZT_DEBUG_OUTPUT=/dev/full"}, FAILURE_AND_TRACE);
    EXPECT_EQ(outcome.err, "");
    ASSERT_TRUE(WIFEXITED(outcome.status));
    EXPECT_EQ(WEXITSTATUS(outcome.status), 1);
}

TEST(ZTDebugEnvironment, SyslogGetsLevelSectionAndTextOnOneLine)
{
    const Outcome outcome = print({"ZT_DEBUG_OUTPUT=syslog", "ZT_DEBUG_LEVEL=4"},
                                  {"1", "zt_pipe", "100%s\nbad", "2", "a", "x", "4", "a", "y"});
    EXPECT_EQ(outcome.out, "syslog 3 1 zt_pipe 100%s bad\n"
                           "syslog 7 2 a x\n"
                           "syslog 7 4 a y\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST(ZTDebugLifetime, LinesGoOutFromTheFirstMomentOfAProgramToItsLast)
{
    const Outcome outcome = run({ZTDEBUG_LIFETIME}, {"TZ=UTC0"});
    EXPECT_EQ(outcome.err, "2026-11-21 09:12:13.012 1 program first\n"
                           "2026-11-21 09:12:13.012 1 library static constructor\n"
                           "2026-11-21 09:12:13.012 1 program main\n"
                           "2026-11-21 09:12:13.012 1 library static destructor\n"
                           "2026-11-21 09:12:13.012 1 program last\n");
    EXPECT_EQ(outcome.status, 0);
}
