#include "ztutil/ZTDebug.h"

#include "FrozenClock.h"
#include "support/ForkedChild.h"
#include "ztutil/ZTStringTokenizer.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using ZT::ZTDebug;
using ZT::ZTStringTokenizer;

namespace {

// How write(2) treats stderr.
enum class Writing { Whole, Short, Interrupted };
std::atomic<Writing> writing{Writing::Whole};
std::atomic<int> writesToStderr{0};

ssize_t writeToStderr(const void* data, size_t size)
{
    ++writesToStderr;
    errno = EINTR; // which a call may change even when it succeeds
    if (writing == Writing::Interrupted) {
        return -1;
    }
    return syscall(SYS_write, STDERR_FILENO, data, writing == Writing::Short ? size - 1 : size);
}

// Takes what goes to stderr from its construction to the call of text().
class StderrCapture {
public:
    StderrCapture() : stderr_(dup(STDERR_FILENO))
    {
        int ends[2];
        if (pipe(ends) != 0) {
            std::abort();
        }
        dup2(ends[1], STDERR_FILENO);
        close(ends[1]);
        reader = std::async(std::launch::async, &StderrCapture::readAll, ends[0]);
    }
    ~StderrCapture()
    {
        if (reader.valid()) {
            text();
        }
    }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    std::string text()
    {
        dup2(stderr_, STDERR_FILENO);
        close(stderr_);
        return reader.get();
    }

private:
    static std::string readAll(int descriptor)
    {
        std::string text;
        std::array<char, 65536> buffer;
        ssize_t count = 0;
        while ((count = read(descriptor, buffer.data(), buffer.size())) > 0) {
            text.append(buffer.data(), static_cast<size_t>(count));
        }
        close(descriptor);
        return text;
    }

    const int stderr_;
    std::future<std::string> reader;
};

void inThreads(int count, const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back(work, thread);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// Notes what it gets in the vector of strings that is its context.
void noteLine(void* context, int level, const char* section, const char* text)
{
    static_cast<std::vector<std::string>*>(context)->push_back(std::to_string(level) + '|' +
                                                               section + '|' + text);
}

class ZTDebugTest : public testing::Test {
protected:
    ZTDebugTest()
    {
        for (const char* name : {"ZT_DEBUG_LEVEL", "ZT_DEBUG_SECTIONS", "ZT_DEBUG_OUTPUT"}) {
            unsetenv(name);
        }
        setenv("TZ", "UTC0", 1);
        tzset();
    }
    ~ZTDebugTest() override
    {
        ZTDebug::setSink(nullptr, nullptr);
        ZTDebug::setLevel(1);
        writing = Writing::Whole;
    }

    const unsigned int pipeSection = ZTDebug::insertNewDebugSection("zt_pipe");
    std::vector<std::string> noted;
};

} // namespace

extern "C" ssize_t write(int descriptor, const void* data, size_t size)
{
    if (descriptor == STDERR_FILENO) {
        return writeToStderr(data, size);
    }
    return syscall(SYS_write, descriptor, data, size);
}

TEST_F(ZTDebugTest, TheSameNameGivesTheSameKey)
{
    const unsigned int key = ZTDebug::insertNewDebugSection("the same");
    EXPECT_NE(key, 0u);
    EXPECT_EQ(ZTDebug::insertNewDebugSection("the same"), key);
}

TEST_F(ZTDebugTest, RegisteringANameAgainTakesNoMemory)
{
    const std::string name = "a name too long to be held without memory of its own";
    const unsigned int key = ZTDebug::insertNewDebugSection(name);
    const size_t before = mallinfo2().uordblks;
    for (int count = 0; count < 10000; ++count) {
        ASSERT_EQ(ZTDebug::insertNewDebugSection(name), key);
    }
    EXPECT_EQ(mallinfo2().uordblks, before);
}

TEST_F(ZTDebugTest, DifferentNamesGiveDifferentKeys)
{
    EXPECT_NE(ZTDebug::insertNewDebugSection("one"), ZTDebug::insertNewDebugSection("another"));
}

TEST_F(ZTDebugTest, ARegisteredNameHasItsKey)
{
    EXPECT_EQ(ZTDebug::getDebugSectionKey("zt_pipe"), pipeSection);
}

TEST_F(ZTDebugTest, ANameNobodyRegisteredHasKeyZero)
{
    EXPECT_EQ(ZTDebug::getDebugSectionKey("nobody registers this"), 0u);
    EXPECT_EQ(ZTDebug::getDebugSectionKey("nobody registers this"), 0u);
    EXPECT_EQ(ZTDebug::getDebugSectionKey("?"), 0u);
}

TEST_F(ZTDebugTest, ThreadsThatRegisterTheSameNamesGetTheSameKeys)
{
    std::array<std::vector<unsigned int>, 8> keys;
    inThreads(8, [&keys](int thread) {
        for (int name = 0; name < 200; ++name) {
            keys[static_cast<size_t>(thread)].push_back(
                ZTDebug::insertNewDebugSection("shared " + std::to_string(name)));
        }
    });
    for (const auto& other : keys) {
        EXPECT_EQ(other, keys[0]);
    }
}

TEST_F(ZTDebugTest, AThreadMayPrintAndLookUpWhileOthersRegister)
{
    ZTDebug::setSink(&noteLine, &noted);
    std::atomic<int> registering{2};
    const auto registerNames = [&registering](int thread) {
        for (int name = 0; name < 1000; ++name) {
            ZTDebug::insertNewDebugSection(std::to_string(thread) + " new " + std::to_string(name));
        }
        --registering;
    };
    const auto printAndLookUp = [this, &registering] {
        do {
            ZTDebug::debugPrintError(1, pipeSection, "line");
            EXPECT_EQ(ZTDebug::getDebugSectionKey("zt_pipe"), pipeSection);
        } while (registering > 0);
    };
    inThreads(4, [&](int thread) { thread < 2 ? registerNames(thread) : printAndLookUp(); });
    EXPECT_THAT(noted, testing::Each("1|zt_pipe|line"));
}

TEST_F(ZTDebugTest, ALineHasTimeLevelSectionAndText)
{
    StderrCapture capture;
    EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "pipe %d is %s", 3, "full"), 0);
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 zt_pipe pipe 3 is full\n");
}

