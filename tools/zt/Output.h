#ifndef ZT_TOOL_OUTPUT_H
#define ZT_TOOL_OUTPUT_H

#include <nlohmann/json.hpp>

#include <string>

namespace zt {

/// Keeps the order of its fields.
using Json = nlohmann::ordered_json;

/// The text as one that a terminal takes for nothing but text, and that can be told from every
/// other: control characters, the backslash and what is no UTF-8 become escapes.
std::string escape(const std::string& text);

/// A line on standard output, there at once. A reader that has gone ends the process by SIGPIPE, as
/// it does any command; throws Failure if it cannot be written for another reason.
void printLine(const std::string& line);

/// In ASCII, without an end of line.
std::string inJson(const Json& object);

/// The object on a line of its own.
void printJson(const Json& object);

/// The fields of the object: as JSON, or as lines of a name and a value; null is a "-".
void print(const Json& fields, bool asJson);

/// The same for a single field, whose value alone makes the line.
void printSingle(const Json& field, bool asJson);

/// A line on standard error, which a terminal takes for nothing but text.
void complain(const std::string& line);

} // namespace zt

#endif
