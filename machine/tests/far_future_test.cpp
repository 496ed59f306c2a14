#include "FarFuture.h"
#include "ztutil/ZTFilesAndFolders.h"

#include <cerrno>
#include <sys/time.h>

using namespace ZT;

static_assert(sizeof(std::time_t) == 4, "the device's time_t has 32 bits");

namespace {

class FarFuture : public Clock {
protected:
    FarFuture() { set(END_OF_32_BITS + 100); }

    const FileToCopy file; // of before
};

const unsigned int TWO_HOURS = 2 * 3600 * 1000;

} // namespace

TEST_F(FarFuture, TheWallClockCannotBeReadSoWaitsOnItHaveNoTimeLimitToRelyOn)
{
    timeval time{};
    EXPECT_EQ(::gettimeofday(&time, nullptr), -1);
    EXPECT_EQ(errno, EOVERFLOW);
}

TEST_F(FarFuture, ASleepOf0ReturnsAtOnce)
{
    ZTThread::sleep(0);
}

TEST_F(FarFuture, ASleepOfTheSystemLastsAsLongAsEver)
{
    EXPECT_GE(duration([] { ZTSleep::sleep(1, 0); }), 1000);
}

TEST_F(FarFuture, AFileOfThatTimeIsNone)
{
    std::ofstream(file.target) << "Z0815";
    EXPECT_FALSE(ZTFilesAndFolders::isFile(file.target));
}

TEST_F(Clock, ASleepThatWouldEndInTheFarFutureEndsAtOnce)
{
    set(END_OF_32_BITS - 3600);
    EXPECT_LT(duration([] { ZTThread::sleep(TWO_HOURS); }), TWO_HOURS);
}

TEST_F(Clock, ATimedWaitThatWouldEndInTheFarFutureIsUsedUpAtOnce)
{
    set(END_OF_32_BITS - 3600);
    EXPECT_EQ(timedWait(TWO_HOURS), 0);
}
