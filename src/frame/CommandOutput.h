#ifndef ZT_COMMANDOUTPUT_H
#define ZT_COMMANDOUTPUT_H

#include <string>

namespace ZT {

/// Runs a command by popen() and appends what it writes to its standard output to `output`, in
/// pieces of at most 127 bytes. False if it cannot be run; how it ends is not looked at.
bool appendCommandOutput(const std::string& command, std::string& output);

} // namespace ZT

#endif
