#ifndef ZT_TOOL_USAGE_H
#define ZT_TOOL_USAGE_H

#include <CLI/CLI.hpp>

#include <string>

namespace zt {

/// What is wrong with the arguments, what may have been meant, and where to read on.
std::string explain(const CLI::App& app, const CLI::ParseError& error);

} // namespace zt

#endif
