#ifndef ZT_TOOL_COUNTOPTION_H
#define ZT_TOOL_COUNTOPTION_H

#include "common/NumberOption.h"

#include <cstdint>
#include <string>

namespace zt {

/// The option --count, for a number that is 0 where there is no end.
inline void addCountOption(CLI::App& verb, unsigned int& count, const std::string& help)
{
    tools::addNumber(verb, "--count", count, 1U, UINT32_MAX, help)->type_name("N");
}

} // namespace zt

#endif
