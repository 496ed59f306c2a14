// An application that is killed, at one system call after the other of its requests to the
// simulated device's power daemon: what the daemon has then, and the next start.

#include "support/KilledChild.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <set>

using testing::ElementsAre;
using namespace ZT;

namespace {

class TimeoutListener : public ZTSignalListener {
public:
    int onSignal(ZTSignal& signal) override
    {
        EXPECT_EQ(signal.getEventID(), EVENT_TIMEOUT);
        timeout = signal.getValue();
        return 0;
    }

    unsigned int timeout = 0;
};

// An application that has just started.
class Application {
public:
    Application()
    {
        EXPECT_EQ(power->setEventListener(&listener), 0);
        EXPECT_EQ(power->subscribeToEndpointManager(&manager), 0);
    }

    void set(unsigned int timeout) { EXPECT_EQ(power->setTimeoutForState(STATE_1, timeout), 0); }

    // Waits for the answer.
    unsigned int get()
    {
        EXPECT_EQ(power->getTimeoutForState(STATE_1), 0);
        EXPECT_EQ(manager.waitForEndPoints(0, 2), 0);
        return listener.timeout;
    }

private:
    const std::unique_ptr<ZTPowerManagement> power{ZTPowerManagement::create()};
    TimeoutListener listener;
    ZTEndPointManager manager;
};

} // namespace

TEST(KilledPowerApplication, HasMadeARequestOrNotAndTheDaemonServesTheNext)
{
    SKIP_WHERE_NOTHING_CAN_BE_TRACED();
    std::set<unsigned int> timeouts;
    bool killed = true;
    for (int call = 1; killed; ++call) {
        SCOPED_TRACE("system call " + std::to_string(call));
        Application().set(100);
        killed = isKilledAtSystemCall(call, [] {
            Application application;
            application.set(200);
            EXPECT_EQ(application.get(), 200U);
        });
        const unsigned int timeout = Application().get();
        EXPECT_TRUE(killed || timeout == 200);
        timeouts.insert(timeout);
    }
    EXPECT_THAT(timeouts, ElementsAre(100U, 200U));
}
