#ifndef ZT_ZTEVENT_H
#define ZT_ZTEVENT_H

#include "zt/ztExport.h"

#include <cstdint>

namespace ZT {

/// The category of every event that comes from the power-management daemon.
enum ztEventCategories : std::uint32_t { CATEGORY_POWER_MANAGEMENT = 6 };

/// What an event of that category reports.
enum ztPowerEvents : std::uint32_t {
    EVENT_TIMEOUT = 800,            ///< state: power state; value: its time-out
    EVENT_DEVICE_STATE = 801,       ///< value: a ztPowerDevices; state: its state in low power
    EVENT_POWER_STATE_1 = 802,      ///< state: power state, first kind of report
    EVENT_POWER_STATE_2 = 803,      ///< state: power state, second kind of report
    EVENT_PROPAGATION_TIME_1 = 804, ///< state: 2; value: propagation time, first kind of report
    EVENT_PROPAGATION_TIME_2 = 805  ///< state: 2; value: propagation time, second kind of report
};

/// Something that has happened: the part that all events have in common. Every field starts at 0.
/// An event belongs to one thread at a time.
class ZT_API ZTEvent {
public:
    ZTEvent();
    virtual ~ZTEvent();

    /// Where it comes from, for example CATEGORY_POWER_MANAGEMENT; 0 until set.
    std::uint32_t getCategory() const { return category; }
    void setCategory(std::uint32_t newCategory) { category = newCategory; }

    /// Which event it is, for example a ztPowerEvents; 0 until set.
    std::uint32_t getEventID() const { return eventID; }
    void setEventID(std::uint32_t newEventID) { eventID = newEventID; }

    /// When it was noticed, in ms on the scale of ZTTick::getTickCount(), which wraps.
    std::uint32_t getTimestamp() const { return timestamp; }
    void setTimestamp(std::uint32_t newTimestamp) { timestamp = newTimestamp; }

    /// Two numbers that power events leave at 0.
    std::uint64_t getData1() const { return data1; }
    void setData1(std::uint64_t newData1) { data1 = newData1; }
    std::uint64_t getData2() const { return data2; }
    void setData2(std::uint64_t newData2) { data2 = newData2; }

    /// A time-out, a propagation time or a device number; ztPowerEvents tells which.
    std::uint32_t getValue() const { return value; }
    void setValue(std::uint32_t newValue) { value = newValue; }

    /// A power state or a device's state; ztPowerEvents tells which.
    std::int32_t getState() const { return state; }
    void setState(std::int32_t newState) { state = newState; }

private:
    std::uint32_t category;
    std::uint32_t eventID;
    std::uint32_t timestamp;
    std::uint64_t data1;
    std::uint64_t data2;
    std::uint32_t value;
    std::int32_t state;
};

} // namespace ZT

#endif
