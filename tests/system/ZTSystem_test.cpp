#include "zt/ZTSystem.h"

#include "support/Interpose.h"
#include "support/StubCommands.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using namespace ZT;

namespace {

// What ZTSystem does with a raw status of system().
template <class Call>
auto withStatus(int status, Call call)
{
    const Interpose answer(interposed::system, [status](const char*) { return status; });
    return call();
}

struct Memory {
    unsigned long long free;
    unsigned long long total;
    unsigned int unit;
};

class FakeMemory {
public:
    explicit FakeMemory(const Memory& memory) : memory(memory) {}

private:
    const Memory memory;
    const Interpose<int(struct sysinfo*)> call{interposed::sysinfo, [this](struct sysinfo* info) {
                                                   std::memset(info, 0x11, sizeof *info);
                                                   info->freeram =
                                                       static_cast<unsigned long>(memory.free);
                                                   info->totalram =
                                                       static_cast<unsigned long>(memory.total);
                                                   info->mem_unit = memory.unit;
                                                   return 0;
                                               }};
};

unsigned int freeOf(unsigned long long units, unsigned int unit)
{
    const FakeMemory fake({units, 0x77777777, unit});
    return ZTSystem::getFreeRAM();
}

unsigned int totalOf(unsigned long long units, unsigned int unit)
{
    const FakeMemory fake({0x77777777, units, unit});
    return ZTSystem::getTotalRAM();
}

std::string outputOf(const std::string& command)
{
    std::string output;
    EXPECT_EQ(ZTSystem::getSystemCommandOutput(command, output), 0);
    return output;
}

void ignoreSignal(int) {}

} // namespace

// --------------------------------------------------------------------------- isProcessRunning

TEST(ZTSystem, IsProcessRunningAsksKillallWithTheNameBetweenDoubleQuotes)
{
    std::vector<std::string> commands;
    const Interpose noting(interposed::system, [&](const char* command) {
        commands.emplace_back(command);
        return 0;
    });
    EXPECT_TRUE(ZTSystem::isProcessRunning("name"));
    EXPECT_TRUE(ZTSystem::isProcessRunning(""));
    EXPECT_TRUE(ZTSystem::isProcessRunning("a \"name\" $HOME"));
    EXPECT_THAT(commands, ElementsAre("killall -0 \"name\" >/dev/null 2>&1",
                                      "killall -0 \"\" >/dev/null 2>&1",
                                      "killall -0 \"a \"name\" $HOME\" >/dev/null 2>&1"));
}

TEST(ZTSystem, IsProcessRunningIsTrueOnlyForTheStatus0)
{
    const auto isRunning = [] { return ZTSystem::isProcessRunning("name"); };
    EXPECT_TRUE(withStatus(0, isRunning));
    for (const int status : {-1, 1, 9, 128, 256, 32512}) {
        EXPECT_FALSE(withStatus(status, isRunning)) << status;
    }
}

