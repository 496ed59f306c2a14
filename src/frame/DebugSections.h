#ifndef ZT_DEBUGSECTIONS_H
#define ZT_DEBUGSECTIONS_H

#include "zt/ztExport.h"

namespace ZT {

// A class whose section is registered already while it itself is yet to be written.

class ZT_API ZTSocket {
public:
    static const unsigned int myDebugKey;
};

} // namespace ZT

#endif
