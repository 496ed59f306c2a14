#include "PowerDialogue.h"

#include "Failure.h"
#include "Reader.h"
#include "TimeLimit.h"
#include "zt/ZTSignal.h"

#include <utility>

namespace zt {

const Advice POWER_ADVICE = Advice::orSimulate(
    "see that the power-management daemon runs; it listens on /var/run/ztpmd_api");

PowerDialogue::PowerDialogue(double seconds)
{
    const TimeLimit limit(seconds); // a daemon may listen and not accept
    const char* const task = "reach the power-management daemon";
    const int result = interface.init();
    checkInTime(result, task, "it has not accepted", seconds);
    check(result, task, POWER_ADVICE);
    interface.setEventListener(this);
    check(interface.subscribeToEndpointManager(&endPoints), "listen to the daemon", "report this");
}

void PowerDialogue::setHearer(std::function<void(const PowerReport&)> newHearer)
{
    hearer = std::move(newHearer);
}

void PowerDialogue::setWitness(std::function<void(bool isThere)> newWitness)
{
    interface.witness = std::move(newWitness);
}

void PowerDialogue::listen()
{
    listenForAMoment(endPoints);
}

PowerReport PowerDialogue::await(const std::string& task, double seconds, const Predicate& isAnswer)
{
    std::optional<PowerReport> answer;
    setHearer([&](const PowerReport& report) {
        if (!answer && isAnswer(report)) {
            answer = report;
        }
    });
    const TimeLimit limit(seconds);
    while (!answer && !TimeLimit::isOver()) {
        listen();
    }
    setHearer(nullptr);
    if (!answer) {
        throw Failure(NO_ANSWER,
                      "cannot " + task + ": result 17, " +
                          timeIsUp("the power-management daemon has not answered", seconds),
                      WAIT_ADVICE);
    }
    return *answer;
}

int PowerDialogue::Interface::onEndPointReadable(ZT::ZTEndPoint* endPoint,
                                                 ZT::ZTEndPointManager* manager)
{
    return tell(ZTPowerManagementInterfaceR7::onEndPointReadable(endPoint, manager), *endPoint);
}

int PowerDialogue::Interface::onEndPointReconnected(ZT::ZTEndPoint* endPoint)
{
    return tell(ZTPowerManagementInterfaceR7::onEndPointReconnected(endPoint), *endPoint);
}

int PowerDialogue::Interface::tell(int result, const ZT::ZTEndPoint& endPoint)
{
    const bool isThere = endPoint.isConnected();
    if (isThere != wasThere && witness) {
        witness(isThere);
    }
    wasThere = isThere;
    return result;
}

int PowerDialogue::onSignal(ZT::ZTSignal& signal)
{
    if (hearer) {
        hearer({signal.getEventID(), signal.getState(), signal.getValue(), signal.getTimestamp()});
    }
    return 0;
}

} // namespace zt