TEST_F(ZTDebugTest, EachLineHasTheTimeOfItsOwnWhereverTheClockGoes)
{
    const timespec before = frozenTime;
    StderrCapture capture;
    for (const timespec& time : {timespec{1795252333, 999000000},
                                 {1795305599, 999999999},
                                 {1795305600, 0},
                                 {1795252333, 0},
                                 {-1, 5000000}}) {
        frozenTime = time;
        EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "line"), 0);
    }
    frozenTime = before;
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.999 1 zt_pipe line\n"
                              "2026-11-21 23:59:59.999 1 zt_pipe line\n"
                              "2026-11-22 00:00:00.000 1 zt_pipe line\n"
                              "2026-11-21 09:12:13.000 1 zt_pipe line\n"
                              "1969-12-31 23:59:59.005 1 zt_pipe line\n");
}

TEST_F(ZTDebugTest, TheSectionOfAnUnknownKeyIsAQuestionMark)
{
    StderrCapture capture;
    EXPECT_EQ(ZTDebug::debugPrintError(1, 0, "zero"), 0);
    const unsigned int last = ZTDebug::insertNewDebugSection("registered last");
    EXPECT_EQ(ZTDebug::debugPrintError(1, last + 1, "next"), 0);
    EXPECT_EQ(ZTDebug::debugPrintError(1, UINT_MAX, "largest"), 0);
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 ? zero\n"
                              "2026-11-21 09:12:13.012 1 ? next\n"
                              "2026-11-21 09:12:13.012 1 ? largest\n");
}

TEST_F(ZTDebugTest, ALevelBelowOneIsOne)
{
    StderrCapture capture;
    EXPECT_EQ(ZTDebug::debugPrintError(0, pipeSection, "zero"), 0);
    EXPECT_EQ(ZTDebug::debugPrintError(INT_MIN, pipeSection, "least"), 0);
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 zt_pipe zero\n"
                              "2026-11-21 09:12:13.012 1 zt_pipe least\n");
}

TEST_F(ZTDebugTest, ControlCharactersAreBlanksInALine)
{
    const unsigned int section = ZTDebug::insertNewDebugSection("two\nlines");
    StderrCapture capture;
    ZTDebug::debugPrintError(1, section, "a\nb\rc\td\x1b%c\x7f\x01\x1f~\xc3\xa4", '\0');
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 two lines a b c d     ~\xc3\xa4\n");
}

