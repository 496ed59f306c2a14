#ifndef ZTSIM_COMMAND_H
#define ZTSIM_COMMAND_H

#include "RecordPattern.h"
#include "Simulated.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ztsim {

using Lines = std::vector<std::string>;

/// To a question; nothing to what changes the device.
using Answer = std::optional<Lines>;

/// Something said to the device: it happens when this is called; throws std::invalid_argument.
using Action = std::function<Answer(Simulated&)>;

/// What is done next waits until a client says such a record.
struct Await {
    RecordPattern record;
    std::optional<std::chrono::milliseconds> longest;
    bool sinceStart; ///< one that was said before counts, too

    /// What there is to say when the time is up.
    std::string complaint() const;
};

/// Each event is told from now on.
struct Watch {
    bool inJson;
};

using Command = std::variant<Action, Await, Watch>;

/// From the words of "ztsim ctl", of a line of a script, or of a recorded line, which are the same;
/// throws std::invalid_argument that says what is expected.
Command parseCommand(const std::vector<std::string>& words);

/// The words of a line, in which a word with blanks stands between quotes.
std::vector<std::string> splitCommand(const std::string& line);

/// Whether a command begins with that word.
bool isVerb(const std::string& word);

/// A line for each command.
extern const char* const COMMANDS_HELP;

} // namespace ztsim

#endif
