#include "zt/ZTCopy.h"

#include "filehandling/CopyListener.h"
#include "support/Event.h"
#include "support/Interpose.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTCopy;

namespace {

// Bytes of every value, none of them where another is due.
std::string content(std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(i * 7 + i / 256);
    }
    return bytes;
}

class ZTCopyTest : public testing::Test {
protected:
    // Copies a file of so many bytes and expects success.
    void copy(std::size_t size)
    {
        writeAll(source, content(size));
        EXPECT_EQ(copier.copy(source, target), 0);
    }

    const TemporaryFolder folder;
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    CopyListener listener;
    ZTCopy copier;
};

// What a copy asks of the system, in order.
class SystemCalls {
public:
    std::vector<std::string> take() { return std::move(calls); }

private:
    static std::string nameOf(const char* path) { return std::strrchr(path, '/') + 1; }

    void keep(const std::string& call) { calls.push_back(call); }

    std::vector<std::string> calls;
    const Interpose<mode_t(mode_t)> masking{interposed::umask, [this](mode_t mask) {
                                                keep("umask " + std::to_string(mask));
                                                return interposed::umask.real(mask);
                                            }};
    const Interpose<int(const char*, int, mode_t)> opening{
        interposed::open64, [this](const char* path, int flags, mode_t mode) {
            const bool creating = (flags & O_CREAT) != 0;
            keep("open " + nameOf(path) + " " + std::to_string(flags & ~O_LARGEFILE) +
                 (creating ? " " + std::to_string(mode) : ""));
            return interposed::open64.real(path, flags, mode);
        }};
    const Interpose<ssize_t(int, void*, size_t)> reading{
        interposed::read, [this](int fd, void* buffer, size_t size) {
            const ssize_t count = interposed::read.real(fd, buffer, size);
            keep("read " + std::to_string(size) + " gives " + std::to_string(count));
            return count;
        }};
    const Interpose<ssize_t(int, const void*, size_t)> writing{
        interposed::write, [this](int fd, const void* data, size_t size) {
            keep("write " + std::to_string(size));
            return interposed::write.real(fd, data, size);
        }};
    const Interpose<int(int)> flushing{interposed::fsync, [this](int fd) {
                                           keep("fsync");
                                           return interposed::fsync.real(fd);
                                       }};
    const Interpose<int(int)> closing{interposed::close, [this](int fd) {
                                          keep("close");
                                          return interposed::close.real(fd);
                                      }};
};

std::size_t openDescriptors()
{
    std::size_t count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        count += fcntl(fd, F_GETFD) != -1 ? 1U : 0U;
    }
    return count;
}

// Fails the nth write with ENOSPC.
class FullAfter {
public:
    explicit FullAfter(int writes) : left(writes) {}

private:
    int left;
    const Interpose<ssize_t(int, const void*, size_t)> writing{
        interposed::write, [this](int fd, const void* data, size_t size) -> ssize_t {
            if (left-- == 0) {
                errno = ENOSPC;
                return -1;
            }
            return interposed::write.real(fd, data, size);
        }};
};

} // namespace

TEST_F(ZTCopyTest, CopiesFilesOfEverySizeAroundTheChunk)
{
    for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 2047U, 2048U, 2049U, 100000U}) {
        std::remove(target.c_str());
        copy(size);
        EXPECT_EQ(readAll(target), content(size)) << size;
    }
}

TEST_F(ZTCopyTest, CopiesAFileThatDoesNotEndWithAChunkOfZeros)
{
    writeAll(source, std::string(3000, '\0'));
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_EQ(readAll(target), std::string(3000, '\0'));
}

