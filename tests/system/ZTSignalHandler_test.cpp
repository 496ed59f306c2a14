#include "zt/ZTSignalHandler.h"

#include "support/ForeignFormat.h"
#include "support/Interpose.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <stdio_ext.h>
#include <streambuf>
#include <string>
#include <sys/time.h>
#include <unistd.h>

using namespace ZT;

namespace {

// Collects what is written to std::cout, without taking memory, which a signal handler must not.
class CapturedOutput {
public:
    CapturedOutput() : original(std::cout.rdbuf(&buffer)) {}

    ~CapturedOutput() { std::cout.rdbuf(original); }

    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    std::string text() const { return buffer.text(); }

    int flushes() const { return buffer.flushes; }

private:
    class Buffer : public std::streambuf {
    public:
        Buffer() { setp(memory, memory + sizeof memory); }

        std::string text() const { return {pbase(), pptr()}; }

        int flushes = 0;

    private:
        int sync() override
        {
            ++flushes;
            return 0;
        }

        char memory[4096] = {}; // what does not fit is lost
    };

    Buffer buffer;
    std::streambuf* original;
};

// Takes the signals that a test installs a handler for back to their defaults.
class ZTSignalHandlerTest : public testing::Test {
protected:
    ~ZTSignalHandlerTest() override
    {
        for (const int number : {SIGALRM, SIGPIPE, SIGTERM, SIGUSR1}) {
            signal(number, SIG_DFL);
        }
    }

    const CapturedOutput output;
};

} // namespace

TEST_F(ZTSignalHandlerTest, InstallsSigHandlerWithoutFlagsAndWithAnEmptyMask)
{
    const struct sigaction* previous = nullptr;
    struct sigaction installed = {};
    int number = 0;
    const Interpose noting(interposed::sigaction, [&](int signal, const auto* action, auto* old) {
        number = signal;
        installed = *action;
        previous = old;
        return 0;
    });
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGTERM), 0);
    EXPECT_EQ(number, SIGTERM);
    EXPECT_EQ(installed.sa_handler, &sigHandler);
    EXPECT_EQ(installed.sa_flags, 0);
    for (int other = 1; other < SIGRTMAX; ++other) {
        EXPECT_EQ(sigismember(&installed.sa_mask, other), 0) << other;
    }
    EXPECT_EQ(previous, nullptr);
}

TEST_F(ZTSignalHandlerTest, ReturnsTheResultOfTheSystem)
{
    errno = 0;
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGKILL), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGSTOP), -1);
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(0), -1);
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(100000), -1);
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGUSR1), 0);
}

TEST_F(ZTSignalHandlerTest, ASignalThatWouldEndTheProcessIsWrittenAndThatIsAll)
{
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGTERM), 0);
    EXPECT_EQ(output.text(), "");
    kill(getpid(), SIGTERM);
    EXPECT_EQ(output.text(), "SignalHandler received signal 15\n");
    EXPECT_EQ(output.flushes(), 1);
    kill(getpid(), SIGTERM);
    EXPECT_EQ(output.text(), "SignalHandler received signal 15\nSignalHandler received signal 15\n")
        << "the handler stays installed";
}

TEST_F(ZTSignalHandlerTest, WritingIntoABrokenPipeFailsWithEPIPE)
{
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGPIPE), 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    errno = 0;
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(output.text(), "SignalHandler received signal 13\n");
    close(ends[1]);
}

TEST_F(ZTSignalHandlerTest, AReadThatWaitsIsNotRestarted)
{
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGALRM), 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const itimerval everyTenth{{0, 100000}, {0, 100000}}; // one may come before the read
    const itimerval never{};
    setitimer(ITIMER_REAL, &everyTenth, nullptr);
    char byte = 0;
    const ssize_t result = read(ends[0], &byte, 1);
    const int error = errno;
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ZTSignalHandlerTest, TheLineIsTheSameWhateverTheApplicationsFormat)
{
    const ForeignFormat format;
    sigHandler(64);
    EXPECT_EQ(output.text(), "SignalHandler received signal 64\n");
    EXPECT_TRUE(format.isKept());
}

TEST_F(ZTSignalHandlerTest, WhatItInterruptsKeepsItsErrnoAndNothingIsThrownThroughIt)
{
    const ThrowingOutput broken;
    errno = ERANGE;
    sigHandler(SIGUSR1);
    EXPECT_EQ(errno, ERANGE);
}

namespace {

// Whether the first line of a fresh standard output, by the handler, takes memory for a buffer.
bool takesMemory(bool hasPrintedBefore)
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::abort();
    }
    if (hasPrintedBefore) {
        std::cout << "ready" << std::endl;
    }
    const std::size_t before = __fbufsize(stdout);
    sigHandler(SIGUSR1);
    return __fbufsize(stdout) != before;
}

} // namespace

TEST(ZTSignalHandler, TakesMemoryOnlyForTheFirstTextOfStandardOutput)
{
    EXPECT_EXIT(_exit(takesMemory(false) ? 7 : 8), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(_exit(takesMemory(true) ? 7 : 8), testing::ExitedWithCode(8), "");
}

TEST_F(ZTSignalHandlerTest, ABrokenStandardOutputDoesNotRepeatTheSignalForEver)
{
    // What the handler writes raises the signal again.
    EXPECT_EXIT(
        {
            int ends[2];
            if (pipe(ends) == 0) {
                dup2(ends[1], STDOUT_FILENO);
                close(ends[0]);
                close(ends[1]);
            }
            std::ofstream real("/dev/stdout");
            std::cout.rdbuf(real.rdbuf());
            ZTSignalHandler::installEmptySignalHandler(SIGPIPE);
            raise(SIGPIPE);
            raise(SIGPIPE);
            _exit(7);
        },
        testing::ExitedWithCode(7), "");
}
