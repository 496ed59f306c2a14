// Asks the power-management daemon and waits for the answer only so long, then asks again.

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

const unsigned int PATIENCE_MS = 1000;
const unsigned int UNTIL_DEADLINE = 0;
const unsigned int WITHOUT_LIMIT = 2;
const int TIME_IS_UP = 17;

struct Answer : ZT::ZTSignalListener {
    int onSignal(ZT::ZTSignal& signal) override
    {
        state = signal.getState();
        return 0;
    }

    int state = -1;
};

// The deadline is a moment: what is left of the time shrinks, whatever else is readable meanwhile.
bool comesInTime(const Answer& answer, ZT::ZTEndPointManager& manager)
{
    const unsigned int deadline = ZT::ZTTick::getTickCount() + PATIENCE_MS;
    while (answer.state < 0) {
        if (manager.waitForEndPoints(deadline, UNTIL_DEADLINE) == TIME_IS_UP) {
            return false;
        }
    }
    return true;
}

} // namespace

int main()
{
    ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE);
    const std::unique_ptr<ZT::ZTPowerManagement> power(ZT::ZTPowerManagement::create());
    if (power == nullptr) {
        return 1;
    }
    Answer answer;
    ZT::ZTEndPointManager manager;
    power->setEventListener(&answer);
    power->subscribeToEndpointManager(&manager);
    power->getPowerState();
    if (!comesInTime(answer, manager)) {
        std::puts("no answer within a second, once more");
        power->getPowerState();
        while (answer.state < 0) {
            manager.waitForEndPoints(0, WITHOUT_LIMIT);
        }
    }
    std::printf("power state %d\n", answer.state);
    power->unsubscribeFromEndpointManager(&manager);
}
