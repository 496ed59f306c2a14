#ifndef ZT_ZTENDPOINTHANDLER_H
#define ZT_ZTENDPOINTHANDLER_H

#include "zt/ztExport.h"

namespace ZT {

class ZTEndPoint;
class ZTEndPointManager;

/// What a ZTEndPointManager calls about an endpoint, on the thread that runs the manager. The
/// manager ignores the results. An exception passes through the manager to its caller.
///
/// A callback may add and remove endpoints, its own too, and delete an endpoint that it has
/// removed; what it adds takes part from the next wait on. It must not delete the manager. If it
/// waits on the manager itself, the outer wait may call handlers for what the inner one has read.
class ZT_API ZTEndPointHandler {
public:
    /// There is something to read from `endPoint`, or its other end has gone. The loop waits as
    /// long as this does: a ZTIPCEndPoint whose socket blocks waits for the rest of half a frame.
    virtual int onEndPointReadable(ZTEndPoint* endPoint, ZTEndPointManager* manager) = 0;

    /// `endPoint` was found disconnected, and its reconnect() returned 0.
    virtual int onEndPointReconnected(ZTEndPoint* endPoint) = 0;

    /// `endPoint` was found disconnected and was not reconnected. Every check that finds it so says
    /// it again.
    virtual int onEndPointDisconnected(ZTEndPoint* endPoint) = 0;

protected:
    // Not virtual: the three callbacks are all that the virtual table holds. The manager never
    // deletes a handler.
    ~ZTEndPointHandler() = default;
};

} // namespace ZT

#endif
