#ifndef ZT_ZTENDPOINTMANAGER_H
#define ZT_ZTENDPOINTMANAGER_H

#include "zt/ztExport.h"

#include <cstdint>
#include <set>
#include <vector>

namespace ZT {

class ZTEndPoint;
class ZTEndPointHandler;

/// Waits for many endpoints at once and calls the handler of each that is readable; in between it
/// looks for lost endpoints, reconnects those that ask for it, and tells their handlers.
///
/// It has no thread: the thread that calls waitForEndPoints() runs every handler. The manager, the
/// endpoints and the handlers belong to that one thread. The manager owns neither endpoints nor
/// handlers: remove an endpoint, with removeExactEndPoint(), before deleting it or its handler.
class ZT_API ZTEndPointManager {
public:
    ZTEndPointManager();
    virtual ~ZTEndPointManager();

    ZTEndPointManager(const ZTEndPointManager&) = delete;
    ZTEndPointManager& operator=(const ZTEndPointManager&) = delete;

    /// Registers an endpoint with its handler.
    ///
    /// 0; 20 if either is null; 25 if a registered endpoint has the same read descriptor. Two
    /// endpoints that are not open both have -1, so only one of them can be registered.
    int addEndPoint(ZTEndPoint* endPoint, ZTEndPointHandler* handler);

    /// Removes the first registered endpoint that has the same read descriptor as `endPoint` now.
    /// Two closed endpoints both have -1, so it may be another one: removeExactEndPoint() is surer.
    ///
    /// 0; 20 if null; 23 if there is none.
    int removeEndPoint(ZTEndPoint* endPoint);

    /// Removes exactly this endpoint, open or closed. Nothing of it is called: its address is
    /// enough.
    ///
    /// 0; 20 if null; 23 if it is not registered.
    int removeExactEndPoint(ZTEndPoint* endPoint);

    /// Removes every endpoint that is registered with `handler`, so that it can be deleted.
    ///
    /// 0; 20 if null; 23 if there is none.
    int removeEndPointsOf(ZTEndPointHandler* handler);

    /// The handler of exactly this endpoint; null if it is not registered.
    ZTEndPointHandler* getEndPointHandlerByEndPoint(ZTEndPoint* endPoint) const;

    /// Waits until an endpoint is readable or the time is up, then calls the handler of each
    /// readable one. The order of the calls is not that of registration.
    ///
    /// `deadline`: a moment on the scale of ZTTick::getTickCount(), in ms. `mode`:
    /// - 0: looks for lost endpoints first, if `deadline` lies more than 2000 ms after that of the
    ///   last look, or before it. Then waits until `deadline` if that is at most 10000 ms ahead,
    ///   and does not wait at all if it is farther away or has passed.
    /// - 2: waits without limit.
    /// - any other: does not wait.
    ///
    /// 0 if something was readable; 17 if the time is up; 10 if select() fails, as it does when a
    /// signal handler runs or a registered descriptor has been closed. Takes no memory as long as
    /// all descriptors are below 1024.
    ///
    /// A loop in mode 0 spins when its deadline has passed or is too far ahead. Only mode 0 looks
    /// for lost endpoints, and their reconnect() runs here. A handler that opens a descriptor may
    /// get the number of one that was readable and is closed now: if that belongs to another
    /// registered endpoint, its handler is called although nothing is there. The power management
    /// does not read then.
    int waitForEndPoints(unsigned int deadline, unsigned int mode);

    /// Looks at every endpoint: one that is not connected is reconnected if its autoReconnect is
    /// set, and its handler hears onEndPointReconnected() if that returned 0, otherwise
    /// onEndPointDisconnected().
    ///
    /// An endpoint whose reconnect() returns something else although it did connect is reported as
    /// disconnected.
    void handleDisconnectedEndPoints();

    /// One descriptor that stands for this manager in a main loop of another kind: while it is
    /// readable, dispatch() has something to do. Wait for reading, with poll(), select(), epoll or
    /// a library on top of them. An edge-triggered wait must look again after each dispatch().
    ///
    /// It is readable while a connected endpoint is, and every 2000 ms, as long as an endpoint is
    /// registered, for a look for lost endpoints. An endpoint that connects, closes or changes its
    /// descriptor by itself, in a handler, in a call from outside or on a listener's thread, is
    /// noticed at the next look at the latest; handleDisconnectedEndPoints() is one, and notices
    /// all at once. Of two endpoints that have come to the same descriptor one may be left out.
    ///
    /// The first call opens it, and from then on the manager keeps it up to date. It is the
    /// manager's, is closed with it, and is not inherited by programs that the process starts. -1
    /// if the system has no descriptors left: it takes two, and one more for each endpoint whose
    /// descriptor is a file, which counts as readable. Throws std::bad_alloc without memory.
    /// A child made by fork() shares it with its parent, and must not dispatch.
    int getDescriptor();

    /// Does what there is to do without waiting: the look for lost endpoints, if one is due, and
    /// then the handlers of the readable endpoints. No handler is called for what another has read
    /// or closed before.
    ///
    /// 0 if a handler was called for a readable endpoint; 17 if there was none; 10 if there is no
    /// descriptor, see getDescriptor(). It may be called in a handler, and whether the descriptor
    /// is readable or not. Its looks and those of waitForEndPoints() do not count for each other.
    /// Throws what handlers throw, and std::bad_alloc without memory; what was not handed out then
    /// is the next time.
    int dispatch();

private:
    struct Registration;
    struct Outside;
    using Registrations = std::set<Registration*>;

    Registrations::const_iterator findByReadID(const ZTEndPoint& endPoint) const;
    Registrations::const_iterator findExact(const ZTEndPoint* endPoint) const;
    Registrations::const_iterator remove(Registrations::const_iterator found);

    Outside* getOutside() const;
    std::uint64_t& changeCount();
    const Registration* findByAddress(const void* address) const;
    int handOut(const std::vector<const void*>& found);

    template <class Visit>
    void forEachRegistration(Visit visit);

    Registrations registrations;
    std::uint32_t lastCheck; // the deadline of the last look for lost endpoints

    // Registrations and removals so far, in steps of 2 from 1 on. Once there is a descriptor, the
    // address of what belongs to it, which is even.
    std::uint64_t changes;
};

} // namespace ZT

#endif