TEST_F(ZTCopyTest, WithAnInterfaceFlushesEveryChunkBeyondHalfOfTheWork)
{
    writeAll(source, content(4500));
    copier.setOffsetAndTotal(0, 4500);
    copier.setInterface(&listener);
    SystemCalls calls;
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_THAT(calls.take(), ElementsAre("umask 0", "open source " + std::to_string(O_RDONLY),
                                          "open target " + std::to_string(O_WRONLY | O_CREAT) +
                                              " " + std::to_string(0664),
                                          "read 1024 gives 1024", "write 1024",          // 22 %
                                          "read 1024 gives 1024", "write 1024",          // 45 %
                                          "read 1024 gives 1024", "write 1024", "fsync", // 68 %
                                          "read 1024 gives 1024", "write 1024", "fsync", // 91 %
                                          "read 1024 gives 404", "write 404", "fsync",   // 100 %
                                          "read 1024 gives 0", "fsync", "close", "close"));
    EXPECT_THAT(listener.calls(), ElementsAre("progress 22", "progress 45", "progress 68",
                                              "progress 91", "progress 100"));
}

TEST_F(ZTCopyTest, WithoutAnInterfaceFlushesAtTheEndOnly)
{
    writeAll(source, content(2500));
    copier.setOffsetAndTotal(0, 2500);
    SystemCalls calls;
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_THAT(calls.take(),
                ElementsAre("umask 0", "open source " + std::to_string(O_RDONLY),
                            "open target " + std::to_string(O_WRONLY | O_CREAT) + " " +
                                std::to_string(0664),
                            "read 1024 gives 1024", "write 1024", "read 1024 gives 1024",
                            "write 1024", "read 1024 gives 452", "write 452", "read 1024 gives 0",
                            "fsync", "close", "close"));
}

TEST_F(ZTCopyTest, JustHalfOfTheWorkIsNotFlushed)
{
    writeAll(source, content(1024));
    copier.setOffsetAndTotal(0, 2048);
    copier.setInterface(&listener);
    int flushes = 0;
    const Interpose counting(interposed::fsync, [&](int) {
        ++flushes;
        return 0;
    });
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_EQ(flushes, 1);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 50"));
}

TEST_F(ZTCopyTest, TheFirstWholePercentBeyondHalfOfTheWorkIsFlushed)
{
    writeAll(source, content(1024));
    copier.setOffsetAndTotal(0, 2000);
    copier.setInterface(&listener);
    int flushes = 0;
    const Interpose counting(interposed::fsync, [&](int) {
        ++flushes;
        return 0;
    });
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_EQ(flushes, 2);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 51"));
}

TEST_F(ZTCopyTest, AChunkIsReportedBeforeItIsFlushed)
{
    writeAll(source, content(1024));
    copier.setOffsetAndTotal(0, 1024);
    copier.setInterface(&listener);
    std::vector<std::string> events;
    listener.onProgress = [&] { events.emplace_back("report"); };
    const Interpose flushing(interposed::fsync, [&](int) {
        events.emplace_back("flush");
        return 0;
    });
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_THAT(events, ElementsAre("report", "flush", "flush"));
}

TEST_F(ZTCopyTest, FlushesAChunkWhosePercentageIsNoNews)
{
    writeAll(source, content(3072));
    copier.setOffsetAndTotal(600000, 1000000);
    copier.setInterface(&listener);
    int flushes = 0;
    const Interpose counting(interposed::fsync, [&](int) {
        ++flushes;
        return 0;
    });
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_EQ(flushes, 4);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 60"));
}

TEST_F(ZTCopyTest, CountsOnFromTheOffset)
{
    copier.setOffsetAndTotal(1024, 4096);
    copier.setInterface(&listener);
    copy(1024);
    copy(1024);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 50", "progress 75"));
}

TEST_F(ZTCopyTest, EachFileStartsToReportAnew)
{
    copier.setInterface(&listener);
    copier.setOffsetAndTotal(1024, 4096);
    copy(1024);
    copier.setOffsetAndTotal(1024, 4096);
    copy(1024);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 50", "progress 50"));
}

TEST_F(ZTCopyTest, NothingIsCountedWithoutAnInterface)
{
    copier.setOffsetAndTotal(0, 4096);
    copy(1024);
    copier.setInterface(&listener);
    copy(1024);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 25"));
}

