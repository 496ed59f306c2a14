// A copy for which there is no memory.

#include "filehandling/CopyListener.h"
#include "support/FakeClocks.h"
#include "support/TemporaryFolder.h"
#include "zt/ZTFileHandling.h"

#include <cstdlib>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>

namespace {

const int UNLIMITED = -1;

// How many allocations of this thread succeed before one fails.
thread_local int allowed = UNLIMITED;

} // namespace

// The libraries' memory comes from here, too. Not inline, for the compiler would see malloc() and
// free() beside the standard library's own.
__attribute__((noinline)) void* operator new(std::size_t size)
{
    void* const memory = allowed == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allowed -= allowed == UNLIMITED ? 0 : 1;
    return memory;
}

__attribute__((noinline)) void operator delete(void* memory) noexcept
{
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

namespace {

class ZTFileHandlingNoMemoryTest : public testing::Test {
protected:
    ZTFileHandlingNoMemoryTest()
    {
        std::filesystem::create_directory(source);
        std::filesystem::create_directory(target);
        writeAll(file, "1");
    }

    const TemporaryFolder folder;
    const std::string source = folder / "a source with a long name";
    const std::string target = folder / "a target with a long name";
    const std::string file = source + "/a file with a long name";
    const std::string copied = target + "/a copy with a long name";
    CopyListener listener;
    FakeClocks clocks{{1800000000, 0}};
    ZT::ZTFileHandling handling;
};

} // namespace

TEST_F(ZTFileHandlingNoMemoryTest, ARunThatCannotBeStartedThrowsAndLeavesTheObjectUsable)
{
    for (const auto& start : {std::function<int()>([this] {
                                  return handling.copyDir(source, target, true, &listener);
                              }),
                              std::function<int()>([this] {
                                  return handling.copyFile(file, copied, true, &listener);
                              })}) {
        const std::size_t callsBefore = listener.calls().size();
        int successes = 0;
        int result = -1;
        while (result == -1) {
            allowed = successes;
            try {
                result = start();
                allowed = UNLIMITED;
            } catch (const std::bad_alloc&) {
                allowed = UNLIMITED;
                ++successes;
                EXPECT_FALSE(handling.isRunning());
                EXPECT_FALSE(handling.isThreadEnded());
                EXPECT_EQ(handling.getErrorCode(), 0);
                handling.join();
                EXPECT_EQ(listener.calls().size(), callsBefore) << successes;
            }
        }
        EXPECT_GT(successes, 5);
        EXPECT_EQ(result, 0);
        handling.join();
        EXPECT_EQ(listener.calls().back(), "finished 0");
    }
}

TEST_F(ZTFileHandlingNoMemoryTest, WhatTheThreadLacksEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    listener.onProgress = [] { allowed = 0; };
    EXPECT_DEATH(
        {
            handling.copyDir(source, target, true, &listener);
            handling.join();
        },
        "std::bad_alloc");
}
