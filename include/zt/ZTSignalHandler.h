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
/// returns. That is not safe in a signal handler: a signal that comes while the same thread uses
/// std::cout or standard output can garble what is written there. Handle so what comes rarely, or
/// where a thread waits.
ZT_API void sigHandler(int sig);

} // namespace ZT

#endif
