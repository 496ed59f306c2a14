#ifndef ZTSIM_JOURNAL_H
#define ZTSIM_JOURNAL_H

#include "Bytes.h"
#include "RecordPattern.h"
#include "Recorder.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <utility>
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

/// What passes between a daemon and one of its clients.
struct Transfer {
    enum class What { Came, Left, Received, Sent, Fault, Ignored };

    double time = 0; ///< in seconds since the start
    What what;
    const char* daemon;
    std::uint64_t client; ///< counted from 1 by each daemon
    pid_t process;        ///< of the client
    Bytes bytes;          ///< of a record that was received or sent
    std::string text;     ///< what it says, or what is wrong with the one received before
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

    /// While there is one, transfers wait to be told: what a command sends is told behind it.
    class Hold {
    public:
        explicit Hold(Journal& journal);
        ~Hold();

        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        Journal& journal;
    };

    /// Whether somebody wants to hear of transfers.
    bool isTapped() const { return !taps.empty(); }

    /// It has happened now.
    void addTransfer(Transfer transfer);

    /// Is told of each transfer from now on.
    void tap(std::function<void(const Transfer&)> listener) { taps.push_back(std::move(listener)); }

    std::vector<std::string> records(const RecordPattern& wanted) const;

    std::uint64_t listen(Listener listener);

    /// Does nothing if it listens no more.
    void forget(std::uint64_t listener);

private:
    void tell(const Event& event);
    void tell(const Transfer& transfer);
    double now() const;

    const std::chrono::steady_clock::time_point start;
    Recorder recorder;
    std::deque<std::string> said;
    bool isHeld = false;
    std::vector<Transfer> held;
    std::map<std::uint64_t, Listener> listeners;
    std::vector<std::function<void(const Transfer&)>> taps;
    std::uint64_t lastListener = 0;
};

} // namespace ztsim

#endif
