#ifndef ZT_LISTENERGATE_H
#define ZT_LISTENERGATE_H

#include "ipc/OpenDescriptor.h"
#include "zt/ZTIPCMessageArrivalListener.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace ZT {

/// What an endpoint's owner and its listener thread share: the gate that the thread passes for each
/// message, the listener that it calls, and the order to end. It outlives the endpoint where a
/// callback deletes that.
///
/// A plain mutex would not do as a gate: the owner may open it while the thread holds it, remove
/// the listener while the gate is closed, and all that from inside the callback, too.
class ListenerGate {
public:
    /// The gate is closed at first. It is no use without a wakeDescriptor().
    explicit ListenerGate(ZTIPCMessageArrivalListener* listener);

    ListenerGate(const ListenerGate&) = delete;
    ListenerGate& operator=(const ListenerGate&) = delete;

    // For the thread.

    /// Waits until the gate is open, then stands inside. False once it has to end.
    bool enter();
    void leave();

    /// Readable once the thread has to end; negative if the system had none.
    int wakeDescriptor() const { return wake.number; }

    bool isStopped() const;

    /// Calls the listener, from inside.
    void deliver(IPCMessage* message);

    // For the owner, or the thread inside its callback.

    void open();

    /// Waits until the gate is open and nobody else inside, then closes it. Meanwhile the thread
    /// does not enter again.
    void close();

    /// Tells the thread to end when it next waits; the gate is no obstacle any more.
    void stop();

    /// Whether the caller is the thread, inside.
    bool isCallerInside() const;

    /// Waits until the listener is not running, unless it is the caller.
    void setListener(ZTIPCMessageArrivalListener* newListener);

private:
    bool isInside() const { return inside != std::thread::id(); }

    const OpenDescriptor wake;
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool closed = true;
    unsigned int closing = 0; // how many wait to close it
    bool stopped = false;
    std::thread::id inside; // the thread that is, if any

    std::mutex calling; // held while the listener runs
    ZTIPCMessageArrivalListener* listener;
};

} // namespace ZT

#endif
