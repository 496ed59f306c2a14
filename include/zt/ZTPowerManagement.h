#ifndef ZT_ZTPOWERMANAGEMENT_H
#define ZT_ZTPOWERMANAGEMENT_H

#include "zt/ZTEndPointHandler.h"
#include "zt/ztExport.h"
#include "zt/ztPowerDevices.h"
#include "zt/ztPowerStates.h"

namespace ZT {

class ZTSignalListener;

/// The application's handle on the device's power-management daemon.
///
/// A request sends one record and returns; it does not wait for the answer. Every answer, and
/// everything that the daemon reports by itself, arrives as a ZTSignal at the listener while the
/// endpoint manager runs that subscribeToEndpointManager() was called with. Waiting in mode 0,
/// or dispatching, that manager also reconnects after the daemon went away and came back. Requests
/// in between return 6 or 7, and may themselves reconnect; what they asked for is lost.
///
/// Every operation that sends returns 0 when the record has left; 6 when it could not be written,
/// or only in part; 7 without a connection, or when the socket stayed blocked or hung up for ten
/// attempts of 50 ms. Connecting, which such an attempt may include, waits without limit while a
/// daemon listens but does not accept. Every argument that a request refuses (20) prints one line
/// in the section "zt_power_management".
///
/// An application that is killed (SIGKILL) has made a request in full or not at all.
///
/// There is no lock: use it, and delete it, on the thread that runs the endpoint manager, or while
/// that manager is not running. A daemon that hangs up while a record leaves raises SIGPIPE, which
/// ends the process by default: handle it (ZTSignalHandler) or ignore it. Programs that the process
/// starts inherit the connection, and the daemon sees no hang-up before they have ended, too.
class ZT_API ZTPowerManagement : public ZTEndPointHandler {
public:
    /// Deleting does not remove the endpoint from its manager: call
    /// unsubscribeFromEndpointManager() first, unless the manager has gone before.
    virtual ~ZTPowerManagement();

    /// Connects to the daemon; create() has done it already. Forgets the listener.
    /// 0; 4 if there is no socket to be had; 14 if the daemon cannot be reached.
    virtual int init() = 0;

    /// Closes the connection and forgets the listener. 0; 16 if the system's close fails. It does
    /// not last while a manager has the endpoint: that one's next look for lost endpoints connects
    /// again.
    virtual int release() = 0;

    /// Who hears the signals from now on; null for nobody. The listener stays the caller's and must
    /// live until it is replaced or this is released. Always 0.
    virtual int setEventListener(ZTSignalListener* listener) = 0;

    /// Sets the time-out of state 1, 2 or STATE_SILENT_ON, in the daemon's unit. 20 for other
    /// states.
    virtual int setTimeoutForState(ztPowerStates state, unsigned int timeout) = 0;

    /// Sets the propagation time of state 2, 0 to 30 in the daemon's unit. 20 for other times and
    /// states.
    virtual int setPropagationTimeForState(ztPowerStates state, unsigned int time) = 0;

    /// Asks for the time-out of state 1, 2 or STATE_SILENT_ON: EVENT_TIMEOUT. 20 for other states.
    virtual int getTimeoutForState(ztPowerStates state) = 0;

    /// Asks for the propagation time of state 2: EVENT_PROPAGATION_TIME_1 or _2. 20 for other
    /// states.
    virtual int getPropagationTimeForState(ztPowerStates state) = 0;

    /// Sets how a device, 0 to 20 of ztPowerDevices, behaves in low power. 20 for other devices;
    /// `state` goes to the daemon as it is.
    virtual int setDeviceStateForLowPower(int device, int state) = 0;

    /// Asks how a device, 0 to 20 of ztPowerDevices, behaves in low power: EVENT_DEVICE_STATE. 20
    /// for other devices. No signal answers for DEVICE_ENCODER_BL.
    virtual int getDeviceStateInLowPower(int device) = 0;

    /// Asks the daemon to change into a power state. 20 for STATE_SILENT_ON and unknown states.
    virtual int setPowerState(ztPowerStates state) = 0;

    /// Asks for the current power state: EVENT_POWER_STATE_1 or _2.
    virtual int getPowerState() = 0;

    /// Registers the connection with `manager`, with this object as its handler, until
    /// unsubscribeFromEndpointManager() or the manager's end. 0; 20 for null; 25 if the manager has
    /// an endpoint with the same descriptor.
    virtual int subscribeToEndpointManager(ZTEndPointManager* manager) = 0;

    /// Not supported: always 11, and nothing is sent.
    virtual int disablePowerbuttonOnToLowPower() = 0;

    /// Takes everything that has this object as its handler out of `manager`, the connection above
    /// all, open or closed. The connection and the listener stay as they are. On the manager's
    /// thread, in onSignal() too. 0; 20 for null; 23 if there is nothing.
    int unsubscribeFromEndpointManager(ZTEndPointManager* manager);

    /// A connected interface, which the caller deletes; null if the daemon cannot be reached.
    static ZTPowerManagement* create();

    /// The key of the section "zt_power_management".
    static const unsigned int debugSection;
};

} // namespace ZT

#endif
