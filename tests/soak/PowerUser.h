#ifndef ZT_SOAK_POWERUSER_H
#define ZT_SOAK_POWERUSER_H

#include "Actor.h"
#include "Disturbance.h"

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "zt/ztPowerDevices.h"
#include "ztutil/ZTTick.h"

#include <memory>
#include <optional>
#include <string>

/// Sends rows of requests to the power-management daemon, each with the next number, and hears the
/// numbers in the same order; all of them, unless the daemon was away meanwhile.
class PowerUser : public Actor, private ZT::ZTSignalListener {
public:
    PowerUser(unsigned int seed, const Disturbance& daemon)
        : Actor(seed), daemon(daemon), power(ZT::ZTPowerManagement::create())
    {
        check(power != nullptr, "the power-management daemon is there");
        power->setEventListener(this);
        check(power->subscribeToEndpointManager(&manager) == 0, "the manager takes the interface");
    }

    std::string report() const override
    {
        return std::to_string(sent) + " power requests, " + std::to_string(answered) + " answered";
    }

private:
    static constexpr unsigned int PATIENCE_MS = 10000; // at most what the manager waits

    void playRound() override
    {
        witness.emplace(daemon);
        sendFirst();
        for (unsigned int more = random.below(20); more > 0; --more) {
            const bool isSent = send() == 0;
            check(isSent || witness->isDisturbed(), "a daemon that is there takes a request");
        }
        const unsigned int deadline = ZT::ZTTick::getTickCount() + PATIENCE_MS;
        while (heard != sent && !witness->isDisturbed()) {
            const unsigned int soon = ZT::ZTTick::getTickCount() + 20;
            check(static_cast<int>(deadline - soon) > 0 || witness->isDisturbed(),
                  "no answer is lost while the daemon is there");
            manager.waitForEndPoints(soon, 0);
        }
        pauseUpTo(5);
    }

    // Connects again where that is needed.
    void sendFirst()
    {
        while (send() != 0) {
            manager.waitForEndPoints(ZT::ZTTick::getTickCount() + random.below(20), 0);
            manager.handleDisconnectedEndPoints();
        }
        first = sent;
    }

    int send()
    {
        ++sent;
        return random.isOneIn(2)
                   ? power->setTimeoutForState(ZT::STATE_1, sent)
                   : power->setDeviceStateForLowPower(ZT::DEVICE_TOUCH, static_cast<int>(sent));
    }

    int onSignal(ZT::ZTSignal& signal) override
    {
        const unsigned int number = signal.getEventID() == ZT::EVENT_TIMEOUT
                                        ? signal.getValue()
                                        : static_cast<unsigned int>(signal.getState());
        check(number > heard && number <= sent, "answers come once and in order");
        check(number == heard + 1 || number <= first || witness->isDisturbed(),
              "no answer is left out while the daemon is there");
        heard = number;
        ++answered;
        return 0;
    }

    const Disturbance& daemon;
    const std::unique_ptr<ZT::ZTPowerManagement> power;
    ZT::ZTEndPointManager manager;
    std::optional<Disturbance::Witness> witness; // of the round
    unsigned int first = 0;                      // request of the round that could be sent
    unsigned int sent = 0;                       // the number of the last request
    unsigned int heard = 0;
    unsigned int answered = 0;
};

#endif
