#include "ztutil/ZTTick.h"

#include <cstdint>
#include <ctime>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

using ZT::ZTTick;

namespace {

// What CLOCK_MONOTONIC shows, once it is not zero.
timespec monotonicTime{};

timespec milliseconds(std::uint64_t count)
{
    return {static_cast<time_t>(count / 1000), static_cast<long>(count % 1000) * 1000000};
}

class ZTTickTest : public testing::Test {
protected:
    ~ZTTickTest() override { monotonicTime = {}; }
};

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const bool isSet = monotonicTime.tv_sec != 0 || monotonicTime.tv_nsec != 0;
    if (clock != CLOCK_MONOTONIC || !isSet) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    *time = monotonicTime;
    return 0;
}

TEST_F(ZTTickTest, TheUnitIsTheMillisecond)
{
    monotonicTime = {12, 345999999};
    EXPECT_EQ(ZTTick::getTickCount(), 12345u);
    monotonicTime = {12, 346000000};
    EXPECT_EQ(ZTTick::getTickCount(), 12346u);
}

TEST_F(ZTTickTest, ZeroComesAfterTheLargestCount)
{
    monotonicTime = milliseconds(4294967295);
    EXPECT_EQ(ZTTick::getTickCount(), 4294967295u);
    monotonicTime = milliseconds(4294967296);
    EXPECT_EQ(ZTTick::getTickCount(), 0u);
}

TEST_F(ZTTickTest, ADifferenceIsRightAcrossTheWrap)
{
    monotonicTime = milliseconds(4294967000);
    const unsigned int before = ZTTick::getTickCount();
    monotonicTime = milliseconds(4294968000);
    EXPECT_EQ(ZTTick::getTickCount() - before, 1000u);
}

TEST_F(ZTTickTest, TheClockRuns)
{
    const unsigned int start = ZTTick::getTickCount();
    while (ZTTick::getTickCount() == start) {
    }
    SUCCEED();
}
