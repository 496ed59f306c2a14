#ifndef ZT_ZTPOWERMANAGEMENTINTERFACER7_H
#define ZT_ZTPOWERMANAGEMENTINTERFACER7_H

#include "zt/ZTPowerManagement.h"
#include "zt/ZTPowerManagementEndPoint.h"
#include "zt/ztpmd_msg.h"

namespace ZT {

class ZTSignal;

/// The ZTPowerManagement that ZTPowerManagement::create() makes. Applications need that interface
/// only; what is new here is how records become signals.
class ZT_API ZTPowerManagementInterfaceR7 : public ZTPowerManagement {
public:
    /// Connects nothing; init() does.
    ZTPowerManagementInterfaceR7();
    ~ZTPowerManagementInterfaceR7() override;

    /// Reads exactly one record, waiting if there is none, and hands it to the listener as a
    /// signal. Reads nothing from a connection that was made after the beginning of the wait whose
    /// outcome a manager is handing out on this thread: the next wait tells whether there is a
    /// record.
    ///
    /// 0; the result of messageToEvent() or fireSignalToSubscribers() if not 0. A read that does
    /// not give 48 bytes closes the connection, prints "Socket was not opened!" and returns what
    /// printing that returned. For an endpoint with another descriptor it does nothing and returns
    /// the own one.
    int onEndPointReadable(ZTEndPoint* endPoint, ZTEndPointManager* manager) override;

    /// Connects anew, also after the manager has just done so, and returns the result of that. For
    /// an endpoint with another descriptor it does nothing and returns the own one.
    int onEndPointReconnected(ZTEndPoint* endPoint) override;

    /// Closes the connection and returns the result of that. For an endpoint with another
    /// descriptor it does nothing and returns the own one.
    int onEndPointDisconnected(ZTEndPoint* endPoint) override;

    int init() override;
    int release() override;
    int setEventListener(ZTSignalListener* newListener) override;
    int setTimeoutForState(ztPowerStates state, unsigned int timeout) override;
    int setPropagationTimeForState(ztPowerStates state, unsigned int time) override;
    int getTimeoutForState(ztPowerStates state) override;
    int getPropagationTimeForState(ztPowerStates state) override;
    int setDeviceStateForLowPower(int device, int state) override;
    int getDeviceStateInLowPower(int device) override;
    int setPowerState(ztPowerStates state) override;
    int getPowerState() override;
    int subscribeToEndpointManager(ZTEndPointManager* manager) override;
    int disablePowerbuttonOnToLowPower() override;

    /// Hands a signal to the listener. 0, also without a listener; 7 if the listener did not take
    /// it.
    int fireSignalToSubscribers(ZTSignal& signal);

    /// Fills `signal` from a record; `timestamp` is stored always.
    ///
    /// 0; 11 for a list of eventing devices, 26 for another type that does not come from the
    /// daemon, 35 for a value or device name that the type does not allow. All but a refused device
    /// name print a line, and then the event identifier may be set and nothing else is.
    int messageToEvent(ZTSignal& signal, ztpmd_msg_t& message, unsigned int timestamp);

private:
    int send(ztpmd_msg_type type, std::uint32_t state = 0, std::uint32_t value = 0);
    int sendForDevice(ztpmd_msg_type type, const char* name, int state);
    bool isOwn(const ZTEndPoint& other) const;

    ZTPowerManagementEndPoint connection;
    ZTSignalListener* listener;
};

} // namespace ZT

#endif