TEST_F(ZTDebugTest, TheLevelDecidesWhatIsShown)
{
    StderrCapture capture;
    ZTDebug::setLevel(4);
    EXPECT_EQ(ZTDebug::debugPrintError(4, pipeSection, "shown"), 0);
    EXPECT_EQ(ZTDebug::debugPrintError(5, pipeSection, "above"), 0);
    ZTDebug::setLevel(0);
    EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "silenced"), 0);
    EXPECT_EQ(ZTDebug::debugPrintError(INT_MAX, pipeSection, "silenced"), 0);
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 4 zt_pipe shown\n");
}

TEST_F(ZTDebugTest, TheEnvironmentIsReadOnce)
{
    setenv("ZT_DEBUG_LEVEL", "4", 1);
    setenv("ZT_DEBUG_OUTPUT", "/dev/null", 1);
    setenv("ZT_DEBUG_SECTIONS", "other", 1);
    StderrCapture capture;
    ZTDebug::debugPrintError(4, pipeSection, "trace");
    ZTDebug::debugPrintError(1, ZTDebug::insertNewDebugSection("late"), "failure");
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 late failure\n");
}

TEST_F(ZTDebugTest, AnUnwantedLineIsNotFormatted)
{
    const auto nowhere = reinterpret_cast<const char*>(1);
    EXPECT_EQ(ZTDebug::debugPrintError(4, pipeSection, "%s", nowhere), 0);
}

TEST_F(ZTDebugTest, AShortWriteIsAFailureAndNotRepeated)
{
    StderrCapture capture;
    writing = Writing::Short;
    const int before = writesToStderr;
    EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "text"), 1);
    EXPECT_EQ(writesToStderr - before, 1);
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 zt_pipe text");
}

TEST_F(ZTDebugTest, AnInterruptedWriteIsAFailureAndNotRepeated)
{
    writing = Writing::Interrupted;
    const int before = writesToStderr;
    EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "text"), 1);
    EXPECT_EQ(writesToStderr - before, 1);
}

TEST_F(ZTDebugTest, WhatCannotBeFormattedIsAFailure)
{
    StderrCapture capture;
    EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "%ls", L"\xd800"), 1);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ZTDebugTest, ErrnoIsKept)
{
    StderrCapture capture;
    errno = ENOENT;
    ZTDebug::debugPrintError(1, pipeSection, "text");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ZTDebugTest, ErrnoIsKeptWhenALineCannotBeWritten)
{
    writing = Writing::Interrupted;
    errno = ENOENT;
    ZTDebug::debugPrintError(1, pipeSection, "text");
    EXPECT_EQ(errno, ENOENT);
}

namespace {

constexpr int FLOOD_THREADS = 8;
constexpr int FLOOD_LINES = 1000;

std::string floodText(int line)
{
    const int length = line == FLOOD_LINES - 1 ? 100000 : line % 10 == 0 ? line * 100 : line;
    return std::string(static_cast<size_t>(length), static_cast<char>('a' + line % 26));
}

void expectFloodOfWholeLines(const std::vector<std::string>& lines)
{
    std::array<int, FLOOD_THREADS> next{};
    const std::string start = "2026-11-21 09:12:13.012 1 flood ";
    for (const std::string& line : lines) {
        ASSERT_EQ(line.substr(0, start.size()), start);
        const size_t thread = static_cast<size_t>(line.at(start.size()) - '0');
        ASSERT_LT(thread, next.size());
        const std::string expected = start + std::to_string(thread) + ' ' + floodText(next[thread]);
        ASSERT_TRUE(line == expected) << "line " << next[thread] << " of thread " << thread;
        ++next[thread];
    }
    EXPECT_THAT(next, testing::Each(FLOOD_LINES));
}

} // namespace

TEST_F(ZTDebugTest, LinesOfAnyLengthFromAnyThreadAreOneWriteEachAndWhole)
{
    const unsigned int section = ZTDebug::insertNewDebugSection("flood");
    const int before = writesToStderr;
    std::atomic<int> failures{0};
    StderrCapture capture;
    inThreads(FLOOD_THREADS, [section, &failures](int thread) {
        for (int line = 0; line < FLOOD_LINES; ++line) {
            failures +=
                ZTDebug::debugPrintError(1, section, "%d %s", thread, floodText(line).c_str());
        }
    });
    const std::string text = capture.text();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(writesToStderr - before, FLOOD_THREADS * FLOOD_LINES);
    ASSERT_EQ(text.back(), '\n');
    expectFloodOfWholeLines(ZTStringTokenizer::tokenize(text.substr(0, text.size() - 1), "\n"));
}

