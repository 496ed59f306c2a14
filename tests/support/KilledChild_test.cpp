#include "support/KilledChild.h"

#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

class KilledChildTest : public testing::Test {
protected:
    void SetUp() override { SKIP_WHERE_NOTHING_CAN_BE_TRACED(); }

    // Kills the child, which is to make the folder, at each of its system calls, and expects that
    // it was killed before it had.
    void killAtEachSystemCall(const std::function<void()>& action)
    {
        int call = 1;
        while (isKilledAtSystemCall(call, action)) {
            ++call;
            killsSince += std::filesystem::remove(made) ? 1 : 0;
            EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "something goes on";
        }
        EXPECT_TRUE(std::filesystem::exists(made));
        EXPECT_GT(call - 1, killsSince);
    }

    const TemporaryFolder folder;
    const std::string made = folder / "made";
    int killsSince = 0; // it was made
};

} // namespace

TEST_F(KilledChildTest, DoesNothingOfTheSystemCallThatItIsKilledAt)
{
    killAtEachSystemCall([name = made.c_str()] {
        const long result = mkdir(name, 0700);
        syscall(SYS_exit_group, result); // a sanitizer puts a call of its own before _exit()
    });
    EXPECT_EQ(killsSince, 1) << "there is one after it, the exit";
}

TEST_F(KilledChildTest, IsKilledAtTheSystemCallsOfAllItsThreads)
{
    killAtEachSystemCall(
        [this] { std::thread([this] { EXPECT_EQ(mkdir(made.c_str(), 0700), 0); }).join(); });
    EXPECT_GT(killsSince, 1) << "the thread's end is one, too";
}

TEST_F(KilledChildTest, LeavesNoCommandThatGoesOn)
{
    killAtEachSystemCall([this] { EXPECT_EQ(std::system(("mkdir '" + made + '\'').c_str()), 0); });
    EXPECT_GT(killsSince, 1) << "it waits for the command";
}
