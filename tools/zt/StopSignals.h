#ifndef ZT_TOOL_STOPSIGNALS_H
#define ZT_TOOL_STOPSIGNALS_H

#include "Reader.h"
#include "zt/ZTPipe.h"

namespace ZT {
class ZTEndPointManager;
} // namespace ZT

namespace zt {

/// Hears the first SIGINT, SIGTERM and SIGHUP, so that the work can be ended in order. A second one
/// of its kind ends the process at once. There is one such object at a time.
///
/// A signal ends the wait of a manager that it is subscribed to, and every other wait of the thread
/// that gets the signal.
class StopSignals final : private Reader {
public:
    StopSignals();
    ~StopSignals();

    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    void subscribeTo(ZT::ZTEndPointManager& manager);

    /// The signal that came; 0 if none did.
    static int received();

private:
    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* manager) override;

    ZT::ZTPipe pipe; // so that a signal just before a wait ends it, too
};

} // namespace zt

#endif
