#ifndef ZT_ZTSIGNALLISTENER_H
#define ZT_ZTSIGNALLISTENER_H

#include "zt/ztExport.h"

namespace ZT {

class ZTSignal;

/// What an application implements to hear power events.
class ZT_API ZTSignalListener {
public:
    virtual ~ZTSignalListener();

    /// An event, on the thread that runs the endpoint manager. `signal` lives only during the call:
    /// copy what is to be kept. Return 0 when it was taken, anything else when not. An exception
    /// passes to the caller of the manager's waitForEndPoints().
    virtual int onSignal(ZTSignal& signal) = 0;
};

} // namespace ZT

#endif
