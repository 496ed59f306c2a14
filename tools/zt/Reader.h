#ifndef ZT_TOOL_READER_H
#define ZT_TOOL_READER_H

#include "zt/ZTEndPointHandler.h"

namespace zt {

/// A handler of endpoints that are not lost and reconnected: what comes is all that it hears of.
class Reader : public ZT::ZTEndPointHandler {
private:
    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) final { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) final { return 0; }

protected:
    ~Reader() = default;
};

} // namespace zt

#endif
