// The client and the simulated device's power daemon, which misbehaves as the test's registration
// says: a short record at its 2nd record, an unknown type at the 4th, an unknown device at the 6th,
// silence at the 8th, a hang-up at the 10th and at each second one after that.

#include "support/Diagnostics.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "ztutil/ZTTick.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace ZT;

namespace {

Line line(const std::string& text)
{
    return {1, "zt_power_management", text};
}

class CountingListener : public ZTSignalListener {
public:
    int onSignal(ZTSignal& signal) override
    {
        EXPECT_EQ(signal.getEventID(), EVENT_POWER_STATE_1);
        EXPECT_EQ(signal.getState(), 0);
        ++count;
        return 0;
    }

    int count = 0;
};

class PowerDaemonFaults : public testing::Test {
protected:
    PowerDaemonFaults() : power(ZTPowerManagement::create())
    {
        std::signal(SIGPIPE, SIG_IGN);
        EXPECT_NE(power, nullptr);
        power->setEventListener(&listener);
        power->subscribeToEndpointManager(&manager);
    }

    // Waits until something is there to read, and lets it be read.
    void readOne() { EXPECT_EQ(manager.waitForEndPoints(0, 2), 0); }

    void askAndHear()
    {
        const int before = listener.count;
        EXPECT_EQ(power->getPowerState(), 0);
        readOne();
        EXPECT_EQ(listener.count, before + 1);
        EXPECT_THAT(diagnostics.take(), IsEmpty());
    }

    void reconnect()
    {
        while (power->getPowerState() != 0) {
            manager.handleDisconnectedEndPoints();
        }
    }

    Diagnostics diagnostics;
    CountingListener listener;
    ZTEndPointManager manager;
    std::unique_ptr<ZTPowerManagement> power;
};

} // namespace

TEST_F(PowerDaemonFaults, NoneOfThemLosesMoreThanItsRecord)
{
    askAndHear();

    EXPECT_EQ(power->getPowerState(), 0);
    readOne();
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
    EXPECT_EQ(power->getPowerState(), 7);
    manager.handleDisconnectedEndPoints();
    askAndHear();

    EXPECT_EQ(power->getPowerState(), 0);
    readOne();
    EXPECT_THAT(diagnostics.take(), ElementsAre(line("Unknown message type read!")));
    askAndHear();

    EXPECT_EQ(power->getPowerState(), 0);
    readOne();
    EXPECT_THAT(diagnostics.take(), IsEmpty());
    askAndHear();

    EXPECT_EQ(power->getPowerState(), 0);
    EXPECT_EQ(manager.waitForEndPoints(ZTTick::getTickCount() + 100, 1), 17);
    askAndHear();

    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(power->getPowerState(), 0);
        readOne();
        EXPECT_THAT(diagnostics.take(), ElementsAre(line("Socket was not opened!")));
        reconnect();
        readOne();
        EXPECT_EQ(listener.count, 6 + i);
        EXPECT_THAT(diagnostics.take(), IsEmpty());
    }
}

TEST_F(PowerDaemonFaults, AnApplicationsLoopGoesOnAfterHangUps)
{
    while (listener.count < 6) {
        power->getPowerState();
        const unsigned int deadline = ZTTick::getTickCount() + 20;
        while (manager.waitForEndPoints(deadline, 0) == 0) {
        }
    }
    reconnect(); // the last record may have been one at which the daemon hangs up
}
