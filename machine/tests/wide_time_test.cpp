#include "FarFuture.h"
#include "ztutil/ZTFilesAndFolders.h"

using namespace ZT;

static_assert(sizeof(std::time_t) == 8, "built with -D_TIME_BITS=64");

namespace {

class WideTime : public Clock {
protected:
    WideTime() { set(END_OF_32_BITS + 100); }

    const FileToCopy file; // of before
};

} // namespace

TEST_F(WideTime, ASleepLastsItsTime)
{
    EXPECT_GE(duration([] { ZTThread::sleep(200); }), 199);
}

TEST_F(WideTime, ATimedWaitLastsItsTime)
{
    unsigned int remaining = 4711;
    EXPECT_GE(duration([&] { remaining = timedWait(200); }), 199);
    EXPECT_EQ(remaining, 0);
}

TEST_F(WideTime, ATimedJoinGivesUpWhenTheTimeIsUp)
{
    EXPECT_EQ(timedJoin(10), 1);
}

TEST_F(WideTime, ACopySucceeds)
{
    EXPECT_EQ(file.copy(), 0);
    std::string text;
    std::ifstream(file.target) >> text;
    EXPECT_EQ(text, "Z0815");
}

// Debian's libstdc++ asks the system with its own time_t, which has 32 bits.
TEST_F(WideTime, AFileOfThatTimeIsNoneWithoutALibstdcxxOfTheSameTimes)
{
    std::ofstream(file.target) << "Z0815";
    EXPECT_FALSE(ZTFilesAndFolders::isFile(file.target));
}

TEST_F(Clock, ASleepOverTheEndOf32BitsLastsItsTime)
{
    set(END_OF_32_BITS - 1);
    EXPECT_GE(duration([] { ZTThread::sleep(2000); }), 1999);
}
