#ifndef ZT_TOOL_RESULTCODES_H
#define ZT_TOOL_RESULTCODES_H

#include <string_view>

namespace zt {

/// The guide's page about them, with a table that has a row for each.
extern const std::string_view RESULT_CODES;

} // namespace zt

#endif
