#ifndef ZTSIM_JOURNAL_H
#define ZTSIM_JOURNAL_H

#include "RecordPattern.h"
#include "Recorder.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ztsim {

/// Something that has happened on the device.
struct Event {
    enum class By { Client, Ctl, Script, Device };

    double time; ///< in seconds since the start
    By by;
    std::string text;   ///< of a client or a command as a line of a script has it
    std::string mishap; ///< why it was not done, or empty
};

/// What happens on the device, for whoever wants to hear of it, and what the clients have said.
class Journal {
public:
    /// So many of the last records are kept.
    static constexpr std::size_t MOST_RECORDS = 100000;

    /// Is told of each event, and returns whether it is to be told of the next one. It changes
    /// nothing on the device itself.
    using Listener = std::function<bool(const Event&)>;

    /// What the clients say is written into the file, too; -1 is none. It becomes the journal's.
    explicit Journal(int file);

    /// A client has said that. What was not done, for that reason, has a mishap.
    void addRecord(const std::string& text, const char* mishap);

    /// Something else has happened.
    void addChange(Event::By by, const std::string& text);

    std::vector<std::string> records(const RecordPattern& wanted) const;

    std::uint64_t listen(Listener listener);

    /// Does nothing if it listens no more.
    void forget(std::uint64_t listener);

private:
    void tell(const Event& event);
    double now() const;

    const std::chrono::steady_clock::time_point start;
    Recorder recorder;
    std::deque<std::string> said;
    std::map<std::uint64_t, Listener> listeners;
    std::uint64_t lastListener = 0;
};

} // namespace ztsim

#endif
