#ifndef ZT_ZTSIGNALHANDLER_H
#define ZT_ZTSIGNALHANDLER_H

#include "zt/ztExport.h"

namespace ZT {

/// Keeps a signal from ending the process.
class ZT_API ZTSignalHandler {
public:
    /// Lets sigHandler() handle the signal, for the whole process, from now on; what handled it
    /// before is not kept. 0; -1 with errno for a signal that cannot be handled, such as SIGKILL.
    /// Any thread may call it. Nothing is thrown.
    ///
    /// A system call that waits while the signal comes is not restarted: it fails with EINTR. One
    /// that would raise SIGPIPE fails with EPIPE.
    static int installEmptySignalHandler(int sig);
};

/// Writes "SignalHandler received signal " and the number, as a line of its own, to std::cout, and
/// returns, with errno as it was. Nothing is thrown.
///
/// That is not safe in a signal handler:
/// - The first text of all that goes to standard output takes memory for a buffer. If it is this
///   one, and the signal has come while a thread was taking or freeing memory itself, the process
///   can hang for ever. Print something there before you install the handler.
/// - A signal that comes while the same thread uses std::cout or standard output can garble what is
///   written there.
///
/// A SIGPIPE that a thread's own write() or send() raises comes at neither time, unless what it
/// writes to is standard output. For signals that come at any time, block them in all threads and
/// wait for them in one by sigwait(), without this.
ZT_API void sigHandler(int sig);

} // namespace ZT

#endif
