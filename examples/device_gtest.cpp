// Tests that drive the simulated device on which they run: ztsim -- device_gtest

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "ztsim/Device.h"
#include "ztutil/ZTTick.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

const unsigned int PATIENCE_MS = 10000;

// What is tested here: it keeps the power state that the daemon reported last.
class Screen : public ZT::ZTSignalListener {
public:
    Screen() : power(ZT::ZTPowerManagement::create())
    {
        power->setEventListener(this);
        power->subscribeToEndpointManager(&manager);
        power->getPowerState();
    }

    int onSignal(ZT::ZTSignal& signal) override
    {
        state = static_cast<unsigned int>(signal.getState());
        return 0;
    }

    bool comesToState(unsigned int wanted)
    {
        const unsigned int deadline = ZT::ZTTick::getTickCount() + PATIENCE_MS;
        while (state != wanted && manager.waitForEndPoints(deadline, 0) == 0) {
        }
        return state == wanted;
    }

private:
    std::unique_ptr<ZT::ZTPowerManagement> power;
    ZT::ZTEndPointManager manager;
    unsigned int state = 99;
};

TEST(DeviceDriven, AsksForThePowerStateAtFirst)
{
    ztsim::Device device;
    device.powerState(5);
    Screen screen;
    device.awaitRecord("power .");
    EXPECT_TRUE(screen.comesToState(5));
}

TEST(DeviceDriven, FollowsThePowerState)
{
    ztsim::Device device;
    Screen screen;
    EXPECT_TRUE(screen.comesToState(0));
    device.powerState(3);
    EXPECT_TRUE(screen.comesToState(3));
}

} // namespace
