// Talks with the power-management daemon: sets and asks for what it keeps, prints every signal with
// its names, and goes on after the daemon has been away. Ends after a number of signals.

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalHandler.h"
#include "zt/ZTSignalListener.h"
#include "ztutil/ZTTick.h"

#include <csignal>
#include <cstdio>
#include <memory>

namespace {

const int SIGNALS = 14;
const unsigned int PAUSE_MS = 250;

const char* const EVENTS[] = {"time-out",           "device",           "power state",
                              "power state is now", "propagation time", "propagation time is now"};
const char* const STATES[] = {"STATE_0", "STATE_1",         "STATE_2",
                              "STATE_3", "STATE_SILENT_ON", "STATE_5"};
const char* const DEVICES[] = {
    "display", "display_bl", "keypad_bl", "encoder_bl", "rgb_led", "beeper",      "keypad",
    "encoder", "touch",      "console",   "output0",    "output1", "output2",     "cam_output",
    "video0",  "input0",     "input1",    "input2",     "input3",  "status_led1", "status_led2"};

class Printer : public ZT::ZTSignalListener {
public:
    int onSignal(ZT::ZTSignal& signal) override
    {
        ++heard;
        const unsigned int id = signal.getEventID();
        std::printf("%u %s: ", id, EVENTS[id - ZT::EVENT_TIMEOUT]);
        if (id == ZT::EVENT_DEVICE_STATE) {
            std::printf("%s %d\n", DEVICES[signal.getValue()], signal.getState());
        } else if (id == ZT::EVENT_POWER_STATE_1 || id == ZT::EVENT_POWER_STATE_2) {
            std::printf("%s\n", STATES[signal.getState()]);
        } else {
            std::printf("%s %u\n", STATES[signal.getState()], signal.getValue());
        }
        return 0;
    }

    int heard = 0;
};

} // namespace

int main()
{
    // A daemon that hangs up must not end us.
    ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::unique_ptr<ZT::ZTPowerManagement> power(ZT::ZTPowerManagement::create());
    if (power == nullptr) {
        std::puts("cannot reach the power-management daemon");
        return 1;
    }
    Printer printer;
    ZT::ZTEndPointManager manager;
    power->setEventListener(&printer);
    power->subscribeToEndpointManager(&manager);

    power->setPowerState(ZT::STATE_2);
    power->setTimeoutForState(ZT::STATE_1, 30);
    power->getTimeoutForState(ZT::STATE_SILENT_ON);
    power->setPropagationTimeForState(ZT::STATE_2, 5);
    power->getPropagationTimeForState(ZT::STATE_2);
    power->setDeviceStateForLowPower(ZT::DEVICE_CONSOLE, 1);
    power->getDeviceStateInLowPower(ZT::DEVICE_DISPLAY);
    for (int result = 0, last = 0; printer.heard < SIGNALS; last = result) {
        result = power->getPowerState();
        if (result != last) {
            std::puts(result == 0 ? "the daemon is back" : "the daemon is away");
        }
        const unsigned int deadline = ZT::ZTTick::getTickCount() + PAUSE_MS;
        while (manager.waitForEndPoints(deadline, 0) == 0) {
        }
    }
    return 0;
}
