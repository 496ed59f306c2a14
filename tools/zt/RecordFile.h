#ifndef ZT_TOOL_RECORDFILE_H
#define ZT_TOOL_RECORDFILE_H

#include "SimulatedRecord.h"

#include <string>
#include <vector>

namespace zt {

/// Whether "ztsim --record" has written it, as its first line says.
bool isRecordFile(const std::string& content);

/// What the clients said, those that a fault befell among it; who of them, the file does not tell.
/// Throws std::runtime_error that says what is wrong with it.
std::vector<SimulatedRecord> readRecordFile(const std::string& content);

} // namespace zt

#endif
