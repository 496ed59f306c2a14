#ifndef ZT_ZTSOCKETFACTORY_H
#define ZT_ZTSOCKETFACTORY_H

#include "zt/ZTSocketLinux.h"

namespace ZT {

/// Creates sockets. It has no state; any thread may call it.
class ZT_API ZTSocketFactory {
public:
    virtual ~ZTSocketFactory();

    /// A new socket object, never null, which the caller deletes. Opens nothing. Throws
    /// std::bad_alloc without memory.
    static ZTSocketLinux* createSocketClass();
};

} // namespace ZT

#endif
