#include "zt/ZTEnvironmentVariable.h"

#include "frame/holdsNul.h"

#include <cstdlib>

namespace ZT {

char* ZTEnvironmentVariable::getEnvironmentVariable(const std::string& name)
{
    return holdsNul(name) ? nullptr : std::getenv(name.c_str());
}

} // namespace ZT
