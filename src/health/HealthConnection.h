#ifndef ZT_HEALTHCONNECTION_H
#define ZT_HEALTHCONNECTION_H

#include "zt/zthmd_msg.h"

namespace ZT {

/// A connection to the health-monitor daemon for one exchange; closed with the object. Each step
/// tells whether the system refused it.
class HealthConnection {
public:
    HealthConnection();
    ~HealthConnection();

    HealthConnection(const HealthConnection&) = delete;
    HealthConnection& operator=(const HealthConnection&) = delete;

    bool connect();
    bool send(const zthmd_msg_t& message);

    /// What comes overlays `message`; that may be less than a record.
    bool receive(zthmd_msg_t& message);

private:
    int descriptor;
};

} // namespace ZT

#endif
