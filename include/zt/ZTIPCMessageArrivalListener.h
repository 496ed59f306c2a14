#ifndef ZT_ZTIPCMESSAGEARRIVALLISTENER_H
#define ZT_ZTIPCMESSAGEARRIVALLISTENER_H

#include "zt/ztExport.h"

struct IPCMessage;

namespace ZT {

/// Receives the messages of a ZTIPCEndPoint, on the endpoint's own listener thread.
class ZT_API ZTIPCMessageArrivalListener {
public:
    /// A message has arrived. It and its data live until this returns; to keep the data, take the
    /// pointer and put null into the message, and release the data with delete[] later.
    ///
    /// It may use the endpoint: send and receive, set or remove the listener, deinitialize or
    /// delete the endpoint. An exception ends the process.
    virtual void onMessageArrival(IPCMessage* message) = 0;

protected:
    // Not virtual: the callback is all that the virtual table holds. The endpoint never deletes a
    // listener.
    ~ZTIPCMessageArrivalListener() = default;
};

} // namespace ZT

#endif
