#ifndef ZT_PRINTLINE_H
#define ZT_PRINTLINE_H

#include <iosfwd>
#include <string_view>

namespace ZT {

/// Writes a line, which has its newline, to std::cout or std::cerr and flushes it. The line goes
/// out as it is, in one piece and in no memory of its own: width, fill and number format of the
/// stream are the application's, and stay for what that prints next. Nothing is thrown: exceptions
/// that the application has asked the stream for are for what it prints itself.
void printLine(std::ostream& stream, std::string_view line);

} // namespace ZT

#endif
