// Hears the power key: each press makes the daemon change the power state and say so, until that
// is 5.

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalHandler.h"
#include "zt/ZTSignalListener.h"

#include <csignal>
#include <cstdio>
#include <memory>

namespace {

const unsigned int WITHOUT_LIMIT = 2;

class PowerKey : public ZT::ZTSignalListener {
public:
    int onSignal(ZT::ZTSignal& signal) override
    {
        const bool isPowerState = signal.getEventID() == ZT::EVENT_POWER_STATE_1 ||
                                  signal.getEventID() == ZT::EVENT_POWER_STATE_2;
        if (isPowerState) {
            state = signal.getState();
            std::printf("power state %d\n", state);
        }
        return 0;
    }

    int state = -1;
};

} // namespace

int main()
{
    // A daemon that goes away must not end us.
    ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE);

    const std::unique_ptr<ZT::ZTPowerManagement> power(ZT::ZTPowerManagement::create());
    if (power == nullptr) {
        return 1;
    }
    PowerKey key;
    ZT::ZTEndPointManager manager;
    power->setEventListener(&key);
    power->subscribeToEndpointManager(&manager);
    power->getPowerState(); // where we begin
    while (key.state != ZT::STATE_5) {
        manager.waitForEndPoints(0, WITHOUT_LIMIT);
    }
    power->unsubscribeFromEndpointManager(&manager);
}
