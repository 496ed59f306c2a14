#ifndef ZT_DEBUGSECTIONS_H
#define ZT_DEBUGSECTIONS_H

#include "zt/ztExport.h"

namespace ZT {

// Classes whose section is registered already while they themselves are yet to be written.

class ZT_API ZTIPCEndPoint {
public:
    static const unsigned int debugSection;
};

class ZT_API ZTIPCServer {
public:
    static const unsigned int debugSection;
};

class ZT_API ZTSocket {
public:
    static const unsigned int myDebugKey;
};

} // namespace ZT

#endif