TEST(ZTSystem, IsProcessRunningHandsTheNameOverInOneArgument)
{
    const StubCommands commands;
    commands.add("killall", "echo this is not seen; echo nor this >&2; exit 0");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_TRUE(ZTSystem::isProcessRunning("a name; with  blanks"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(commands.notes(), "killall <-0> <a name; with  blanks>\n");
    commands.add("killall", "exit 1");
    EXPECT_FALSE(ZTSystem::isProcessRunning("name"));
}

TEST(ZTSystem, IsProcessRunningDoesNotEscapeTheName)
{
    const StubCommands commands;
    commands.add("killall", "exit 1");
    EXPECT_TRUE(ZTSystem::isProcessRunning("name\"; true \"x"));
    EXPECT_FALSE(ZTSystem::isProcessRunning("$(echo other)"));
    EXPECT_EQ(commands.notes(), "killall <-0> <name>\nkillall <-0> <other>\n");
}

TEST(ZTSystem, IsProcessRunningIsFalseWithoutKillall)
{
    const StubCommands none;
    none.hideOthers();
    EXPECT_FALSE(ZTSystem::isProcessRunning("name"));
}

TEST(ZTSystem, WhatHoldsANulIsNotRun)
{
    const TemporaryFolder folder;
    const std::string command = "touch " + folder / "run" + std::string("\0#", 2);
    std::string output = "before";
    EXPECT_EQ(ZTSystem::runSystemCommand(command), -1);
    EXPECT_EQ(ZTSystem::getSystemCommandOutput(command, output), 16);
    EXPECT_EQ(output, "before");
    EXPECT_FALSE(ZTSystem::isProcessRunning("x\"; " + command));
    EXPECT_FALSE(std::filesystem::exists(folder / "run"));
}

// --------------------------------------------------------------------------- runSystemCommand

TEST(ZTSystem, RunSystemCommandReturnsTheExitCode)
{
    EXPECT_EQ(ZTSystem::runSystemCommand("true"), 0);
    EXPECT_EQ(ZTSystem::runSystemCommand("exit 3"), 3);
    EXPECT_EQ(ZTSystem::runSystemCommand("exit 255"), 255);
    EXPECT_EQ(ZTSystem::runSystemCommand("exec 2>/dev/null; no-such-command-at-all"), 127);
    EXPECT_EQ(ZTSystem::runSystemCommand(""), 0);
}

TEST(ZTSystem, RunSystemCommandReturnsMinus1WhenASignalEndsIt)
{
    for (const char* signal : {"KILL", "TERM", "SEGV"}) {
        EXPECT_EQ(ZTSystem::runSystemCommand("ulimit -c 0; kill -" + std::string(signal) + " $$"),
                  -1)
            << signal;
    }
}

TEST(ZTSystem, RunSystemCommandHasThreeKindsOfResult)
{
    const auto run = [] { return ZTSystem::runSystemCommand("never run"); };
    EXPECT_EQ(withStatus(0, run), 0);
    EXPECT_EQ(withStatus(-1, run), -1);
    EXPECT_EQ(withStatus(1, run), -1);
    EXPECT_EQ(withStatus(0x10, run), -1);
    EXPECT_EQ(withStatus(0x40, run), -1);
    EXPECT_EQ(withStatus(0x7F, run), -1);
    EXPECT_EQ(withStatus(0x8B, run), -1);
    EXPECT_EQ(withStatus(0x0301, run), -1);
    EXPECT_EQ(withStatus(0x80, run), 0);
    EXPECT_EQ(withStatus(0x0100, run), 1);
    EXPECT_EQ(withStatus(0xFF00, run), 255);
    EXPECT_EQ(withStatus(0x10300, run), 3);
}

TEST(ZTSystem, RunSystemCommandHandsTheCommandOverAsItIs)
{
    std::string run;
    const Interpose noting(interposed::system, [&](const char* command) {
        run = command;
        return 0;
    });
    EXPECT_EQ(ZTSystem::runSystemCommand(" a \"command\"; $another "), 0);
    EXPECT_EQ(run, " a \"command\"; $another ");
}

TEST(ZTSystem, AProcessThatIgnoresSIGCHLDDoesNotLearnHowACommandEnded)
{
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(ZTSystem::runSystemCommand("true"), -1);
    EXPECT_FALSE(ZTSystem::isProcessRunning("sh"));
    signal(SIGCHLD, SIG_DFL);
}

// ------------------------------------------------------------------------ getSystemCommandOutput

TEST(ZTSystem, GetSystemCommandOutputAppendsWhatTheCommandWrote)
{
    std::string output = "before ";
    EXPECT_EQ(ZTSystem::getSystemCommandOutput("printf ' a \\n\\n\\tb'", output), 0);
    EXPECT_EQ(output, "before  a \n\n\tb");
    EXPECT_EQ(ZTSystem::getSystemCommandOutput("echo c", output), 0);
    EXPECT_EQ(output, "before  a \n\n\tbc\n");
}

TEST(ZTSystem, GetSystemCommandOutputOfACommandThatWritesNothingLeavesTheOutput)
{
    std::string output = "before";
    EXPECT_EQ(ZTSystem::getSystemCommandOutput("true", output), 0);
    EXPECT_EQ(ZTSystem::getSystemCommandOutput("", output), 0);
    EXPECT_EQ(ZTSystem::getSystemCommandOutput("echo error >&2", output), 0);
    EXPECT_EQ(output, "before");
}

TEST(ZTSystem, GetSystemCommandOutputDoesNotLookAtTheExitCode)
{
    EXPECT_EQ(outputOf("echo a; exit 3"), "a\n");
    EXPECT_EQ(outputOf("echo a; kill -KILL $$"), "a\n");
    EXPECT_EQ(outputOf("exec 2>/dev/null; no-such-command-at-all"), "");
}

TEST(ZTSystem, GetSystemCommandOutputPutsPiecesOfLongLinesTogether)
{
    for (const std::size_t length : {126U, 127U, 128U, 129U, 254U, 255U, 381U, 100000U}) {
        const std::string line(length, 'x');
        EXPECT_EQ(outputOf("printf %0" + std::to_string(length) + "d 0 | tr 0 x"), line);
        EXPECT_EQ(outputOf("printf '%0" + std::to_string(length) + "d\\nend' 0 | tr 0 x"),
                  line + "\nend");
    }
}

TEST(ZTSystem, GetSystemCommandOutputReadsPiecesOfAtMost127Bytes)
{
    // A NUL hides the rest of its piece: 116 bytes of the first 127.
    EXPECT_EQ(outputOf("printf 'ten bytes:\\0%0150d' 0"),
              "ten bytes:" + std::string(150 - 116, '0'));
    EXPECT_EQ(outputOf("printf 'a\\0b\\nc\\n'"), "ac\n");
}

TEST(ZTSystem, GetSystemCommandOutputReturns16WithoutAPipeAndLeavesTheOutput)
{
    const Interpose refused(interposed::popen, [](auto...) {
        errno = EMFILE;
        return nullptr;
    });
    std::string output = "before";
    EXPECT_EQ(ZTSystem::getSystemCommandOutput("echo a", output), 16);
    EXPECT_EQ(output, "before");
}

TEST(ZTSystem, GetSystemCommandOutputOpensForReadingAndCloses)
{
    std::FILE* stream = nullptr;
    std::FILE* closed = nullptr;
    std::string type;
    const Interpose opening(interposed::popen, [&](const char* command, const char* mode) {
        type = mode;
        stream = interposed::popen.real(command, mode);
        return stream;
    });
    const Interpose closing(interposed::pclose, [&](std::FILE* file) {
        closed = file;
        return interposed::pclose.real(file);
    });
    EXPECT_EQ(outputOf("echo a"), "a\n");
    EXPECT_EQ(type, "r");
    EXPECT_EQ(closed, stream);
    EXPECT_NE(closed, nullptr);
}

TEST(ZTSystem, GetSystemCommandOutputGoesOnAfterASignalAndLosesNothing)
{
    struct sigaction action = {};
    action.sa_handler = &ignoreSignal;
    sigaction(SIGUSR1, &action, nullptr);
    // The command sends the signal while its output is waited for, and writes on when it has come.
    EXPECT_EQ(outputOf("await() { until grep -Eq \"$1\" /proc/$PPID/status; do :; done; }\n"
                       "for text in a b c; do\n"
                       "    printf $text\n"
                       "    await '^State:.S'\n"
                       "    kill -USR1 $PPID\n"
                       "    await '^ShdPnd:.0+$'\n"
                       "done\n"
                       "echo end"),
              "abcend\n");
    signal(SIGUSR1, SIG_DFL);
}

TEST(ZTSystem, GetSystemCommandOutputEndsWhenReadingIsNotPossible)
{
    const Interpose opening(interposed::popen, [](auto...) { return std::fopen("/", "r"); });
    const Interpose closing(interposed::pclose, [](std::FILE* file) { return std::fclose(file); });
    EXPECT_EQ(outputOf("a command"), "") << "a folder cannot be read";
}

TEST(ZTSystem, GetSystemCommandOutputKeepsWhatCameBeforeReadingFailed)
{
    const auto readOnce = [](void* count, char* buffer, size_t) -> ssize_t {
        if (++*static_cast<int*>(count) == 1) {
            return static_cast<ssize_t>(std::string("abc").copy(buffer, 3));
        }
        errno = EIO;
        return -1;
    };
    int count = 0;
    const Interpose opening(interposed::popen, [&](auto...) {
        return fopencookie(&count, "r", {readOnce, nullptr, nullptr, nullptr});
    });
    const Interpose closing(interposed::pclose, [](std::FILE* file) { return std::fclose(file); });
    EXPECT_EQ(outputOf("a command"), "abc");
    EXPECT_EQ(count, 2);
}

// --------------------------------------------------------------------- process, version, memory

TEST(ZTSystem, GetProcessIDIsThatOfTheProcess)
{
    EXPECT_EQ(ZTSystem::getProcessID(), getpid());
}

TEST(ZTSystem, GetSystemVersionIsTheReleaseOfTheKernel)
{
    const Interpose known(interposed::uname, [](utsname* system) {
        std::memset(system, 'x', sizeof *system);
        std::strcpy(system->release, "4.9.88");
        return 0;
    });
    EXPECT_EQ(ZTSystem::getSystemVersion(), "BSP 4.9.88");
}

TEST(ZTSystem, GetSystemVersionIsThatOfThisKernel)
{
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ZTSystem::getSystemVersion(), "BSP " + std::string(system.release));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ZTSystem, GetSystemVersionWithoutAReleaseIsPrintedAndBSPAlone)
{
    const Interpose refused(interposed::uname, [](utsname*) {
        errno = EFAULT;
        return -1;
    });
    testing::internal::CaptureStdout();
    EXPECT_EQ(ZTSystem::getSystemVersion(), "BSP ");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "uname function call failed with error: 14\n");
}

