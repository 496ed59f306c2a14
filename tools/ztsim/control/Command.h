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

/// Calls it, and tells the journal of what has changed, which has this text.
Answer perform(const Action& action, Simulated& device, Event::By by, const std::string& text);

/// With blanks between them.
std::string joinWords(const std::vector<std::string>& words);

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

/// What a command takes, for who offers it to a user.
struct CommandForm {
    struct Argument {
        std::string name;
        bool isRequired;
        bool isFlag;
        bool takesWords;  ///< any number of them
        std::string hint; ///< what it can be, if that is not any text: "on|off", or a range
    };

    std::string verb;
    std::string help; ///< what COMMANDS_HELP says about it, without the arguments
    std::vector<Argument> arguments;
};

/// Of all commands.
std::vector<CommandForm> commandForms();

} // namespace ztsim

#endif
