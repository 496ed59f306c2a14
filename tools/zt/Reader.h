#ifndef ZT_TOOL_READER_H
#define ZT_TOOL_READER_H

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "ztutil/ZTTick.h"

namespace zt {

/// A handler of endpoints that are not lost and reconnected: what comes is all that it hears of.
class Reader : public ZT::ZTEndPointHandler {
private:
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) final { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) final { return 0; }

protected:
    ~Reader() = default;
};

const unsigned int MOMENT_MS = 500;

/// Lets handlers hear what comes, for a moment at most. The caller then looks whether it is to
/// stop: ThreadSanitizer holds signals back that come around a wait, and they do not end it.
inline void listenForAMoment(ZT::ZTEndPointManager& manager)
{
    manager.waitForEndPoints(ZT::ZTTick::getTickCount() + MOMENT_MS, 0);
}

} // namespace zt

#endif
