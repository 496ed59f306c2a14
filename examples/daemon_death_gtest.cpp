// A test in which the power-management daemon dies while a program talks to it: ztsim --
// daemon_death_gtest

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignalHandler.h"
#include "ztsim/Device.h"
#include "ztutil/ZTTick.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>

namespace {

const unsigned int PATIENCE_MS = 10000;
const unsigned int PAUSE_MS = 10;

// What is tested here: it asks for the power state from time to time, and reconnects.
class Program {
public:
    Program() : power(ZT::ZTPowerManagement::create())
    {
        power->subscribeToEndpointManager(&manager);
    }

    // Whether it comes to that the daemon is there, or is not.
    bool comesTo(bool isThere)
    {
        const unsigned int start = ZT::ZTTick::getTickCount();
        while ((power->getPowerState() == 0) != isThere) {
            if (ZT::ZTTick::getTickCount() - start > PATIENCE_MS) {
                return false;
            }
            manager.waitForEndPoints(ZT::ZTTick::getTickCount() + PAUSE_MS, 0);
        }
        return true;
    }

private:
    std::unique_ptr<ZT::ZTPowerManagement> power;
    ZT::ZTEndPointManager manager;
};

TEST(DaemonDeath, GoesOnAfterTheDaemonWasAway)
{
    // A daemon that hangs up must not end us.
    ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE);
    ztsim::Device device;
    Program program;
    EXPECT_TRUE(program.comesTo(true));
    device.awaitRecord("power .");

    device.hangUp("power"); // for 300 ms, unless --power-away says otherwise
    EXPECT_TRUE(program.comesTo(false));
    EXPECT_TRUE(program.comesTo(true));
    EXPECT_GE(device.countRecords("power ."), 2U);
}

} // namespace
