// Copies and moves whose process is killed, at one system call after the other, but for those of
// the pauses between two steps: what is there then, and what the next run makes of it.

#include "filehandling/CopyListener.h"
#include "support/FakeClocks.h"
#include "support/KilledChild.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTFileHandling.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <new>
#include <set>
#include <string>
#include <sys/mman.h>

using testing::AnyOf;
using testing::ElementsAre;
using ZT::ZTFileHandling;
namespace fs = std::filesystem;

namespace {

const bool COPY = true;
const bool MOVE = false;

using Files = std::map<std::string, std::string>;

// Bytes of every value, none of them where another is due.
std::string content(std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(i * 7 + i / 256);
    }
    return bytes;
}

// The regular files of a folder and what they hold.
Files filesIn(const std::string& folder)
{
    Files files;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files[entry.path().filename()] = readAll(entry.path());
        }
    }
    return files;
}

// What a longer, older file is while it is copied over.
std::string overwritten(const std::string& bytes, const std::string& old)
{
    return bytes.size() < old.size() ? bytes + old.substr(bytes.size()) : bytes;
}

// A flush takes no time in memory.
fs::path memory()
{
    return fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path();
}

// Whether a run has told that it is finished, in memory that a child shares with its parent.
class Finished {
public:
    Finished() = default;
    ~Finished() { munmap(told, sizeof *told); }

    Finished(const Finished&) = delete;
    Finished& operator=(const Finished&) = delete;

    void tell() const { *told = true; }
    bool isTold() const { return *told; }
    void forget() const { *told = false; }

private:
    std::atomic<bool>* const told =
        new (mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE,
                  MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<bool>(false);
};

class KilledCopy : public testing::Test {
protected:
    // Starts a run; returns what that returns.
    using Start = std::function<int(ZTFileHandling&, CopyListener&)>;

    void SetUp() override { SKIP_WHERE_NOTHING_CAN_BE_TRACED(); }

    // Kills the run at each of its system calls. No file is lost, and the next run does the rest;
    // where there is none, it ends with `codeWithoutRest`.
    void killAtEachSystemCall(bool cm, int codeWithoutRest, const Start& start)
    {
        bool killed = true;
        for (int call = 1; killed; ++call) {
            SCOPED_TRACE("system call " + std::to_string(call));
            makeFolders();
            finished.forget();
            killed = isKilledAtSystemCall(call, [&] { EXPECT_EQ(run(start), 0); });
            expectNothingIsLost(cm);
            EXPECT_TRUE(finished.isTold() || killed);
            if (finished.isTold()) {
                expectAllIsDone(cm);
            }
            const int nextCode = filesIn(source).empty() ? codeWithoutRest : 0;
            EXPECT_EQ(run(start), nextCode);
            expectAllIsDone(cm);
        }
    }

    Files files;    // of the source folder
    Files oldFiles; // of the target folder
    const TemporaryFolder folder{memory()};
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    std::set<std::string> stages; // that a run was killed in

private:
    void makeFolders() const
    {
        fs::remove_all(source);
        fs::remove_all(target);
        fs::create_directories(source + "/folder");
        fs::create_directory(target);
        for (const auto& [name, bytes] : files) {
            writeAll(source + '/' + name, bytes);
        }
        for (const auto& [name, bytes] : oldFiles) {
            writeAll(target + '/' + name, bytes);
        }
    }

    // Returns the code in the end.
    int run(const Start& start) const
    {
        const FakeClocks clocks{{1800000000, 0}};
        CopyListener listener;
        listener.onFinished = [this] { finished.tell(); };
        ZTFileHandling handling;
        const int result = start(handling, listener);
        handling.join();
        return result != 0 ? result : handling.getErrorCode();
    }

    std::string oldFile(const std::string& name) const
    {
        return oldFiles.count(name) == 1 ? oldFiles.at(name) : "";
    }