// Around the lengths up to which a text, and then a whole line, takes no memory.
TEST_F(ZTDebugTest, ALineIsWholeWhateverRoomItTakes)
{
    for (std::size_t size = 505; size < 650; ++size) {
        const std::string text = std::string(size - 1, 'x') + '.';
        StderrCapture capture;
        EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "%s", text.c_str()), 0);
        EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 zt_pipe " + text + '\n');
    }
}

TEST_F(ZTDebugTest, ASinkGetsTheLinesInPlaceOfStderrWithTheTextAsItIs)
{
    ZTDebug::setSink(&noteLine, &noted);
    StderrCapture capture;
    EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "two\nlines\t%d", 7), 0);
    EXPECT_EQ(ZTDebug::debugPrintError(-3, 0, "unknown"), 0);
    EXPECT_EQ(capture.text(), "");
    EXPECT_THAT(noted, ElementsAre("1|zt_pipe|two\nlines\t7", "1|?|unknown"));
}

TEST_F(ZTDebugTest, TheLevelDecidesWhatASinkGets)
{
    ZTDebug::setSink(&noteLine, &noted);
    ZTDebug::debugPrintError(4, pipeSection, "not yet");
    ZTDebug::setLevel(4);
    ZTDebug::debugPrintError(4, pipeSection, "trace");
    ZTDebug::setLevel(0);
    ZTDebug::debugPrintError(1, pipeSection, "silenced");
    EXPECT_THAT(noted, ElementsAre("4|zt_pipe|trace"));
}

TEST_F(ZTDebugTest, WithoutASinkTheLinesAreBackInStderr)
{
    ZTDebug::setSink(&noteLine, &noted);
    ZTDebug::setSink(nullptr, &noted);
    StderrCapture capture;
    ZTDebug::debugPrintError(1, pipeSection, "back");
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 zt_pipe back\n");
    EXPECT_THAT(noted, ElementsAre());
}

TEST_F(ZTDebugTest, WhatASinkPrintsGoesToStderr)
{
    const auto printAgain = [](void* context, int level, const char* section, const char* text) {
        noteLine(context, level, section, text);
        EXPECT_EQ(ZTDebug::debugPrintError(1, 0, "about %s", text), 0);
    };
    ZTDebug::setSink(printAgain, &noted);
    StderrCapture capture;
    ZTDebug::debugPrintError(1, pipeSection, "first");
    ZTDebug::debugPrintError(1, pipeSection, "second");
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 ? about first\n"
                              "2026-11-21 09:12:13.012 1 ? about second\n");
    EXPECT_THAT(noted, ElementsAre("1|zt_pipe|first", "1|zt_pipe|second"));
}

TEST_F(ZTDebugTest, ASinkMayReplaceItself)
{
    const auto once = [](void* context, int level, const char* section, const char* text) {
        ZTDebug::setSink(nullptr, nullptr);
        noteLine(context, level, section, text);
    };
    ZTDebug::setSink(once, &noted);
    StderrCapture capture;
    ZTDebug::debugPrintError(1, pipeSection, "first");
    ZTDebug::debugPrintError(1, pipeSection, "second");
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 zt_pipe second\n");
    EXPECT_THAT(noted, ElementsAre("1|zt_pipe|first"));
}

TEST_F(ZTDebugTest, ASinkIsCalledOneCallAtATime)
{
    struct Calls {
        std::atomic<int> running{0};
        bool overlapped = false;
        int count = 0;
    } calls;
    const auto count = [](void* context, int, const char*, const char*) {
        auto& made = *static_cast<Calls*>(context);
        made.overlapped |= ++made.running != 1;
        std::this_thread::yield();
        ++made.count;
        --made.running;
    };
    ZTDebug::setSink(count, &calls);
    inThreads(8, [this](int) {
        for (int line = 0; line < 100; ++line) {
            ZTDebug::debugPrintError(1, pipeSection, "line");
        }
    });
    EXPECT_FALSE(calls.overlapped);
    EXPECT_EQ(calls.count, 800);
}

