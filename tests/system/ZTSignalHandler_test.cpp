#include "zt/ZTSignalHandler.h"

#include "support/CapturedStream.h"
#include "support/Interpose.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <iomanip>
#include <iostream>
#include <sched.h>
#include <streambuf>
#include <string>
#include <thread>
#include <unistd.h>

using namespace ZT;

namespace {

// Takes the signals that a test installs a handler for back to their defaults.
class ZTSignalHandlerTest : public testing::Test {
protected:
    ~ZTSignalHandlerTest() override
    {
        for (const int number : {SIGPIPE, SIGTERM, SIGUSR1}) {
            signal(number, SIG_DFL);
        }
    }

    CapturedStream output{std::cout};
};

// Whether the thread waits for something in the kernel.
bool isSleeping(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.substr(text.rfind(')') + 2, 1) == "S";
}

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
    EXPECT_EQ(ZTSignalHandler::installEmptySignalHandler(SIGUSR1), 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::atomic<bool> isReading{true};
    const pid_t reader = gettid();
    const pthread_t target = pthread_self();
    std::thread disturber([&] {
        while (!isSleeping(reader)) {
            sched_yield();
        }
        while (isReading) { // it may sleep on its way to the read, too
            pthread_kill(target, SIGUSR1);
            sched_yield();
        }
    });
    char byte = 0;
    const ssize_t result = read(ends[0], &byte, 1);
    const int error = errno;
    isReading = false;
    disturber.join();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ZTSignalHandlerTest, TheNumberIsDecimalWhateverTheStreamsFormat)
{
    std::cout << std::hex << std::showbase;
    sigHandler(64);
    std::cout << std::dec << std::noshowbase;
    EXPECT_EQ(output.text(), "SignalHandler received signal 64\n");
}

TEST_F(ZTSignalHandlerTest, WhatItInterruptsKeepsItsErrno)
{
    struct Failing : std::streambuf {
        int overflow(int) override
        {
            errno = EIO;
            return traits_type::eof();
        }
    } failing;
    std::streambuf* const captured = std::cout.rdbuf(&failing);
    errno = ERANGE;
    sigHandler(SIGUSR1);
    const int error = errno;
    std::cout.rdbuf(captured);
    std::cout.clear();
    EXPECT_EQ(error, ERANGE);
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