TEST(ZTSystem, TheRAMIsInMebibytesOfUnits)
{
    for (const auto& ramOf : {&freeOf, &totalOf}) {
        EXPECT_EQ(ramOf(0, 1), 0U);
        EXPECT_EQ(ramOf(0x100000, 1), 1U);
        EXPECT_EQ(ramOf(0xFFFFF, 1), 0U);
        EXPECT_EQ(ramOf(0x1FFFFF, 1), 1U);
        EXPECT_EQ(ramOf(0x20000000, 1), 512U);
        EXPECT_EQ(ramOf(262144, 4096), 1024U);
        EXPECT_EQ(ramOf(0xFFFFFFFF, 1), 4095U);
    }
}

TEST(ZTSystem, TheRAMWrapsAt4GiB)
{
    for (const auto& ramOf : {&freeOf, &totalOf}) {
        EXPECT_EQ(ramOf(0x100000000, 1), 0U);
        EXPECT_EQ(ramOf(0x140000000, 1), 1024U) << "5 GiB";
        EXPECT_EQ(ramOf(0x140000, 4096), 1024U) << "5 GiB";
        EXPECT_EQ(ramOf(0x100000, 4096), 0U) << "4 GiB";
        EXPECT_EQ(ramOf(0xFFFFF, 4096), 4095U) << "one page less than 4 GiB";
    }
}

TEST(ZTSystem, TheRAMIsThatOfTheSystem)
{
    struct sysinfo info = {};
    ASSERT_EQ(sysinfo(&info), 0);
    const unsigned long long bytes = 1ULL * info.totalram * info.mem_unit;
    EXPECT_EQ(ZTSystem::getTotalRAM(), (bytes & 0xFFFFFFFF) >> 20);
    EXPECT_LE(ZTSystem::getFreeRAM(), 4095U);
}

TEST(ZTSystem, TheRAMIs0WhenTheSystemDoesNotTellIt)
{
    const Interpose refused(interposed::sysinfo, [](struct sysinfo*) { return -1; });
    EXPECT_EQ(ZTSystem::getFreeRAM(), 0U);
    EXPECT_EQ(ZTSystem::getTotalRAM(), 0U);
}

TEST(ZTSystem, WorksOnAnObjectToo)
{
    ZTSystem system;
    EXPECT_EQ(system.getProcessID(),
              getpid()); // NOLINT(readability-static-accessed-through-instance)
}
