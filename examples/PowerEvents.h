#ifndef ZT_EXAMPLES_POWEREVENTS_H
#define ZT_EXAMPLES_POWEREVENTS_H

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"

#include <csignal>
#include <cstdio>
#include <memory>

/// Prints the power state whenever the daemon tells it. The manager connects again when the daemon
/// has been away.
class PowerEvents : public ZT::ZTSignalListener {
public:
    explicit PowerEvents(ZT::ZTEndPointManager& manager)
        : manager(manager), power(ZT::ZTPowerManagement::create())
    {
        std::signal(SIGPIPE, SIG_IGN); // a daemon that hangs up must not end us
        if (power != nullptr) {
            power->setEventListener(this);
            power->subscribeToEndpointManager(&manager);
        }
    }

    ~PowerEvents() override
    {
        if (power != nullptr) {
            power->unsubscribeFromEndpointManager(&manager);
        }
    }

    bool isConnected() const { return power != nullptr; }

    void askForState() { power->getPowerState(); }

    int onSignal(ZT::ZTSignal& signal) override
    {
        std::printf("power state %d\n", signal.getState());
        return 0;
    }

private:
    ZT::ZTEndPointManager& manager;
    const std::unique_ptr<ZT::ZTPowerManagement> power;
};

#endif