TEST_F(ZTCopyTest, APercentageIs100ThroughTheTotalTimesTheOffsetInDoublePrecisionTruncated)
{
    copier.setInterface(&listener);
    copier.setOffsetAndTotal(160, 161); // 100.0 / 161 * 161 is a little less than 100
    copy(1);
    copier.setOffsetAndTotal(116, 195); // 60 in single precision, and in integers
    copy(1);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 99", "progress 59"));
}

TEST_F(ZTCopyTest, ATotalOf0GivesTheLargestPercentage)
{
    copier.setOffsetAndTotal(0, 0);
    copier.setInterface(&listener);
    copy(2048);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 4294967295"));
}

TEST_F(ZTCopyTest, APercentageBeyondTheRangeIsTheLargest)
{
    copier.setOffsetAndTotal(4000000000, 1);
    copier.setInterface(&listener);
    copy(1);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 4294967295"));
}

TEST_F(ZTCopyTest, TheLargestPercentageThatFitsIsExact)
{
    copier.setOffsetAndTotal(42949671, 1);
    copier.setInterface(&listener);
    copy(1);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 4294967200"));
}

TEST_F(ZTCopyTest, TheOffsetStartsAgainFrom0AndGives0PercentEvenOf0)
{
    copier.setOffsetAndTotal(4294967295, 0);
    copier.setInterface(&listener);
    copy(1);
    EXPECT_THAT(listener.calls(), IsEmpty());
}

TEST_F(ZTCopyTest, AnOffsetThatStartsAgainIsNotReported)
{
    copier.setOffsetAndTotal(4294966271, 4294967295);
    copier.setInterface(&listener);
    copy(2048);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 100"));
}

TEST_F(ZTCopyTest, ResetForgetsTheInterfaceTheOffsetAndTheTotal)
{
    copier.setOffsetAndTotal(10, 20);
    copier.setInterface(&listener);
    copier.reset();
    copy(1024);
    EXPECT_THAT(listener.calls(), IsEmpty());
    copier.setInterface(&listener);
    copier.init();
    copy(1024);
    EXPECT_THAT(listener.calls(), IsEmpty());
    copier.setOffsetAndTotal(4294967295, 7);
    copier.reset();
    copier.setInterface(&listener);
    copy(1);
    EXPECT_THAT(listener.calls(), ElementsAre("progress 4294967295")) << "1 of 0 bytes";
}

TEST_F(ZTCopyTest, ALongerTargetKeepsItsTail)
{
    writeAll(target, std::string(2000, 'o'));
    copy(1500);
    EXPECT_EQ(readAll(target), content(1500) + std::string(500, 'o'));
}

TEST_F(ZTCopyTest, ANewTargetMayBeReadByAllAndWrittenByTheGroup)
{
    umask(077);
    copy(1);
    struct stat status {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0664U);
}

TEST_F(ZTCopyTest, OnlyTheBytesAreCopied)
{
    writeAll(source, content(1));
    ASSERT_EQ(chmod(source.c_str(), 0755), 0);
    EXPECT_EQ(copier.copy(source, target), 0);
    struct stat status {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0664U);
    ASSERT_EQ(chmod(target.c_str(), 0600), 0);
    EXPECT_EQ(copier.copy(source, target), 0);
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U) << "a target that is there keeps its mode";
}

TEST_F(ZTCopyTest, LinksAreFollowed)
{
    writeAll(folder / "from", content(2000));
    ASSERT_EQ(symlink("from", source.c_str()), 0);
    ASSERT_EQ(symlink("to", target.c_str()), 0);
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_EQ(readAll(folder / "to"), content(2000));
}

TEST_F(ZTCopyTest, AFolderAsSourceGivesAnEmptyTarget)
{
    ASSERT_EQ(mkdir(source.c_str(), 0777), 0);
    EXPECT_EQ(copier.copy(source, target), 0);
    EXPECT_EQ(access(target.c_str(), F_OK), 0);
    EXPECT_EQ(readAll(target), "");
}