    void expectNothingIsLost(bool cm)
    {
        const Files sources = filesIn(source);
        Files targets = filesIn(target);
        EXPECT_TRUE(!cm || sources == files);
        std::string stage;
        for (const auto& [name, bytes] : files) {
            const bool isSourceThere = sources.count(name) == 1;
            EXPECT_TRUE(!isSourceThere || sources.at(name) == bytes) << name;
            const std::string& copied = targets[name];
            std::size_t size = 0;
            while (size < bytes.size() &&
                   overwritten(bytes.substr(0, size), oldFile(name)) != copied) {
                ++size;
            }
            EXPECT_EQ(overwritten(bytes.substr(0, size), oldFile(name)), copied) << name;
            EXPECT_TRUE(isSourceThere || size == bytes.size()) << name;
            stage += std::to_string(size) + (isSourceThere ? "" : " gone") + " ";
        }
        EXPECT_EQ(targets.size(), files.size()) << "nothing else is left";
        stages.insert(stage);
    }

    void expectAllIsDone(bool cm) const
    {
        EXPECT_EQ(filesIn(source), cm ? files : Files{});
        for (const auto& [name, bytes] : files) {
            EXPECT_EQ(readAll(target + '/' + name), overwritten(bytes, oldFile(name))) << name;
        }
    }

    Finished finished;
};

} // namespace

TEST_F(KilledCopy, OfAFileKeepsTheSourceAndLeavesABeginningOfIt)
{
    files = {{"file", content(3500)}};
    killAtEachSystemCall(COPY, 0, [this](ZTFileHandling& handling, CopyListener& listener) {
        return handling.copyFile(source + "/file", target + "/file", COPY, &listener);
    });
    EXPECT_THAT(stages, ElementsAre("0 ", "1024 ", "2048 ", "3072 ", "3500 "));
}

TEST_F(KilledCopy, OfAFileOverALongerOneLeavesItsEnd)
{
    files = {{"file", content(2000)}};
    oldFiles = {{"file", std::string(3000, 'o')}};
    killAtEachSystemCall(COPY, 0, [this](ZTFileHandling& handling, CopyListener& listener) {
        return handling.copyFile(source + "/file", target + "/file", COPY, &listener);
    });
    EXPECT_THAT(stages, ElementsAre("0 ", "1024 ", "2000 "));
}

TEST_F(KilledCopy, OfAFolderKeepsTheSourcesAndLeavesABeginningOfEach)
{
    files = {{"one", content(1500)}, {"two", content(500)}};
    killAtEachSystemCall(COPY, 0, [this](ZTFileHandling& handling, CopyListener& listener) {
        return handling.copyDir(source, target, COPY, &listener);
    });
    EXPECT_THAT(stages, AnyOf(ElementsAre("0 0 ", "1024 0 ", "1500 0 ", "1500 500 "),
                              ElementsAre("0 0 ", "0 500 ", "1024 500 ", "1500 500 ")));
}

TEST_F(KilledCopy, ThatMovesAFileLeavesItWholeInOnePlaceAtLeast)
{
    files = {{"file", content(3500)}};
    const int NO_FILE = 16;
    killAtEachSystemCall(MOVE, NO_FILE, [this](ZTFileHandling& handling, CopyListener& listener) {
        return handling.copyFile(source + "/file", target + "/file", MOVE, &listener);
    });
    EXPECT_THAT(stages, ElementsAre("0 ", "1024 ", "2048 ", "3072 ", "3500 ", "3500 gone "));
}

TEST_F(KilledCopy, ThatMovesAFolderLeavesEachFileWholeInOnePlaceAtLeast)
{
    files = {{"one", content(1500)}, {"two", content(500)}};
    const int NOTHING_TO_COPY = 42;
    killAtEachSystemCall(MOVE, NOTHING_TO_COPY,
                         [this](ZTFileHandling& handling, CopyListener& listener) {
                             return handling.copyDir(source, target, MOVE, &listener);
                         });
    EXPECT_THAT(stages, AnyOf(ElementsAre("0 0 ", "1024 0 ", "1500 0 ", "1500 gone 0 ",
                                          "1500 gone 500 ", "1500 gone 500 gone "),
                              ElementsAre("0 0 ", "0 500 ", "0 500 gone ", "1024 500 gone ",
                                          "1500 500 gone ", "1500 gone 500 gone ")));
}
