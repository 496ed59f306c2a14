#ifndef ZT_TOOLS_PRINTABLE_H
#define ZT_TOOLS_PRINTABLE_H

#include <string>

namespace tools {

/// The text as one that a terminal takes for nothing but text: control characters, those of two
/// bytes too, and bytes that are no UTF-8 become escapes such as \x1b.
std::string printable(const std::string& text);

} // namespace tools

#endif
