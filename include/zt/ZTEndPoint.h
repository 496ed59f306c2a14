#ifndef ZT_ZTENDPOINT_H
#define ZT_ZTENDPOINT_H

#include "zt/ztExport.h"

namespace ZT {

/// Something that a ZTEndPointManager can wait for: a descriptor to read, one to write, a connected
/// state and a way to connect again.
class ZT_API ZTEndPoint {
public:
    /// Opens nothing.
    explicit ZTEndPoint(bool autoReconnect = false);
    virtual ~ZTEndPoint();

    ZTEndPoint(const ZTEndPoint&) = delete;
    ZTEndPoint& operator=(const ZTEndPoint&) = delete;

    /// The descriptor to wait on for reading; negative while there is none. The endpoint keeps it.
    virtual int getReadEndPointID() const = 0;

    /// The descriptor to write to; negative while there is none. The endpoint keeps it.
    virtual int getWriteEndPointID() const = 0;

    /// A manager waits for the endpoints that are connected and looks after the others.
    virtual bool isConnected() const = 0;

    /// Connects (again). 0 on success, otherwise a result code of the derived class.
    virtual int reconnect() = 0;

    /// Whether a manager reconnects this endpoint when it finds it disconnected.
    bool autoReconnect;
};

} // namespace ZT

#endif
