// Asks the power-management daemon, which is silent, and waits for the answer only so long.

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
const int TIME_IS_UP = 17;

struct Answer : ZT::ZTSignalListener {
    int onSignal(ZT::ZTSignal& signal) override
    {
        state = signal.getState();
        return 0;
    }

    int state = -1;
};

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
    for (int attempt = 1; answer.state < 0; ++attempt) {
        std::printf("attempt %d\n", attempt);
        power->getPowerState();
        // Something else may be readable before: the deadline is a moment, so what is left of the
        // time stays the same.
        const unsigned int deadline = ZT::ZTTick::getTickCount() + PATIENCE_MS;
        while (answer.state < 0 &&
               manager.waitForEndPoints(deadline, UNTIL_DEADLINE) != TIME_IS_UP) {
        }
    }
    std::printf("power state %d\n", answer.state);
    power->unsubscribeFromEndpointManager(&manager);
}
