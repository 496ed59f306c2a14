#ifndef ZT_TOOL_REQUIREDCOMMAND_H
#define ZT_TOOL_REQUIREDCOMMAND_H

#include <string>

namespace zt {

/// Throws Failure unless the library's shell finds the command, which the package brings.
void requireCommand(const std::string& name, const std::string& package);

} // namespace zt

#endif
