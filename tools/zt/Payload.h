#ifndef ZT_TOOL_PAYLOAD_H
#define ZT_TOOL_PAYLOAD_H

#include "Output.h"

#include <string>

namespace zt {

/// Adds the bytes of a message to its fields, as "text", in which what is no UTF-8 is replaced, and
/// exactly as "hex".
void addPayload(Json& fields, const std::string& bytes);

} // namespace zt

#endif
