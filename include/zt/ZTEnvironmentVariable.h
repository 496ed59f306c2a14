#ifndef ZT_ZTENVIRONMENTVARIABLE_H
#define ZT_ZTENVIRONMENTVARIABLE_H

#include "zt/ztExport.h"

#include <string>

namespace ZT {

/// The environment of the process.
class ZT_API ZTEnvironmentVariable {
public:
    /// The variable's value; null if it is not set. It is not the caller's: do not free or change
    /// it, and copy it before the environment changes. Any thread may call it while none changes
    /// the environment. Nothing is thrown.
    static char* getEnvironmentVariable(const std::string& name);
};

} // namespace ZT

#endif
