#ifndef ZT_ZTTRIGGER_H
#define ZT_ZTTRIGGER_H

#include "zt/ZTEvent.h"

namespace ZT {

/// An event that sets something off. Its own field starts at 0, where power events leave it.
class ZT_API ZTTrigger : public virtual ZTEvent {
public:
    ZTTrigger();
    ~ZTTrigger() override;

    /// A number of the trigger's own.
    std::uint32_t getTriggerData() const { return triggerData; }
    void setTriggerData(std::uint32_t newTriggerData) { triggerData = newTriggerData; }

private:
    std::uint32_t triggerData;
};

} // namespace ZT

#endif
