#ifndef ZT_LISTENERGATE_H
#define ZT_LISTENERGATE_H

#include "ipc/ListenerWait.h"
#include "zt/ZTIPCMessageArrivalListener.h"
#include "zt/ZTMutex.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <sys/types.h>
#include <thread>

namespace ZT {

/// What an endpoint's owner and its listener thread share: the gate that the thread passes for each
/// message, the listener that it calls, and the order to end. It outlives the endpoint where a
/// callback deletes that.
///
/// The gate is a ZTMutex, but for what makes it safe: the owner may open it while the thread is
/// inside, remove the listener while it is closed, and all that from inside the callback, too.
class ListenerGate {
public:
    /// What an endpoint shows of its listener.
    using ShownListener = std::atomic<ZTIPCMessageArrivalListener*>;

    enum class Change {
        Made,
        Refused, ///< somebody waits for the thread's end
        TooLate  ///< the thread has ended, or is about to
    };

    /// The gate is closed at first. It is no use if its wait is not possible.
    explicit ListenerGate(ZTIPCMessageArrivalListener* listener);

    ListenerGate(const ListenerGate&) = delete;
    ListenerGate& operator=(const ListenerGate&) = delete;

    /// Where the thread waits, inside.
    const ListenerWait wait;

    /// False in a child that was made by fork(), where there is no such thread.
    bool isOfThisProcess() const;

    // For the thread.

    /// Waits until the gate is open, then stands inside. False once it has to end.
    bool enter();
    void leave();

    /// Without waiting for the owner: one that deletes the endpoint waits for the thread's end, or
    /// is the thread itself.
    bool isStopped() const { return stopped; }

    /// Calls the listener, from inside.
    void deliver(IPCMessage* message);

    // For the owner, or the thread inside its callback.

    void open();

    /// Waits until the gate is open and nobody else inside, then closes it. Meanwhile the thread
    /// is woken and does not enter again.
    void close();

    /// Replaces the listener, once it is not running, unless it is the caller. A thread that was
    /// told to end, but has not left its callback, goes on with the new one.
    Change setListener(ZTIPCMessageArrivalListener* newListener, ShownListener& shown);

    /// Tells the thread to end; the gate is no obstacle any more. True if the caller has to wait
    /// for that, false if it is the thread itself, inside its callback.
    bool stop(ShownListener& shown);

private:
    bool isInside() const { return inside != std::thread::id(); }
    bool isCallerInside() const;

    const pid_t process;
    const std::unique_ptr<ZTMutex> mutex;
    std::condition_variable_any changed;
    bool closed = true;
    unsigned int closing = 0; // how many wait to close it
    std::atomic<bool> stopped{false};
    bool awaited = false;   // whether somebody waits for the thread's end
    std::thread::id inside; // the thread that is, if any

    std::mutex calling; // held while the listener runs
    ZTIPCMessageArrivalListener* listener;
};

} // namespace ZT

#endif
