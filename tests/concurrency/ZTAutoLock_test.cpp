#include "zt/ZTAutoLock.h"

#include "support/Locking.h"
#include "zt/ZTSharedMutex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTAutoLock;
using ZT::ZTMutex;
using ZT::ZTSharedMutex;

namespace {

// A mutex of an application's own, which notes its calls.
class NotingMutex : public ZTSharedMutex {
public:
    int lock() override { return note("lock"); }
    bool try_lock() override { return note("try_lock") == 0; }
    int unlock() override { return note("unlock"); }
    int lock_shared() override { return note("lock_shared"); }
    bool try_lock_shared() override { return note("try_lock_shared") == 0; }
    int unlock_shared() override { return note("unlock_shared"); }

    std::vector<std::string> calls;
    std::string throwing;

private:
    int note(const std::string& call)
    {
        if (call == throwing) {
            throw std::runtime_error(call);
        }
        calls.push_back(call);
        return 0;
    }
};

} // namespace

TEST(ZTAutoLock, HoldsAMutexForItsScope)
{
    const std::unique_ptr<ZTMutex> mutex(ZTMutex::create());
    {
        const ZTAutoLock lock(mutex.get());
        EXPECT_FALSE(otherThreadCanLock(*mutex));
    }
    EXPECT_TRUE(otherThreadCanLock(*mutex));
}

TEST(ZTAutoLock, TakesASharedMutexInSharedMode)
{
    NotingMutex mutex;
    {
        const ZTAutoLock lock(static_cast<ZTSharedMutex*>(&mutex));
        EXPECT_THAT(mutex.calls, ElementsAre("lock_shared"));
    }
    EXPECT_THAT(mutex.calls, ElementsAre("lock_shared", "unlock_shared"));
}

TEST(ZTAutoLock, TakesTheSameObjectPassedAsAMutexExclusively)
{
    NotingMutex mutex;
    {
        const ZTAutoLock lock(static_cast<ZTMutex*>(&mutex));
        EXPECT_THAT(mutex.calls, ElementsAre("lock"));
    }
    EXPECT_THAT(mutex.calls, ElementsAre("lock", "unlock"));
}

TEST(ZTAutoLock, GivesTheMutexBackWhenAnExceptionLeavesItsScope)
{
    NotingMutex mutex;
    try {
        const ZTAutoLock lock(static_cast<ZTMutex*>(&mutex));
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(mutex.calls, ElementsAre("lock", "unlock"));
}

TEST(ZTAutoLock, ReleasesNothingWhenTheLockThrows)
{
    NotingMutex mutex;
    mutex.throwing = "lock";
    EXPECT_THROW(ZTAutoLock(static_cast<ZTMutex*>(&mutex)), std::runtime_error);
    mutex.throwing = "lock_shared";
    EXPECT_THROW(ZTAutoLock(static_cast<ZTSharedMutex*>(&mutex)), std::runtime_error);
    EXPECT_THAT(mutex.calls, IsEmpty());
}

TEST(ZTAutoLockDeathTest, AnExceptionOutOfAnUnlockEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            NotingMutex mutex;
            mutex.throwing = "unlock";
            const ZTAutoLock lock(static_cast<ZTMutex*>(&mutex));
        },
        "terminate called after throwing an instance of 'std::runtime_error'");
    EXPECT_DEATH(
        {
            NotingMutex mutex;
            mutex.throwing = "unlock_shared";
            const ZTAutoLock lock(static_cast<ZTSharedMutex*>(&mutex));
        },
        "terminate called after throwing an instance of 'std::runtime_error'");
}
