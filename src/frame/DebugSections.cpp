#include "zt/ZTIPCServer.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSocket.h"

#include "ztutil/ZTDebug.h"

// The sections that belong to a class and not to each of its objects are registered once, when the
// library is loaded. Nothing writes the keys afterwards, so any thread reads them without a lock.

namespace ZT {

const unsigned int ZTIPCEndPoint::debugSection = ZTDebug::insertNewDebugSection("zt_ipc_endpoint");
const unsigned int ZTIPCServer::debugSection = ZTDebug::insertNewDebugSection("zt_ipc_server");
const unsigned int ZTPowerManagement::debugSection =
    ZTDebug::insertNewDebugSection("zt_power_management");
const unsigned int ZTSocket::myDebugKey = ZTDebug::insertNewDebugSection("zt_socket_linux");

} // namespace ZT
