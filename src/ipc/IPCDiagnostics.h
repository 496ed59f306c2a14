#ifndef ZT_IPCDIAGNOSTICS_H
#define ZT_IPCDIAGNOSTICS_H

#include "zt/ZTIPCEndPoint.h"

#include "ztutil/ZTDebug.h"

namespace ZT {

/// Prints a failure in the section of the IPC endpoints.
inline void printIPCFailure(const char* message)
{
    ZTDebug::debugPrintError(1, ZTIPCEndPoint::debugSection, "%s", message);
}

} // namespace ZT

#endif