namespace {

struct Host {
    std::atomic<bool> wasCalled{false};
    std::atomic<bool> isRetired{false};
    bool wasCalledRetired = false;
};

void expectNotRetired(void* context, int, const char*, const char*)
{
    auto& host = *static_cast<Host*>(context);
    host.wasCalled = true;
    std::this_thread::yield();
    if (host.isRetired) {
        host.wasCalledRetired = true;
    }
}

} // namespace

TEST_F(ZTDebugTest, AReplacedSinkIsNotRunningAndNotCalledAgain)
{
    std::vector<Host> hosts(200);
    ZTDebug::setSink(&expectNotRetired, &hosts[0]);
    const auto replaceAll = [&hosts] {
        for (size_t next = 1; next < hosts.size(); ++next) {
            while (!hosts[next - 1].wasCalled) {
                std::this_thread::yield();
            }
            ZTDebug::setSink(&expectNotRetired, &hosts[next]);
            hosts[next - 1].isRetired = true;
        }
    };
    const auto printUntilReplaced = [this, &hosts] {
        while (!hosts[hosts.size() - 2].isRetired) {
            ZTDebug::debugPrintError(1, pipeSection, "line");
        }
    };
    inThreads(3, [&](int thread) { thread == 0 ? replaceAll() : printUntilReplaced(); });
    for (const Host& host : hosts) {
        EXPECT_FALSE(host.wasCalledRetired);
    }
}

TEST_F(ZTDebugTest, AnUnwantedLineAndARegistrationDoNotWaitForARunningSink)
{
    struct Gate {
        std::promise<void> entered;
        std::promise<void> leave;
    } gate;
    const auto wait = [](void* context, int, const char*, const char*) {
        static_cast<Gate*>(context)->entered.set_value();
        static_cast<Gate*>(context)->leave.get_future().wait();
    };
    ZTDebug::setSink(wait, &gate);
    std::thread printer([this] { ZTDebug::debugPrintError(1, pipeSection, "line"); });
    gate.entered.get_future().wait();
    EXPECT_EQ(ZTDebug::debugPrintError(4, pipeSection, "trace"), 0);
    EXPECT_EQ(ZTDebug::insertNewDebugSection("zt_pipe"), pipeSection);
    EXPECT_EQ(ZTDebug::getDebugSectionKey("zt_pipe"), pipeSection);
    gate.leave.set_value();
    printer.join();
}

// Children made by fork()

TEST_F(ZTDebugTest, AChildPrintsThoughAThreadOfItsParentWasPrinting)
{
    struct Gate {
        std::promise<void> entered;
        std::promise<void> leave;
        const pid_t parent = getpid();
    } gate;
    const auto wait = [](void* context, int, const char*, const char*) {
        auto& passed = *static_cast<Gate*>(context);
        if (getpid() == passed.parent) {
            passed.entered.set_value();
            passed.leave.get_future().wait();
        }
    };
    ZTDebug::setSink(wait, &gate);
    std::thread printer([this] { ZTDebug::debugPrintError(1, pipeSection, "line"); });
    gate.entered.get_future().wait();
    EXPECT_TRUE(succeedsInForkedChild([this] {
        EXPECT_EQ(ZTDebug::debugPrintError(1, pipeSection, "child's"), 0);
        ZTDebug::setSink(nullptr, nullptr);
    }));
    gate.leave.set_value();
    printer.join();
}

TEST_F(ZTDebugTest, AChildRegistersAndPrintsThoughThreadsOfItsParentWere)
{
    std::atomic<bool> isOver{false};
    std::thread registering([&isOver] {
        for (int i = 0; !isOver; ++i) {
            ZTDebug::insertNewDebugSection("zt_" + std::to_string(i % 1000));
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(succeedsInForkedChild(
            [this] { EXPECT_EQ(ZTDebug::insertNewDebugSection("zt_pipe"), pipeSection); }));
    }
    isOver = true;
    registering.join();
}

TEST_F(ZTDebugTest, AChildThatASinkMakesPrintsInTheSinkToo)
{
    const auto makeChild = [](void* context, int, const char*, const char*) {
        *static_cast<bool*>(context) =
            succeedsInForkedChild([] { ZTDebug::debugPrintError(1, 0, "child's"); });
    };
    bool hasEnded = false;
    ZTDebug::setSink(makeChild, &hasEnded);
    StderrCapture capture;
    ZTDebug::debugPrintError(1, pipeSection, "parent's");
    EXPECT_EQ(capture.text(), "2026-11-21 09:12:13.012 1 ? child's\n");
    EXPECT_TRUE(hasEnded);
}
