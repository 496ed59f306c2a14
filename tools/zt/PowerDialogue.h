#ifndef ZT_TOOL_POWERDIALOGUE_H
#define ZT_TOOL_POWERDIALOGUE_H

#include "Failure.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagementInterfaceR7.h"
#include "zt/ZTSignalListener.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace zt {

/// What the power-management daemon has reported; ZT::ztPowerEvents tells what the fields mean.
struct PowerReport {
    std::uint32_t event;
    std::int32_t state;
    std::uint32_t value;
    std::uint32_t timestamp;
};

/// A connection to the daemon, and what comes over it.
class PowerDialogue final : private ZT::ZTSignalListener {
public:
    /// Connects, for so long at most; throws Failure.
    explicit PowerDialogue(double seconds);

    using Predicate = std::function<bool(const PowerReport&)>;

    /// Called with each report.
    void setHearer(std::function<void(const PowerReport&)> newHearer);

    /// Called when the daemon has gone and when it is back.
    void setWitness(std::function<void(bool isThere)> newWitness);

    /// Waits for reports, half a second at most, and for the daemon if it has gone.
    void listen();

    /// Waits for the report for which `isAnswer` is true.
    PowerReport await(const std::string& task, double seconds, const Predicate& isAnswer);

    ZT::ZTPowerManagement& power() { return interface; }
    ZT::ZTEndPointManager& manager() { return endPoints; }

private:
    /// The library's interface, which also says how its connection stands.
    class Interface final : public ZT::ZTPowerManagementInterfaceR7 {
    public:
        std::function<void(bool isThere)> witness;

    private:
        int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* manager) override;
        int onEndPointReconnected(ZT::ZTEndPoint* endPoint) override;
        int tell(int result, const ZT::ZTEndPoint& endPoint);

        bool wasThere = true;
    };

    int onSignal(ZT::ZTSignal& signal) override;

    Interface interface;
    ZT::ZTEndPointManager endPoints; // goes before what it knows
    std::function<void(const PowerReport&)> hearer;
};

/// Where the daemon cannot be reached.
extern const Advice POWER_ADVICE;

} // namespace zt

#endif
