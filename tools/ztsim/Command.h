#ifndef ZTSIM_COMMAND_H
#define ZTSIM_COMMAND_H

#include "Daemons.h"

#include <functional>
#include <string>
#include <vector>

namespace ztsim {

/// Something said to the device: it happens when this is called, which returns the line that
/// answers a question, and nothing otherwise, or throws std::invalid_argument.
using Command = std::function<std::string(Daemons&)>;

/// From the words of "ztsim ctl", of a line of a script, or of a recorded line, which are the same;
/// throws std::invalid_argument that says what is expected.
Command parseCommand(const std::vector<std::string>& words);

/// The same from a line, in which a word with blanks stands between quotes.
Command parseCommand(const std::string& line);

/// A line for each command.
extern const char* const COMMANDS_HELP;

} // namespace ztsim

#endif
