// Single runs, with a clock that only the copy's waits move: they take no time.

#include "zt/ZTFileHandling.h"

#include "filehandling/CopyListener.h"
#include "support/Diagnostics.h"
#include "support/FakeClocks.h"
#include "support/Interpose.h"
#include "support/Layout.h"
#include "support/TemporaryFolder.h"
#include "ztutil/ZTDebug.h"

#include <algorithm>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/lock_types.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using ZT::ZTFileHandling;
namespace fs = std::filesystem;

namespace {

const auto TICK = 200ms;

std::set<std::string> namesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename());
    }
    return names;
}

class ZTFileHandlingTest : public testing::Test {
protected:
    ZTFileHandlingTest()
    {
        fs::create_directory(source);
        fs::create_directory(target);
    }

    std::int64_t ticks() const { return clocks.slept() / TICK; }

    // Copies the folder, or moves it, waits for the end and returns the calls that came.
    std::vector<std::string> copyDir(bool cm)
    {
        EXPECT_EQ(handling.copyDir(source, target, cm, &listener), 0);
        handling.join();
        return listener.calls();
    }

    std::vector<std::string> copyFile(const std::string& from, const std::string& to, bool cm)
    {
        EXPECT_EQ(handling.copyFile(from, to, cm, &listener), 0);
        handling.join();
        return listener.calls();
    }

    const TemporaryFolder folder;
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    CopyListener listener;
    FakeClocks clocks{{1800000000, 0}};
    ZTFileHandling handling;
};

// Looks at, or changes, what the run reads from the folder.
using Listing = Interpose<dirent64*(DIR*)>;

bool isWorkers(const std::string& text)
{
    return text.rfind("ZTFileHandling::copy ", 0) == 0 ||
           text.rfind("ZTFileHandling::copyTheFile", 0) == 0 ||
           text == "ZTFileHandling::copyFile thread done";
}

// Acts on each line that is traced, while it is.
class OnTrace {
public:
    explicit OnTrace(std::function<void(const std::string&)> act) : act(std::move(act))
    {
        ZT::ZTDebug::setLevel(4);
        ZT::ZTDebug::setSink([](void* self, int, const char*,
                                const char* text) { static_cast<OnTrace*>(self)->act(text); },
                             this);
    }

    ~OnTrace()
    {
        ZT::ZTDebug::setSink(nullptr, nullptr);
        ZT::ZTDebug::setLevel(1);
    }

    OnTrace(const OnTrace&) = delete;
    OnTrace& operator=(const OnTrace&) = delete;

private:
    const std::function<void(const std::string&)> act;
};

