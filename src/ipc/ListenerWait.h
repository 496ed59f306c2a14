#ifndef ZT_LISTENERWAIT_H
#define ZT_LISTENERWAIT_H

#include "ipc/OpenDescriptor.h"

namespace ZT {

class DescriptorSet;

/// What wakes a listener's thread wherever it waits: for a message, or for the rest of one.
class ListenerWait {
public:
    ListenerWait();

    /// False if the system lacked descriptors; then it is no use.
    bool isPossible() const;

    /// Ends the wait that is, or the next one. Any thread may call it.
    void wake() const;

    /// Readable once wake() was called, for a select().
    int wakeDescriptor() const { return woken.number; }

    /// Whether a select() ended by wake(), which is over with that.
    bool takeWake(const DescriptorSet& readable) const;

    /// Waits until receiving a frame does not wait, be it that all of it is there or that the rest
    /// will never come; takes no processor time meanwhile. False if wake() was called before, which
    /// the next wait finds again.
    bool awaitWholeFrame(int socket) const;

private:
    const OpenDescriptor woken;
    const OpenDescriptor poller; // tells of `woken`, and of each change of a socket once
};

} // namespace ZT

#endif
