// The gate of a message listener is a mutex like those that applications get.

#include "ipc/ListenerTest.h"
#include "zt/ZTMutex.h"

#include <atomic>
#include <gtest/gtest.h>
#include <mutex>

namespace {

std::atomic<int> created{0};
std::atomic<int> destroyed{0};
std::atomic<int> locked{0};

class CountingMutex : public ZT::ZTMutex {
public:
    CountingMutex() { ++created; }
    ~CountingMutex() override { ++destroyed; }

    int lock() override
    {
        mutex.lock();
        ++locked;
        return 0;
    }
    bool try_lock() override { return mutex.try_lock(); }
    int unlock() override
    {
        mutex.unlock();
        return 0;
    }

private:
    std::mutex mutex;
};

} // namespace

namespace ZT {

// In the place of the library's.
ZTMutex* ZTMutex::create()
{
    return new CountingMutex;
}

} // namespace ZT

TEST_F(ListenerTest, ItsGateIsAMutexThatIsCreatedWithTheThreadAndGoesWithIt)
{
    EXPECT_EQ(created, 0);
    listen();
    EXPECT_EQ(created, 1);
    peer->write(frameBytes("hello"));
    EXPECT_THAT(listener.await(1), testing::ElementsAre("hello"));
    const int before = locked;
    endPoint->setMessageArrivalListenerActive(false);
    EXPECT_GT(locked, before);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(endPoint->setMessageArrivalListener(nullptr), 0);
    EXPECT_EQ(destroyed, 1);
    listen();
    EXPECT_EQ(created, 2);
    endPoint->deinitialize();
    EXPECT_EQ(destroyed, 2);
}
