// ZTSystem on the simulated device, which has processes and cache files of its own.

#include "support/Interpose.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTSystem.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <spawn.h>
#include <string>
#include <sys/prctl.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using namespace ZT;

namespace {

const char DROP_CACHES[] = "/proc/sys/vm/drop_caches";
const char COMPACT_MEMORY[] = "/proc/sys/vm/compact_memory";

// A process of that name.
class Sleeper {
public:
    explicit Sleeper(const std::string& name)
    {
        const std::string path = folder / name;
        std::filesystem::copy("/bin/sleep", path);
        std::string program = path;
        std::string time = "infinity";
        char* arguments[] = {program.data(), time.data(), nullptr};
        EXPECT_EQ(posix_spawn(&pid, path.c_str(), nullptr, nullptr, arguments, environ), 0);
        awaitStart(path);
    }

    ~Sleeper() { end(); }

    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    void end()
    {
        if (pid > 0) {
            endUnwaited();
            waitpid(pid, nullptr, 0);
            pid = 0;
        }
    }

    /// It has ended when this returns, but its parent is still to wait for it.
    void endUnwaited() const
    {
        kill(pid, SIGKILL);
        siginfo_t information{};
        waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT);
    }

private:
    // An emulator's posix_spawn() may return before the child is another program.
    void awaitStart(const std::string& path) const
    {
        const std::string commandLine = "/proc/" + std::to_string(pid) + "/cmdline";
        while (readAll(commandLine).rfind(path, 0) != 0) {
        }
    }

    const TemporaryFolder folder;
    pid_t pid = 0;
};

// Cache files that are not the kernel's. Notes which are opened.
class TidyUpCaches : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* path : {DROP_CACHES, COMPACT_MEMORY}) {
            struct statfs system {};
            ASSERT_EQ(statfs(path, &system), 0) << path;
            ASSERT_EQ(system.f_type, TMPFS_MAGIC) << "the host's own";
        }
    }

    std::vector<std::string> opened;
    int syncs = 0;
    int openError = 0;

private:
    const Interpose<int(const char*, int, mode_t)> opening{
        interposed::open64, [this](const char* path, int flags, mode_t mode) {
            if (std::string(path).rfind("/proc/sys/", 0) == 0) {
                opened.emplace_back(path);
                errno = openError;
                return openError != 0 ? -1 : interposed::open64.real(path, flags, mode);
            }
            return interposed::open64.real(path, flags, mode);
        }};
    const Interpose<void()> syncing{interposed::sync, [this] { ++syncs; }};
};

} // namespace

TEST(IsProcessRunning, IsTrueWhileAProcessOfThatNameRuns)
{
    EXPECT_FALSE(ZTSystem::isProcessRunning("zt-sleeper"));
    Sleeper first("zt-sleeper");
    EXPECT_TRUE(ZTSystem::isProcessRunning("zt-sleeper"));
    {
        const Sleeper second("zt-sleeper");
        EXPECT_TRUE(ZTSystem::isProcessRunning("zt-sleeper"));
        first.end();
        EXPECT_TRUE(ZTSystem::isProcessRunning("zt-sleeper"));
    }
    EXPECT_FALSE(ZTSystem::isProcessRunning("zt-sleeper"));
}

TEST(IsProcessRunning, IsTrueUntilAProcessThatHasEndedWasWaitedFor)
{
    Sleeper sleeper("zt-sleeper");
    sleeper.endUnwaited();
    EXPECT_TRUE(ZTSystem::isProcessRunning("zt-sleeper"));
    sleeper.end();
    EXPECT_FALSE(ZTSystem::isProcessRunning("zt-sleeper"));
}

TEST(IsProcessRunning, IsTrueOfTheOneThatAsksAndOfTheShellThatItRuns)
{
    char before[16] = "";
    prctl(PR_GET_NAME, before);
    EXPECT_FALSE(ZTSystem::isProcessRunning("zt-asker"));
    prctl(PR_SET_NAME, "zt-asker");
    EXPECT_TRUE(ZTSystem::isProcessRunning("zt-asker"));
    EXPECT_TRUE(ZTSystem::isProcessRunning("sh"));
    prctl(PR_SET_NAME, before);
}

TEST(IsProcessRunning, TakesAnOptionOfKillallForOne)
{
    EXPECT_TRUE(ZTSystem::isProcessRunning("-l"));
}

TEST(IsProcessRunning, HarmsNoProcess)
{
    const Sleeper sleeper("zt-sleeper");
    for (int time = 0; time < 5; ++time) {
        EXPECT_TRUE(ZTSystem::isProcessRunning("zt-sleeper"));
    }
}

TEST(IsProcessRunning, TakesANameWithBlanks)
{
    const Sleeper sleeper("zt sleeper");
    EXPECT_TRUE(ZTSystem::isProcessRunning("zt sleeper"));
    EXPECT_FALSE(ZTSystem::isProcessRunning("sleeper"));
}

TEST(IsProcessRunning, OfAnEmptyNameIsFalse)
{
    EXPECT_FALSE(ZTSystem::isProcessRunning(""));
}

TEST_F(TidyUpCaches, Writes3ToDropCachesAndNothingElse)
{
    ZTSystem::tidyUpCaches(false);
    EXPECT_THAT(opened, ElementsAre(DROP_CACHES));
    EXPECT_EQ(readAll(DROP_CACHES), "3");
    EXPECT_EQ(readAll(COMPACT_MEMORY), "");
    EXPECT_EQ(syncs, 0);
}

TEST_F(TidyUpCaches, ThenWrites1ToCompactMemoryIfAskedTo)
{
    ZTSystem::tidyUpCaches(true);
    EXPECT_THAT(opened, ElementsAre(DROP_CACHES, COMPACT_MEMORY));
    EXPECT_EQ(readAll(DROP_CACHES), "3");
    EXPECT_EQ(readAll(COMPACT_MEMORY), "1");
    EXPECT_EQ(syncs, 0);
}

TEST_F(TidyUpCaches, WritesTheSecondThoughTheFirstIsRefused)
{
    openError = EACCES;
    ZTSystem::tidyUpCaches(true);
    EXPECT_THAT(opened, ElementsAre(DROP_CACHES, COMPACT_MEMORY));
    opened.clear();
    ZTSystem::tidyUpCaches(false);
    EXPECT_THAT(opened, ElementsAre(DROP_CACHES));
}
