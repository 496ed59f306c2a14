#ifndef ZT_BENCH_ZTCLIENT_H
#define ZT_BENCH_ZTCLIENT_H

#include "bench/support/require.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"

#include <memory>

/// Asks for the power state, and waits for the event with the answer.
class ZtClient : ZT::ZTSignalListener {
public:
    ZtClient()
    {
        require(power != nullptr, "create");
        power->setEventListener(this);
        require(power->subscribeToEndpointManager(&manager) == 0, "subscribeToEndpointManager");
    }

    void ask() { require(power->getPowerState() == 0, "getPowerState"); }

    void takeAnswer()
    {
        // Once in 65536 waits the power management leaves it to the next one to read.
        for (answered = false; !answered;) {
            require(manager.waitForEndPoints(0, 2) == 0, "waitForEndPoints");
        }
    }

private:
    int onSignal(ZT::ZTSignal& signal) override
    {
        answered = signal.getEventID() == ZT::EVENT_POWER_STATE_1;
        return 0;
    }

    ZT::ZTEndPointManager manager;
    const std::unique_ptr<ZT::ZTPowerManagement> power{ZT::ZTPowerManagement::create()};
    bool answered = false;
};

#endif
