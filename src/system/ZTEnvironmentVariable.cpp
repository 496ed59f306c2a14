#include "zt/ZTEnvironmentVariable.h"

#include <cstdlib>

namespace ZT {

char* ZTEnvironmentVariable::getEnvironmentVariable(const std::string& name)
{
    return std::getenv(name.c_str());
}

} // namespace ZT