// The texts of the lines that one of the two threads has printed: they print beside each other.
std::vector<std::string> textsOf(const std::vector<Line>& lines, bool workers)
{
    std::vector<std::string> texts;
    for (const Line& line : lines) {
        EXPECT_EQ(line.level, 4);
        EXPECT_EQ(line.section, "zt_copy_thread");
        if (isWorkers(line.text) == workers) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

} // namespace

TEST_F(ZTFileHandlingTest, IsEmptyWhenConstructed)
{
    EXPECT_EQ(handling.getErrorCode(), 0);
    EXPECT_FALSE(handling.isRunning());
    EXPECT_FALSE(handling.isThreadEnded());
    EXPECT_NE(handling.getDebugSection(), 0U);
    handling.join();
}

TEST_F(ZTFileHandlingTest, IsEmptyWhateverItsMemoryHeldBefore)
{
    alignas(ZTFileHandling) unsigned char memory[sizeof(ZTFileHandling)];
    std::memset(memory, 0xFF, sizeof memory);
    auto* dirty = new (memory) ZTFileHandling;
    EXPECT_EQ(dirty->getErrorCode(), 0);
    EXPECT_FALSE(dirty->isRunning());
    EXPECT_FALSE(dirty->isThreadEnded());
    dirty->~ZTFileHandling();
}

TEST_F(ZTFileHandlingTest, CopiesTheRegularFilesOfAFolderByteForByte)
{
    const std::string bytes = std::string("\0\xff\r\n", 4) + std::string(3000, 'x');
    writeAll(source + "/a", bytes);
    writeAll(source + "/name with blanks", "2");
    writeAll(source + "/\xff\xfe\xc3\xbc\n", "3");
    writeAll(source + "/empty", "");
    writeAll(source + "/.hidden", "5");
    copyDir(true);
    EXPECT_EQ(listener.calls().back(), "finished 0");
    EXPECT_EQ(namesIn(target), namesIn(source));
    EXPECT_EQ(readAll(target + "/a"), bytes);
    EXPECT_EQ(readAll(target + "/name with blanks"), "2");
    EXPECT_EQ(readAll(target + "/\xff\xfe\xc3\xbc\n"), "3");
    EXPECT_EQ(readAll(target + "/.hidden"), "5");
    EXPECT_EQ(readAll(source + "/a"), bytes);
}

TEST_F(ZTFileHandlingTest, AMovedFolderIsLeftWithoutItsFiles)
{
    writeAll(source + "/a", "1");
    writeAll(source + "/b", "2");
    EXPECT_EQ(copyDir(false).back(), "finished 0");
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_THAT(namesIn(target), ElementsAre("a", "b"));
}

TEST_F(ZTFileHandlingTest, FoldersMayBeNamedWithATrailingSlash)
{
    writeAll(source + "/a", "1");
    EXPECT_EQ(handling.copyDir(source + "/", target + "/", true, nullptr), 0);
    handling.join();
    EXPECT_EQ(readAll(target + "/a"), "1");
}

TEST_F(ZTFileHandlingTest, SubfoldersLinksAndSocketsAreLeftWhereTheyAre)
{
    writeAll(source + "/a", "1");
    fs::create_directory(source + "/folder");
    writeAll(source + "/folder/b", "22");
    fs::create_symlink("a", source + "/link");
    ASSERT_EQ(mkfifo((source + "/fifo").c_str(), 0600), 0);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (source + "/socket").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(descriptor);
    EXPECT_THAT(copyDir(false), ElementsAre("progress 100", "progress 100", "finished 0"));
    EXPECT_THAT(namesIn(target), ElementsAre("a"));
    EXPECT_THAT(namesIn(source), ElementsAre("fifo", "folder", "link", "socket"));
}

TEST_F(ZTFileHandlingTest, AnEntryWhoseTypeTheFileSystemDoesNotTellIsNotCopied)
{
    writeAll(source + "/known", "1");
    writeAll(source + "/unknown", "22");
    {
        const Listing untold(interposed::readdir64, [](DIR* stream) {
            dirent64* entry = interposed::readdir64.real(stream);
            if (entry != nullptr && std::string(entry->d_name) == "unknown") {
                entry->d_type = DT_UNKNOWN;
            }
            return entry;
        });
        EXPECT_THAT(copyDir(false), ElementsAre("progress 100", "progress 100", "finished 0"));
    }
    EXPECT_THAT(namesIn(target), ElementsAre("known"));
    EXPECT_THAT(namesIn(source), ElementsAre("unknown"));
}

TEST_F(ZTFileHandlingTest, ProgressRunsOverAllFilesOfTheFolder)
{
    for (const char* name : {"a", "b", "c", "d"}) {
        writeAll(source + "/" + name, std::string(1024, 'x'));
    }
    EXPECT_THAT(copyDir(true), ElementsAre("progress 25", "progress 50", "progress 75",
                                           "progress 100", "progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingTest, AFolderTakesFourStepsAndOneForEachEntry)
{
    writeAll(source + "/a", "1");
    std::vector<std::string> events;
    const auto keep = [&](const std::string& event) {
        events.push_back(std::to_string(ticks()) + " " + event);
    };
    listener.onFinished = [&] { keep("finished"); };
    {
        const Interpose opening(interposed::opendir, [&](const char* path) {
            keep("open");
            EXPECT_EQ(path, source + "/");
            return interposed::opendir.real(path);
        });
        const Listing reading(interposed::readdir64, [&](DIR* stream) {
            dirent64* entry = interposed::readdir64.real(stream);
            keep(entry == nullptr ? "end" : "entry");
            return entry;
        });
        const Interpose closing(interposed::closedir, [&](DIR* stream) {
            keep("close");
            return interposed::closedir.real(stream);
        });
        copyDir(true);
    }
    EXPECT_THAT(events, ElementsAre("1 open", "2 entry", "2 entry", "2 entry", "2 end", "3 entry",
                                    "4 entry", "5 entry", "6 end", "6 close", "7 finished"));
}

TEST_F(ZTFileHandlingTest, AFileTakesThreeSteps)
{
    writeAll(source + "/a", std::string(1024, 'x'));
    std::vector<std::int64_t> when;
    listener.onProgress = [&] { when.push_back(ticks()); };
    listener.onFinished = [&] { when.push_back(ticks()); };
    EXPECT_THAT(copyFile(source + "/a", target + "/b", true),
                ElementsAre("progress 100", "progress 100", "finished 0"));
    EXPECT_THAT(when, ElementsAre(2, 3, 3));
    EXPECT_EQ(clocks.waits(), 3);
    EXPECT_EQ(readAll(target + "/b"), std::string(1024, 'x'));
    EXPECT_THAT(namesIn(source), ElementsAre("a"));
}

TEST_F(ZTFileHandlingTest, AMovedFileIsGoneFromItsOldPlace)
{
    writeAll(source + "/a", "1");
    EXPECT_EQ(copyFile(source + "/a", target + "/b", false).back(), "finished 0");
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_EQ(readAll(target + "/b"), "1");
}

TEST_F(ZTFileHandlingTest, AnEmptyFileIsCopiedAndMoved)
{
    writeAll(source + "/a", "");
    EXPECT_THAT(copyFile(source + "/a", target + "/b", false),
                ElementsAre("progress 100", "finished 0"));
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_THAT(namesIn(target), ElementsAre("b"));
}

TEST_F(ZTFileHandlingTest, AFileMovedOntoItselfIsLost)
{
    writeAll(source + "/a", "1");
    EXPECT_EQ(copyFile(source + "/a", source + "/a", false).back(), "finished 0");
    EXPECT_THAT(namesIn(source), IsEmpty());
}

TEST_F(ZTFileHandlingTest, AFolderMovedOntoItselfIsLost)
{
    writeAll(source + "/a", "1");
    EXPECT_EQ(handling.copyDir(source, source, false, &listener), 0);
    handling.join();
    EXPECT_EQ(listener.calls().back(), "finished 0");
    EXPECT_THAT(namesIn(source), IsEmpty());
}

TEST_F(ZTFileHandlingTest, ASourceThatCannotBeReadToItsEndIsMovedAllTheSame)
{
    writeAll(source + "/a", std::string(2000, 'x'));
    {
        const Interpose failing(interposed::read,
                                [reads = 0](int fd, void* buffer, size_t size) mutable -> ssize_t {
                                    if (++reads == 2) {
                                        errno = EIO;
                                        return -1;
                                    }
                                    return interposed::read.real(fd, buffer, size);
                                });
        EXPECT_EQ(copyFile(source + "/a", target + "/a", false).back(), "finished 0");
    }
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_EQ(readAll(target + "/a"), std::string(1024, 'x'));
}

TEST_F(ZTFileHandlingTest, ASourceWhoseCopyCannotBeFlushedIsMovedAllTheSame)
{
    writeAll(source + "/a", "1");
    writeAll(folder / "b", "2");
    {
        const Interpose failing(interposed::fsync, [](int) {
            errno = EIO;
            return -1;
        });
        EXPECT_EQ(copyDir(false).back(), "finished 0");
        EXPECT_EQ(copyFile(folder / "b", target + "/b", false).back(), "finished 0");
    }
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_THAT(namesIn(folder / "."), ElementsAre("source", "target"));
    EXPECT_THAT(namesIn(target), ElementsAre("a", "b"));
}

TEST_F(ZTFileHandlingTest, AMovedSourceThatCannotBeDeletedStaysAndNothingTells)
{
    const std::string from = source + "/a";
    listener.onProgress = [&] {
        if (fs::is_regular_file(from)) {
            fs::remove(from);
            fs::create_directories(from + "/full");
        }
    };
    writeAll(from, std::string(2000, 'x'));
    EXPECT_EQ(copyDir(false).back(), "finished 0");
    EXPECT_TRUE(fs::exists(from));
    fs::remove_all(from);
    writeAll(from, std::string(2000, 'x'));
    EXPECT_EQ(copyFile(from, target + "/b", false).back(), "finished 0");
    EXPECT_TRUE(fs::exists(from));
}

TEST_F(ZTFileHandlingTest, LinksThatAreNamedAreFollowedAndAMoveDeletesTheLink)
{
    writeAll(folder / "from", "1");
    fs::create_symlink("../from", source + "/link");
    fs::create_symlink("../to", target + "/link");
    EXPECT_EQ(copyFile(source + "/link", target + "/link", false).back(), "finished 0");
    EXPECT_THAT(namesIn(source), IsEmpty());
    EXPECT_EQ(readAll(folder / "from"), "1");
    EXPECT_EQ(readAll(folder / "to"), "1");
    fs::create_directory_symlink("source", folder / "from here");
    fs::create_directory_symlink("target", folder / "to here");
    writeAll(source + "/a", "2");
    EXPECT_EQ(handling.copyDir(folder / "from here", folder / "to here", true, nullptr), 0);
    handling.join();
    EXPECT_EQ(readAll(target + "/a"), "2");
}

TEST_F(ZTFileHandlingTest, WithoutAnInterfaceNothingIsFlushedUntilTheEnd)
{
    writeAll(source + "/a", std::string(5000, 'x'));
    int flushes = 0;
    {
        const Interpose counting(interposed::fsync, [&](int) {
            ++flushes;
            return 0;
        });
        EXPECT_EQ(handling.copyDir(source, target, true, nullptr), 0);
        handling.join();
        EXPECT_EQ(flushes, 1);
        EXPECT_EQ(handling.copyFile(source + "/a", target + "/b", true, nullptr), 0);
        handling.join();
        EXPECT_EQ(flushes, 2);
    }
    EXPECT_EQ(readAll(target + "/a"), std::string(5000, 'x'));
    EXPECT_EQ(readAll(target + "/b"), std::string(5000, 'x'));
    EXPECT_EQ(handling.getErrorCode(), 0);
}

TEST_F(ZTFileHandlingTest, ALongerTargetKeepsItsTailAndCountsWhole)
{
    for (const char* name : {"/a", "/b"}) {
        writeAll(source + name, std::string(1024, 'n'));
        writeAll(target + name, std::string(4096, 'o'));
    }
    EXPECT_THAT(copyDir(true),
                ElementsAre("progress 50", "progress 250", "progress 100", "finished 0"));
    EXPECT_EQ(readAll(target + "/a"), std::string(1024, 'n') + std::string(3072, 'o'));
}

TEST_F(ZTFileHandlingTest, ATargetWithoutASizeDoesNotCountSoThatProgressGoesBack)
{
    for (const char* name : {"/a", "/b"}) {
        writeAll(source + name, std::string(2048, 'n'));
        fs::create_symlink("/dev/null", target + name);
    }
    EXPECT_THAT(copyDir(true), ElementsAre("progress 25", "progress 50", "progress 25",
                                           "progress 50", "progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingTest, AFileThatGrowsCountsAsMoreThanAll)
{
    writeAll(source + "/a", std::string(1024, 'x'));
    const Listing growing(interposed::readdir64, [this](DIR* stream) {
        if (ticks() == 3) {
            writeAll(source + "/a", std::string(2048, 'x'));
        }
        return interposed::readdir64.real(stream);
    });
    EXPECT_THAT(copyDir(true),
                ElementsAre("progress 100", "progress 200", "progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingTest, AFolderWithoutFilesEndsWith42AndNoProgress)
{
    fs::create_directory(source + "/folder");
    EXPECT_THAT(copyDir(true), ElementsAre("finished 42"));
    EXPECT_EQ(handling.getErrorCode(), 42);
    EXPECT_EQ(ticks(), 3);
}

TEST_F(ZTFileHandlingTest, AFolderOfEmptyFilesEndsWith42AndNoProgress)
{
    writeAll(source + "/a", "");
    EXPECT_THAT(copyDir(true), ElementsAre("finished 42"));
    EXPECT_THAT(namesIn(target), IsEmpty());
}

TEST_F(ZTFileHandlingTest, AFolderOfExactly4GiBCountsAsEmpty)
{
    writeAll(source + "/a", "");
    fs::resize_file(source + "/a", 4294967296);
    EXPECT_THAT(copyDir(true), ElementsAre("finished 42"));
}

TEST_F(ZTFileHandlingTest, AFolderThatCannotBeOpenedEndsWith42)
{
    writeAll(source + "/a", "1");
    const Interpose refused(interposed::opendir, [](const char*) -> DIR* {
        errno = EMFILE;
        return nullptr;
    });
    EXPECT_THAT(copyDir(true), ElementsAre("finished 42"));
}

TEST_F(ZTFileHandlingTest, AFolderThatVanishesBeforeTheFirstStepEndsWith41)
{
    const Interpose vanishing(interposed::pthread_create, [this](auto... arguments) {
        fs::remove(target);
        return interposed::pthread_create.real(arguments...);
    });
    EXPECT_THAT(copyDir(true), ElementsAre("finished 41"));
    EXPECT_EQ(ticks(), 2);
}

TEST_F(ZTFileHandlingTest, AFileThatVanishesBeforeTheFirstStepEndsWith16)
{
    writeAll(source + "/a", "1");
    const Interpose vanishing(interposed::pthread_create, [this](auto... arguments) {
        fs::remove(source + "/a");
        return interposed::pthread_create.real(arguments...);
    });
    EXPECT_THAT(copyFile(source + "/a", target + "/a", true), ElementsAre("finished 16"));
    EXPECT_EQ(ticks(), 2);
    EXPECT_THAT(namesIn(target), IsEmpty());
}

TEST_F(ZTFileHandlingTest, AFileThatVanishesBetweenListingAndCopyingEndsWith16)
{
    writeAll(source + "/a", "1");
    {
        const Listing vanishing(interposed::readdir64, [this](DIR* stream) {
            dirent64* entry = interposed::readdir64.real(stream);
            if (ticks() >= 3) {
                fs::remove(source + "/a");
            }
            return entry;
        });
        EXPECT_THAT(copyDir(true), ElementsAre("finished 16"));
    }
    EXPECT_EQ(handling.getErrorCode(), 16);
    EXPECT_EQ(readAll(target + "/a"), "") << "the target is opened all the same";
}

TEST_F(ZTFileHandlingTest, AListingThatFailsCountsAsItsEnd)
{
    writeAll(source + "/a", "1");
    int listings = 0;
    {
        const Listing failing(interposed::readdir64, [&](DIR* stream) -> dirent64* {
            if (ticks() < 3) {
                return interposed::readdir64.real(stream);
            }
            ++listings;
            errno = EIO;
            return nullptr;
        });
        EXPECT_THAT(copyDir(true), ElementsAre("progress 100", "finished 0"));
    }
    EXPECT_EQ(listings, 1);
    EXPECT_THAT(namesIn(target), IsEmpty());
}

TEST_F(ZTFileHandlingTest, AFileThatVanishesWhileSizesAreAddedUpCountsAsAllOnes)
{
    writeAll(source + "/a", std::string(1024, 'x'));
    {
        const Listing vanishing(interposed::readdir64, [this](DIR* stream) {
            dirent64* entry = interposed::readdir64.real(stream);
            if (entry != nullptr) {
                fs::remove(source + "/a");
            }
            if (ticks() >= 3) {
                writeAll(source + "/a", std::string(1024, 'x'));
            }
            return entry;
        });
        EXPECT_THAT(copyDir(true), ElementsAre("progress 100", "finished 0"));
    }
}

TEST_F(ZTFileHandlingTest, ACopyThatFailsEndsWith16AndKeepsItsSourceInAMove)
{
    writeAll(source + "/a", "1");
    fs::create_directory(target + "/a");
    EXPECT_THAT(copyDir(false), ElementsAre("finished 16"));
    EXPECT_EQ(readAll(source + "/a"), "1");
}

TEST_F(ZTFileHandlingTest, ACopyThatFailsEndsWithTheNextStep)
{
    writeAll(source + "/a", "1");
    fs::create_directory(target + "/a");
    std::int64_t failed = 0;
    const OnTrace looking([&](const std::string& text) {
        if (text.rfind("ZTFileHandling::copy | file", 0) == 0) {
            failed = ticks();
        }
    });
    copyDir(true);
    EXPECT_EQ(ticks(), failed + 1);
}

TEST_F(ZTFileHandlingTest, AFolderOnAFullMediumEndsWith16AndKeepsItsSourceInAMove)
{
    writeAll(source + "/a", "1");
    fs::create_symlink("/dev/full", target + "/a");
    EXPECT_THAT(copyDir(false), ElementsAre("finished 16"));
    EXPECT_EQ(readAll(source + "/a"), "1");
}

TEST_F(ZTFileHandlingTest, AFileOnAFullMediumEndsWith16AndKeepsItsSourceInAMove)
{
    writeAll(source + "/a", "1");
    EXPECT_THAT(copyFile(source + "/a", "/dev/full", false), ElementsAre("finished 16"));
    EXPECT_EQ(readAll(source + "/a"), "1");
    EXPECT_EQ(handling.getErrorCode(), 16);
    EXPECT_EQ(ticks(), 3);
}

TEST_F(ZTFileHandlingTest, AFolderThatIsNoneReturns41AndStartsNoThread)
{
    writeAll(folder / "file", "1");
    const Interpose noThread(interposed::pthread_create, [](auto...) {
        ADD_FAILURE();
        return EAGAIN;
    });
    for (const std::string& none : {folder / "missing", folder / "file", std::string()}) {
        EXPECT_EQ(handling.copyDir(none, target, true, &listener), 41);
        EXPECT_EQ(handling.getErrorCode(), 41);
        EXPECT_EQ(handling.copyDir(source, none, true, &listener), 41);
        EXPECT_EQ(handling.getErrorCode(), 41);
        EXPECT_FALSE(handling.isRunning());
    }
    EXPECT_THAT(listener.calls(), IsEmpty());
}

TEST_F(ZTFileHandlingTest, AFileThatIsNoneReturns16AndStartsNoThread)
{
    writeAll(source + "/a", "1");
    const Interpose noThread(interposed::pthread_create, [](auto...) {
        ADD_FAILURE();
        return EAGAIN;
    });
    for (const std::string& none : {folder / "missing", source, std::string()}) {
        EXPECT_EQ(handling.copyFile(none, target + "/a", true, &listener), 16);
        EXPECT_EQ(handling.getErrorCode(), 16);
    }
    handling.release();
    EXPECT_EQ(handling.copyFile(source + "/a", "", true, &listener), 16);
    EXPECT_EQ(handling.getErrorCode(), 16);
    EXPECT_FALSE(handling.isRunning());
    EXPECT_THAT(listener.calls(), IsEmpty());
}

TEST_F(ZTFileHandlingTest, SettersReturnTheCodesThatTheyKeep)
{
    writeAll(folder / "file", "1");
    EXPECT_EQ(handling.setSourceDirectory(source), 0);
    EXPECT_EQ(handling.setTargetDirectory(target), 0);
    EXPECT_EQ(handling.setCurrentSourceFile(folder / "file"), 0);
    EXPECT_EQ(handling.setCurrentTargetFile("anything"), 0);
    EXPECT_EQ(handling.getErrorCode(), 0);
    EXPECT_EQ(handling.setSourceDirectory("/missing"), 41);
    EXPECT_EQ(handling.getErrorCode(), 41);
    EXPECT_EQ(handling.setCurrentSourceFile("/missing"), 16);
    EXPECT_EQ(handling.getErrorCode(), 16);
    EXPECT_EQ(handling.setTargetDirectory(""), 41);
    EXPECT_EQ(handling.getErrorCode(), 41);
    EXPECT_EQ(handling.setCurrentTargetFile(""), 16);
    EXPECT_EQ(handling.getErrorCode(), 16);
    EXPECT_EQ(handling.setSourceDirectory(source), 0);
    EXPECT_EQ(handling.getErrorCode(), 16) << "what is right does not clear the code";
}

TEST_F(ZTFileHandlingTest, CreateCopiesTheFoldersThatWereSet)
{
    writeAll(source + "/a", "1");
    EXPECT_EQ(handling.setSourceDirectory(source), 0);
    EXPECT_EQ(handling.setTargetDirectory(target), 0);
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_EQ(listener.calls().back(), "finished 0");
    EXPECT_EQ(readAll(target + "/a"), "1");
    EXPECT_EQ(readAll(source + "/a"), "1");
}

TEST_F(ZTFileHandlingTest, CreateLeavesTheFlagsAsTheyAre)
{
    std::vector<bool> flags;
    listener.onFinished = [&] {
        flags.push_back(handling.isRunning());
        flags.push_back(handling.isThreadEnded());
    };
    EXPECT_EQ(handling.create(true, &listener), 0);
    EXPECT_FALSE(handling.isRunning());
    handling.join();
    handling.release();
    handling.start();
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    handling.release();
    handling.setThreadEnd(true);
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_THAT(flags, ElementsAre(false, false, true, false, false, true));
}

TEST_F(ZTFileHandlingTest, ARunIsMarkedAsRunningBeforeItsThreadStarts)
{
    writeAll(source + "/a", "1");
    std::vector<bool> marks;
    const Interpose looking(interposed::pthread_create, [&](auto... arguments) {
        marks.push_back(handling.isRunning());
        return interposed::pthread_create.real(arguments...);
    });
    copyDir(true);
    copyFile(source + "/a", target + "/a", true);
    EXPECT_THAT(marks, ElementsAre(true, true));
}

TEST_F(ZTFileHandlingTest, AStopBeforeCreateEndsItsRunAfterTheFirstStep)
{
    EXPECT_EQ(handling.setCurrentTargetFile(""), 16);
    handling.stop();
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 41"));
    EXPECT_EQ(ticks(), 1);
    handling.stop();
    handling.start();
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_EQ(ticks(), 3) << "start() has taken it back";
}

TEST_F(ZTFileHandlingTest, AStopAfterARunDoesNotEndTheNext)
{
    writeAll(source + "/a", "1");
    using Start = std::function<void(CopyListener&)>;
    for (const Start& start : std::vector<Start>{
             [this](auto& own) { handling.create(true, &own); },
             [this](auto& own) { handling.copyDir(source, target, true, &own); },
             [this](auto& own) { handling.copyFile(source + "/a", target + "/a", true, &own); }}) {
        copyDir(true);
        handling.stop();
        CopyListener own;
        start(own);
        handling.join();
        EXPECT_THAT(own.calls(), ElementsAre("progress 100", "progress 100", "finished 0"));
    }
}

TEST_F(ZTFileHandlingTest, CreateWithoutFoldersEndsWith41)
{
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 41"));
}

TEST_F(ZTFileHandlingTest, FlagsTellWhereTheRunIs)
{
    writeAll(source + "/a", "1");
    std::vector<bool> flags;
    const auto keep = [&] {
        flags.push_back(handling.isRunning());
        flags.push_back(handling.isThreadEnded());
    };
    listener.onFinished = keep;
    copyDir(true);
    keep();
    handling.stop();
    keep();
    EXPECT_THAT(flags, ElementsAre(true, false, false, true, false, false));
}

TEST_F(ZTFileHandlingTest, StartAndSetThreadEndOnlySetTheFlags)
{
    handling.start();
    EXPECT_TRUE(handling.isRunning());
    EXPECT_FALSE(handling.isThreadEnded());
    handling.setThreadEnd(true);
    EXPECT_FALSE(handling.isRunning());
    EXPECT_TRUE(handling.isThreadEnded());
    handling.start();
    EXPECT_FALSE(handling.isThreadEnded());
    handling.setThreadEnd(false);
    EXPECT_FALSE(handling.isRunning());
    EXPECT_FALSE(handling.isThreadEnded());
}

TEST_F(ZTFileHandlingTest, ReleaseForgetsTheCodeAndTheFlags)
{
    copyDir(true);
    EXPECT_EQ(handling.getErrorCode(), 42);
    handling.release();
    EXPECT_EQ(handling.getErrorCode(), 0);
    EXPECT_FALSE(handling.isRunning());
    EXPECT_FALSE(handling.isThreadEnded());
    EXPECT_THAT(listener.calls(), ElementsAre("finished 42")) << "once for each run";
}

TEST_F(ZTFileHandlingTest, CanBeUsedForManyRunsInTurn)
{
    writeAll(source + "/a", "1");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(copyDir(true).back(), "finished 0");
        EXPECT_EQ(copyFile(source + "/a", target + "/b", true).back(), "finished 0");
    }
    EXPECT_EQ(listener.calls().size(), 18U);
}

TEST_F(ZTFileHandlingTest, NoDescriptorIsLeftOpenByAnyEnding)
{
    const auto openDescriptors = [] { return namesIn("/proc/self/fd").size(); };
    const std::size_t before = openDescriptors();
    copyDir(true); // 42
    writeAll(source + "/a", "1");
    copyDir(true); // 0
    fs::remove(target + "/a");
    fs::create_symlink("/dev/full", target + "/a");
    copyDir(true); // 16
    listener.onProgress = [] {};
    {
        const Listing stopping(interposed::readdir64, [this](DIR* stream) {
            handling.stop();
            return interposed::readdir64.real(stream);
        });
        copyDir(true); // 43
    }
    EXPECT_THAT(listener.calls(), ElementsAre("finished 42", "progress 100", "progress 100",
                                              "finished 0", "finished 16", "finished 43"));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ZTFileHandlingTest, ARunLeavesOpenWhatACopyThatCannotOpenOneFileDoes)
{
    const auto openDescriptors = [] { return namesIn("/proc/self/fd").size(); };
    const std::size_t before = openDescriptors();
    writeAll(source + "/a", "1");
    fs::create_directory(target + "/a");
    EXPECT_THAT(copyDir(true), ElementsAre("finished 16"));
    EXPECT_EQ(openDescriptors(), before + 1);
}

TEST_F(ZTFileHandlingTest, AStopBeforeTheFirstStepEndsWithTheCodeFromBefore)
{
    EXPECT_EQ(handling.setCurrentTargetFile(""), 16);
    const Interpose stopping(interposed::pthread_create, [this](auto... arguments) {
        handling.stop();
        return interposed::pthread_create.real(arguments...);
    });
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 16"));
}

TEST_F(ZTFileHandlingTest, AStopWhileFoldersAreLookedAtEndsWith0)
{
    EXPECT_EQ(handling.setSourceDirectory(source), 0);
    EXPECT_EQ(handling.setTargetDirectory(target), 0);
    EXPECT_EQ(handling.setCurrentTargetFile(""), 16);
    const Interpose stopping(interposed::opendir, [this](const char* path) {
        handling.stop();
        return interposed::opendir.real(path);
    });
    EXPECT_EQ(handling.create(true, &listener), 0);
    handling.join();
    EXPECT_THAT(listener.calls(), ElementsAre("finished 0"));
}

TEST_F(ZTFileHandlingTest, AStopWhileSizesAreAddedUpEndsWith43)
{
    writeAll(source + "/a", "1");
    const Listing stopping(interposed::readdir64, [this](DIR* stream) {
        handling.stop();
        return interposed::readdir64.real(stream);
    });
    EXPECT_THAT(copyDir(true), ElementsAre("finished 43"));
    EXPECT_EQ(ticks(), 2);
    EXPECT_THAT(namesIn(target), IsEmpty());
}

TEST_F(ZTFileHandlingTest, AStopWhileAFileIsCopiedFinishesItAndEndsWith43)
{
    for (const char* name : {"/a", "/b"}) {
        writeAll(source + name, std::string(4096, 'x'));
    }
    listener.onProgress = [this] { handling.stop(); };
    EXPECT_THAT(copyDir(false), ElementsAre("progress 12", "progress 25", "progress 37",
                                            "progress 50", "finished 43"));
    ASSERT_EQ(namesIn(target).size(), 1U);
    EXPECT_EQ(readAll(target + "/" + *namesIn(target).begin()), std::string(4096, 'x'));
    EXPECT_EQ(namesIn(source).size(), 1U) << "what was copied is moved";
}

TEST_F(ZTFileHandlingTest, AStopAtTheEndOfTheListingEndsWith0AndNoLastProgress)
{
    writeAll(source + "/a", std::string(1024, 'x'));
    const Interpose closing(interposed::closedir, [this](DIR* stream) {
        handling.stop();
        return interposed::closedir.real(stream);
    });
    EXPECT_THAT(copyDir(true), ElementsAre("progress 100", "finished 0"));
}

TEST_F(ZTFileHandlingTest, AStopWhileTheOneFileIsCopiedEndsWith0AndNoLastProgress)
{
    writeAll(source + "/a", std::string(2048, 'x'));
    listener.onProgress = [this] { handling.stop(); };
    EXPECT_THAT(copyFile(source + "/a", target + "/a", true),
                ElementsAre("progress 50", "progress 100", "finished 0"));
    EXPECT_EQ(readAll(target + "/a"), std::string(2048, 'x'));
    EXPECT_EQ(ticks(), 2);
}

TEST_F(ZTFileHandlingTest, AWakeUpThatNobodyAskedForDoesNotEndARun)
{
    writeAll(source + "/a", "1");
    clocks.wakeAfter(10ms);
    EXPECT_EQ(copyFile(source + "/a", target + "/a", true).back(), "finished 0");
    EXPECT_EQ(readAll(target + "/a"), "1");
    EXPECT_EQ(clocks.slept(), 3 * TICK) << "the wait goes on for what is left";
    EXPECT_EQ(clocks.waits(), 4);
}

TEST_F(ZTFileHandlingTest, AClockThatIsSetForwardEndsAWaitButNoRun)
{
    writeAll(source + "/a", "1");
    clocks.stepDuringWait(1h);
    EXPECT_EQ(copyFile(source + "/a", target + "/a", true).back(), "finished 0");
    EXPECT_EQ(readAll(target + "/a"), "1");
    EXPECT_EQ(clocks.slept(), 2 * TICK);
}

TEST_F(ZTFileHandlingTest, AClockThatIsSetBackHoldsARunUpForSoLong)
{
    writeAll(source + "/a", "1");
    clocks.stepDuringWait(-1h);
    EXPECT_EQ(copyFile(source + "/a", target + "/a", true).back(), "finished 0");
    EXPECT_EQ(readAll(target + "/a"), "1");
    EXPECT_EQ(clocks.slept(), 3 * TICK + 1h);
}

TEST_F(ZTFileHandlingTest, AThreadThatCannotBeStartedThrowsError11AndLeavesTheObjectUsable)
{
    writeAll(source + "/a", "1");
    {
        Diagnostics diagnostics(4);
        const Interpose refused(interposed::pthread_create, [](auto...) { return EAGAIN; });
        for (const auto& start : std::vector<std::function<void()>>{
                 [&] { handling.copyDir(source, target, false, &listener); },
                 [&] { handling.copyFile(source + "/a", target + "/a", false, &listener); },
                 [&] { handling.create(false, &listener); }}) {
            try {
                start();
                ADD_FAILURE() << "nothing was thrown";
            } catch (const boost::thread_resource_error& error) {
                EXPECT_EQ(error.native_error(), 11);
            }
            EXPECT_FALSE(handling.isRunning());
            EXPECT_FALSE(handling.isThreadEnded());
        }
        EXPECT_THAT(textsOf(diagnostics.take(), false), Not(Contains("ZTFileHandling::start")));
    }
    handling.join();
    EXPECT_THAT(listener.calls(), IsEmpty());
    EXPECT_EQ(copyDir(true).back(), "finished 0");
    EXPECT_EQ(readAll(source + "/a"), "1");
}

TEST_F(ZTFileHandlingTest, AMutexThatCannotBeLockedThrowsOutOfACopy)
{
    {
        const Interpose refused(interposed::pthread_mutex_lock, [this](pthread_mutex_t* mutex) {
            return isIn(handling, mutex) ? EINVAL : interposed::pthread_mutex_lock.real(mutex);
        });
        try {
            handling.copyDir(source, target, true, &listener);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const boost::lock_error& error) {
            EXPECT_THAT(error.what(), StartsWith("boost: mutex lock failed in pthread_mutex_lock"));
        }
    }
    EXPECT_FALSE(handling.isRunning());
    EXPECT_EQ(copyDir(true).back(), "finished 42");
}

TEST_F(ZTFileHandlingTest, WithoutARunNothingIsLocked)
{
    copyDir(true);
    handling.release();
    const Interpose refused(interposed::pthread_mutex_lock, [this](pthread_mutex_t* mutex) {
        return isIn(handling, mutex) ? EINVAL : interposed::pthread_mutex_lock.real(mutex);
    });
    handling.stop();
    handling.release();
    EXPECT_EQ(handling.copyDir("", target, true, &listener), 41);
}

TEST_F(ZTFileHandlingTest, AConstructorThatTheSystemRefusesThrowsBoostsError)
{
    {
        const Interpose refused(interposed::pthread_cond_init, [](auto...) { return ENOMEM; });
        EXPECT_THROW(ZTFileHandling(), boost::thread_resource_error);
    }
    const Interpose refused(interposed::pthread_mutex_init, [](auto...) { return ENOMEM; });
    EXPECT_THROW(ZTFileHandling(), boost::thread_resource_error);
}

TEST_F(ZTFileHandlingTest, ARunOnAFolderIsTraced)
{
    writeAll(source + "/a", "1");
    Diagnostics diagnostics(4);
    copyDir(false);
    const std::vector<Line> lines = diagnostics.take();
    EXPECT_THAT(
        textsOf(lines, false),
        ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop",
                    "ZTFileHandling::copyDir source " + source + "  target " + target + "  cm 0",
                    "ZTFileHandling::setSourceDirectory " + source,
                    "ZTFileHandling::setSourceDirectory end",
                    "ZTFileHandling::setTargetDirectory " + target,
                    "ZTFileHandling::setTargetDirectory end",
                    "ZTFileHandling::copyDir want to start",
                    "ZTFileHandling::copyDir lets go thread", "ZTFileHandling::start",
                    "ZTFileHandling::copyDir ends"));
    EXPECT_THAT(textsOf(lines, true),
                ElementsAre("ZTFileHandling::copy source " + source + "  target " + target,
                            "ZTFileHandling::copy source and target found",
                            "ZTFileHandling::copy get source complete to calculate",
                            "ZTFileHandling::copy | file " + source + "/a => " + target + "/a",
                            "ZTFileHandling::copy | kill source " + source + "/a",
                            "ZTFileHandling::copy thread done"));
}

TEST_F(ZTFileHandlingTest, AFolderThatIsKeptIsNotTracedAsKilled)
{
    writeAll(source + "/a", "1");
    Diagnostics diagnostics(4);
    copyDir(true);
    const std::vector<Line> lines = diagnostics.take();
    EXPECT_THAT(textsOf(lines, false), Contains("ZTFileHandling::copyDir source " + source +
                                                "  target " + target + "  cm 1"));
    EXPECT_THAT(textsOf(lines, true),
                ElementsAre("ZTFileHandling::copy source " + source + "  target " + target,
                            "ZTFileHandling::copy source and target found",
                            "ZTFileHandling::copy get source complete to calculate",
                            "ZTFileHandling::copy | file " + source + "/a => " + target + "/a",
                            "ZTFileHandling::copy thread done"));
}

TEST_F(ZTFileHandlingTest, FoldersThatAreNotFoundAreTracedAsFound)
{
    const Interpose vanishing(interposed::pthread_create, [this](auto... arguments) {
        fs::remove(source);
        return interposed::pthread_create.real(arguments...);
    });
    Diagnostics diagnostics(4);
    copyDir(true);
    EXPECT_THAT(textsOf(diagnostics.take(), true),
                ElementsAre("ZTFileHandling::copy source " + source + "  target " + target,
                            "ZTFileHandling::copy source and target found",
                            "ZTFileHandling::copy thread done"));
}

TEST_F(ZTFileHandlingTest, ARefusedFolderIsTraced)
{
    Diagnostics diagnostics(4);
    handling.copyDir("/no where", target, false, nullptr);
    EXPECT_THAT(textsOf(diagnostics.take(), false),
                ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop",
                            "ZTFileHandling::copyDir source /no where  target " + target + "  cm 0",
                            "ZTFileHandling::setSourceDirectory /no where",
                            "ZTFileHandling::setSourceDirectory end",
                            "ZTFileHandling::copyDir want to start",
                            "ZTFileHandling::copyDir ends"));
    handling.copyDir(source, "", true, nullptr);
    EXPECT_THAT(
        textsOf(diagnostics.take(), false),
        ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop",
                    "ZTFileHandling::copyDir source " + source + "  target   cm 1",
                    "ZTFileHandling::setSourceDirectory " + source,
                    "ZTFileHandling::setSourceDirectory end", "ZTFileHandling::setTargetDirectory ",
                    "ZTFileHandling::setTargetDirectory end",
                    "ZTFileHandling::copyDir want to start", "ZTFileHandling::copyDir ends"));
}

TEST_F(ZTFileHandlingTest, ARunOnAFileIsTraced)
{
    const std::string from = source + "/a";
    const std::string to = target + "/b";
    writeAll(from, "1");
    Diagnostics diagnostics(4);
    copyFile(from, to, false);
    const std::vector<Line> lines = diagnostics.take();
    EXPECT_THAT(textsOf(lines, false),
                ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop",
                            "ZTFileHandling::copyFile source " + from + "  target " + to + "  cm 0",
                            "ZTFileHandling::setCurrentSourceFile " + from,
                            "ZTFileHandling::setCurrentSourceFile end",
                            "ZTFileHandling::setCurrentTargetFile " + to,
                            "ZTFileHandling::setCurrentTargetFile end",
                            "ZTFileHandling::copyFile lets go thread", "ZTFileHandling::start"));
    EXPECT_THAT(textsOf(lines, true),
                ElementsAre("ZTFileHandling::copyTheFile source " + from + "  target " + to,
                            "ZTFileHandling::copyTheFile file found",
                            "ZTFileHandling::copyTheFile delete file " + from,
                            "ZTFileHandling::copyFile thread done"));
}

TEST_F(ZTFileHandlingTest, ARunOnAFileClearsTheCodeWhenItFindsTheFileAndWhenItHasCopiedIt)
{
    writeAll(source + "/a", "1");
    {
        const OnTrace stopping([this](const std::string& text) {
            if (text == "ZTFileHandling::copyTheFile file found") {
                handling.stop();
            } else if (isWorkers(text)) {
                handling.setSourceDirectory("/missing"); // 41
            }
        });
        EXPECT_THAT(copyFile(source + "/a", target + "/a", true), ElementsAre("finished 0"));
    }
    const OnTrace failing([this](const std::string& text) {
        if (isWorkers(text)) {
            handling.setSourceDirectory("/missing"); // 41
        }
    });
    EXPECT_EQ(copyFile(source + "/a", target + "/a", false).back(), "finished 0");
}

TEST_F(ZTFileHandlingTest, TheRunIsMarkedAsOverBeforeItsLastTrace)
{
    writeAll(source + "/a", "1");
    std::vector<bool> ended;
    const OnTrace looking([&](const std::string& text) {
        if (text == "ZTFileHandling::copy thread done" ||
            text == "ZTFileHandling::copyFile thread done") {
            ended.push_back(handling.isThreadEnded());
        }
    });
    copyDir(true);
    copyFile(source + "/a", target + "/a", true);
    EXPECT_THAT(ended, ElementsAre(true, true));
}

TEST_F(ZTFileHandlingTest, StopAndStartAreTracedBeforeTheyTakeEffect)
{
    std::vector<std::string> flags;
    const OnTrace looking([&](const std::string& text) {
        flags.push_back(text + (handling.isRunning() ? " running" : " not running"));
    });
    handling.start();
    handling.stop();
    handling.start();
    handling.release();
    EXPECT_THAT(flags,
                ElementsAre("ZTFileHandling::start not running", "ZTFileHandling::stop running",
                            "ZTFileHandling::start not running", "ZTFileHandling::release running",
                            "ZTFileHandling::stop running"));
}

TEST_F(ZTFileHandlingTest, SettersTraceTheNameThenLookAndKeepTheCodeThenTraceTheirEnd)
{
    const std::string later = folder / "later";
    std::vector<std::string> codes;
    const OnTrace acting([&](const std::string& text) {
        if (text == "ZTFileHandling::setSourceDirectory " + later ||
            text == "ZTFileHandling::setTargetDirectory " + later) {
            fs::create_directory(later);
        } else if (text == "ZTFileHandling::setCurrentSourceFile " + later) {
            writeAll(later, "1");
        } else {
            codes.push_back(text + ' ' + std::to_string(handling.getErrorCode()));
        }
    });
    EXPECT_EQ(handling.setSourceDirectory(later), 0);
    fs::remove(later);
    EXPECT_EQ(handling.setTargetDirectory(later), 0);
    fs::remove(later);
    EXPECT_EQ(handling.setCurrentSourceFile(later), 0);
    handling.setSourceDirectory("");
    handling.setCurrentSourceFile("");
    handling.setTargetDirectory("");
    handling.setCurrentTargetFile("");
    EXPECT_THAT(
        codes,
        ElementsAre(
            "ZTFileHandling::setSourceDirectory end 0", "ZTFileHandling::setTargetDirectory end 0",
            "ZTFileHandling::setCurrentSourceFile end 0", "ZTFileHandling::setSourceDirectory  0",
            "ZTFileHandling::setSourceDirectory end 41", "ZTFileHandling::setCurrentSourceFile  41",
            "ZTFileHandling::setCurrentSourceFile end 16", "ZTFileHandling::setTargetDirectory  16",
            "ZTFileHandling::setTargetDirectory end 41", "ZTFileHandling::setCurrentTargetFile  41",
            "ZTFileHandling::setCurrentTargetFile end 16"));
}

TEST_F(ZTFileHandlingTest, ARunOnAFolderTracesBeforeItListsAndCopiesAndAfterItErases)
{
    const std::string from = source + "/a";
    const std::string to = target + "/a";
    writeAll(from, "1");
    const Interpose keepingACode(interposed::pthread_create, [this](auto... arguments) {
        handling.setCurrentTargetFile(""); // 16
        return interposed::pthread_create.real(arguments...);
    });
    std::vector<std::string> seen;
    const OnTrace looking([&](const std::string& text) {
        if (isWorkers(text)) {
            seen.push_back(text + " | " + std::to_string(handling.getErrorCode()) +
                           (fs::exists(to) ? " copied" : "") + (fs::exists(from) ? "" : " erased"));
        }
    });
    copyDir(false);
    EXPECT_THAT(
        seen, ElementsAre("ZTFileHandling::copy source " + source + "  target " + target + " | 16",
                          "ZTFileHandling::copy source and target found | 0",
                          "ZTFileHandling::copy get source complete to calculate | 0",
                          "ZTFileHandling::copy | file " + from + " => " + to + " | 43",
                          "ZTFileHandling::copy | kill source " + from + " | 43 copied erased",
                          "ZTFileHandling::copy thread done | 0 copied erased"));
}

TEST_F(ZTFileHandlingTest, ARunOnAFileTracesBeforeItKeepsTheCodeAndAfterItErases)
{
    const std::string from = source + "/a";
    const std::string to = target + "/a";
    writeAll(from, "1");
    const Interpose keepingACode(interposed::pthread_create, [this](auto... arguments) {
        handling.setSourceDirectory(""); // 41
        return interposed::pthread_create.real(arguments...);
    });
    std::vector<std::string> seen;
    const OnTrace looking([&](const std::string& text) {
        if (isWorkers(text)) {
            seen.push_back(text + " | " + std::to_string(handling.getErrorCode()) +
                           (fs::exists(to) ? " copied" : "") + (fs::exists(from) ? "" : " erased"));
        }
    });
    copyFile(from, to, false);
    EXPECT_THAT(
        seen, ElementsAre("ZTFileHandling::copyTheFile source " + from + "  target " + to + " | 41",
                          "ZTFileHandling::copyTheFile file found | 41",
                          "ZTFileHandling::copyTheFile delete file " + from + " | 0 copied erased",
                          "ZTFileHandling::copyFile thread done | 0 copied erased"));
}

TEST_F(ZTFileHandlingTest, TheLastTraceComesAfterTheLastCallback)
{
    Diagnostics diagnostics(4);
    listener.onFinished = [&] { diagnostics.take(); };
    copyDir(true);
    EXPECT_THAT(textsOf(diagnostics.take(), true), ElementsAre("ZTFileHandling::copy thread done"));
    writeAll(source + "/a", "1");
    copyFile(source + "/a", target + "/a", true);
    EXPECT_THAT(textsOf(diagnostics.take(), true),
                ElementsAre("ZTFileHandling::copyFile thread done"));
}

TEST_F(ZTFileHandlingTest, AFileThatIsKeptIsNotTracedAsDeleted)
{
    writeAll(source + "/a", "1");
    Diagnostics diagnostics(4);
    copyFile(source + "/a", target + "/a", true);
    EXPECT_THAT(
        textsOf(diagnostics.take(), true),
        ElementsAre("ZTFileHandling::copyTheFile source " + source + "/a  target " + target + "/a",
                    "ZTFileHandling::copyTheFile file found",
                    "ZTFileHandling::copyFile thread done"));
}

TEST_F(ZTFileHandlingTest, AFileThatIsNotFoundIsTraced)
{
    writeAll(source + "/a", "1");
    const Interpose vanishing(interposed::pthread_create, [this](auto... arguments) {
        fs::remove(source + "/a");
        return interposed::pthread_create.real(arguments...);
    });
    Diagnostics diagnostics(4);
    copyFile(source + "/a", target + "/a", true);
    EXPECT_THAT(
        textsOf(diagnostics.take(), true),
        ElementsAre("ZTFileHandling::copyTheFile source " + source + "/a  target " + target + "/a",
                    "ZTFileHandling::copyTheFile file not found",
                    "ZTFileHandling::copyFile thread done"));
}

TEST_F(ZTFileHandlingTest, ARefusedFileIsTraced)
{
    writeAll(source + "/a", "1");
    Diagnostics diagnostics(4);
    handling.copyFile("/no where", target, false, nullptr);
    EXPECT_THAT(
        textsOf(diagnostics.take(), false),
        ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop",
                    "ZTFileHandling::copyFile source /no where  target " + target + "  cm 0",
                    "ZTFileHandling::setCurrentSourceFile /no where",
                    "ZTFileHandling::setCurrentSourceFile end"));
    handling.copyFile(source + "/a", "", true, nullptr);
    EXPECT_THAT(textsOf(diagnostics.take(), false),
                ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop",
                            "ZTFileHandling::copyFile source " + source + "/a  target   cm 1",
                            "ZTFileHandling::setCurrentSourceFile " + source + "/a",
                            "ZTFileHandling::setCurrentSourceFile end",
                            "ZTFileHandling::setCurrentTargetFile ",
                            "ZTFileHandling::setCurrentTargetFile end"));
}

TEST_F(ZTFileHandlingTest, CreateInitResetAndJoinPrintNothing)
{
    handling.setSourceDirectory(source);
    handling.setTargetDirectory(target);
    Diagnostics diagnostics(4);
    handling.create(true, nullptr);
    handling.join();
    handling.init();
    handling.reset();
    EXPECT_THAT(textsOf(diagnostics.take(), false), IsEmpty());
    handling.start();
    handling.setThreadEnd(true);
    EXPECT_THAT(textsOf(diagnostics.take(), false), ElementsAre("ZTFileHandling::start"));
    handling.stop();
    EXPECT_THAT(textsOf(diagnostics.take(), false), ElementsAre("ZTFileHandling::stop"));
    handling.release();
    EXPECT_THAT(textsOf(diagnostics.take(), false),
                ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop"));
}

TEST_F(ZTFileHandlingTest, TheDestructorReleases)
{
    Diagnostics diagnostics(4);
    std::make_unique<ZTFileHandling>();
    EXPECT_THAT(textsOf(diagnostics.take(), false),
                ElementsAre("ZTFileHandling::release", "ZTFileHandling::stop"));
}
