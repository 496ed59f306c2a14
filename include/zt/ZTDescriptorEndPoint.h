#ifndef ZT_ZTDESCRIPTORENDPOINT_H
#define ZT_ZTDESCRIPTORENDPOINT_H

#include "zt/ZTEndPoint.h"

namespace ZT {

/// An endpoint of any descriptor that can be waited for: the identifier of a ZTSocket, a timerfd, a
/// signalfd, an eventfd, a terminal.
///
/// The descriptor stays its owner's. It is never closed here, and never reconnected: remove the
/// endpoint, with ZTEndPointManager::removeExactEndPoint(), before the descriptor is closed.
/// Nothing here throws.
class ZT_API ZTDescriptorEndPoint : public ZTEndPoint {
public:
    /// A negative `descriptor` stands for none.
    explicit ZTDescriptorEndPoint(int descriptor);
    ~ZTDescriptorEndPoint() override;

    /// Both are the descriptor.
    int getReadEndPointID() const override;
    int getWriteEndPointID() const override;

    /// Whether the descriptor is not negative. That it was closed does not change it.
    bool isConnected() const override;

    /// Does nothing: always 11.
    int reconnect() override;

private:
    const int descriptor;
};

} // namespace ZT

#endif