TEST_F(ZTCopyTest, AFifoAsSourceWaitsForItsWriter)
{
    ASSERT_EQ(mkfifo(source.c_str(), 0600), 0);
    Event opens;
    Event copied;
    const Interpose opening(interposed::open64, [&](const char* path, int flags, mode_t mode) {
        opens.happen();
        return interposed::open64.real(path, flags, mode);
    });
    std::thread copying([&] {
        EXPECT_EQ(copier.copy(source, target), 0);
        copied.happen();
    });
    opens.await();
    EXPECT_FALSE(copied.awaitFor(50ms));
    writeAll(source, content(2000));
    copying.join();
    EXPECT_EQ(readAll(target), content(2000));
}

TEST_F(ZTCopyTest, AFifoAsTargetWaitsForItsReader)
{
    writeAll(source, content(2000));
    ASSERT_EQ(mkfifo(target.c_str(), 0600), 0);
    Event opens;
    Event copied;
    const Interpose opening(interposed::open64, [&](const char* path, int flags, mode_t mode) {
        if ((flags & O_CREAT) != 0) {
            opens.happen();
        }
        return interposed::open64.real(path, flags, mode);
    });
    std::thread copying([&] {
        EXPECT_EQ(copier.copy(source, target), 0);
        copied.happen();
    });
    opens.await();
    EXPECT_FALSE(copied.awaitFor(50ms));
    EXPECT_EQ(readAll(target), content(2000));
    copying.join();
}

TEST_F(ZTCopyTest, AFifoWhoseReaderGoesRaisesSIGPIPE)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    writeAll(source, content(1));
    ASSERT_EQ(mkfifo(target.c_str(), 0600), 0);
    EXPECT_EXIT(
        {
            const int reader = open(target.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            const Interpose going(interposed::read, [&](int fd, void* buffer, size_t size) {
                close(reader);
                return interposed::read.real(fd, buffer, size);
            });
            copier.copy(source, target);
        },
        testing::KilledBySignal(SIGPIPE), "");
}

TEST_F(ZTCopyTest, SetsTheUmaskOfTheProcessTo0AlsoWhenItFails)
{
    umask(077);
    EXPECT_EQ(copier.copy(folder / "missing", target), 16);
    EXPECT_EQ(umask(0), 0U);
}

TEST_F(ZTCopyTest, AWriteThatTakesAPartIsFollowedByTheRest)
{
    const Interpose partial(interposed::write, [](int to, const void* data, size_t size) {
        return interposed::write.real(to, data, std::min<size_t>(size, 100));
    });
    copy(3000);
    EXPECT_EQ(readAll(target), content(3000));
}

TEST_F(ZTCopyTest, ADescriptorMayBe0)
{
    writeAll(source, content(3000));
    const int standardInput = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    for (const bool isTheTargets : {false, true}) {
        const Interpose opening(interposed::open64, [&](const char* path, int flags, mode_t mode) {
            if (((flags & O_CREAT) != 0) == isTheTargets) {
                close(STDIN_FILENO);
            }
            return interposed::open64.real(path, flags, mode);
        });
        std::remove(target.c_str());
        EXPECT_EQ(copier.copy(source, target), 0);
        EXPECT_EQ(readAll(target), content(3000));
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "it was used and closed";
        dup2(standardInput, STDIN_FILENO);
    }
    close(standardInput);
}

TEST_F(ZTCopyTest, AFileOntoItselfStaysAsItIs)
{
    writeAll(source, content(5000));
    EXPECT_EQ(copier.copy(source, source), 0);
    EXPECT_EQ(readAll(source), content(5000));
}

TEST_F(ZTCopyTest, AMissingSourceReturns16AndLeavesTheTargetCreatedAndOpen)
{
    const std::size_t before = openDescriptors();
    EXPECT_EQ(copier.copy(folder / "missing", target), 16);
    EXPECT_EQ(access(target.c_str(), F_OK), 0) << "both are opened before either is checked";
    EXPECT_EQ(openDescriptors(), before + 1);
}

TEST_F(ZTCopyTest, ATargetThatIsAFolderReturns16AndLeavesTheSourceOpen)
{
    writeAll(source, content(1));
    ASSERT_EQ(mkdir(target.c_str(), 0777), 0);
    const std::size_t before = openDescriptors();
    EXPECT_EQ(copier.copy(source, target), 16);
    EXPECT_EQ(openDescriptors(), before + 1);
}

TEST_F(ZTCopyTest, ASuccessfulCopyLeavesNothingOpen)
{
    const std::size_t before = openDescriptors();
    copy(5000);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ZTCopyTest, AFullMediumReturns16AndClosesBothWithoutFlushing)
{
    writeAll(source, content(3000));
    const std::size_t before = openDescriptors();
    int flushes = 0;
    {
        const Interpose counting(interposed::fsync, [&](int) { return ++flushes; });
        const FullAfter full(1);
        EXPECT_EQ(copier.copy(source, target), 16);
    }
    EXPECT_EQ(flushes, 0);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(readAll(target), content(1024));
    EXPECT_EQ(copier.copy(source, "/dev/full"), 16);
}

class ZTCopyReadTest : public ZTCopyTest, public testing::WithParamInterface<int> {};

TEST_P(ZTCopyReadTest, AReadThatFailsCountsAsTheEndOfTheFile)
{
    writeAll(source, content(3000));
    int reads = 0;
    int flushes = 0;
    {
        const Interpose failing(interposed::read, [&](int fd, void* buffer, size_t size) {
            if (++reads == 2) {
                errno = GetParam();
                return static_cast<ssize_t>(-1);
            }
            return interposed::read.real(fd, buffer, size);
        });
        const Interpose counting(interposed::fsync, [&](int) { return ++flushes; });
        EXPECT_EQ(copier.copy(source, target), 0);
    }
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(flushes, 1);
    EXPECT_EQ(readAll(target), content(1024));
}

INSTANTIATE_TEST_SUITE_P(, ZTCopyReadTest, testing::Values(EIO, EINTR));

TEST_F(ZTCopyTest, AFlushThatFailsDoesNotMatter)
{
    const Interpose failing(interposed::fsync, [](int) {
        errno = EIO;
        return -1;
    });
    copy(3000);
    EXPECT_EQ(readAll(target), content(3000));
}

TEST_F(ZTCopyTest, WriteGoesOnAfterEachPartialWrite)
{
    const int fd = open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    std::vector<size_t> sizes;
    {
        const Interpose partial(interposed::write, [&](int to, const void* data, size_t size) {
            sizes.push_back(size);
            return interposed::write.real(to, data, std::min<size_t>(size, 4));
        });
        EXPECT_EQ(ZTCopy::zt_write(fd, "0123456789", 10), 10);
    }
    EXPECT_THAT(sizes, ElementsAre(10U, 6U, 2U));
    EXPECT_EQ(readAll(target), "0123456789");
    close(fd);
}

TEST_F(ZTCopyTest, WriteOfNothingReturns0AndWritesNothing)
{
    const Interpose recorder(interposed::write, [](auto...) {
        ADD_FAILURE();
        return -1;
    });
    EXPECT_EQ(ZTCopy::zt_write(1, nullptr, 0), 0);
}

TEST_F(ZTCopyTest, WriteReturnsMinus1AsSoonAsOneFails)
{
    int writes = 0;
    const Interpose failing(interposed::write, [&](auto...) -> ssize_t {
        errno = EINTR;
        return ++writes == 1 ? 3 : -1;
    });
    EXPECT_EQ(ZTCopy::zt_write(1, "0123456789", 10), -1);
    EXPECT_EQ(writes, 2) << "it is not repeated after a signal";
}

TEST_F(ZTCopyTest, WriteTriesAgainWhileNothingIsTaken)
{
    int writes = 0;
    const Interpose slow(interposed::write,
                         [&](auto...) -> ssize_t { return ++writes <= 1000 ? 0 : 2; });
    EXPECT_EQ(ZTCopy::zt_write(1, "01", 2), 2);
    EXPECT_EQ(writes, 1001);
}
