#ifndef ZTSIM_DEVICE_H
#define ZTSIM_DEVICE_H

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ztsim {

/// Something could not be done; the text says what, and what to do about it.
class Error : public std::runtime_error {
public:
    /// With that text.
    explicit Error(const std::string& text) : std::runtime_error(text) {}
};

/// The program has not said in time what was waited for.
class NotSaid : public Error {
public:
    /// With that text.
    explicit NotSaid(const std::string& text) : Error(text) {}
};

/// A simulated device, as "ztsim ctl" sees it: its words and the meaning of them are in the manual
/// page of ztsim. A `daemon` is "power" or "health", or both if it is empty. All throw Error.
///
/// An object may be used by several threads, but not be moved or ended meanwhile.
class Device {
public:
    /// The device that this process is on, or else the only one that this user runs.
    Device();

    /// The one of that name.
    explicit Device(const std::string& name);

    /// Runs a command on a device of its own, by the ztsim that the environment variable ZTSIM
    /// names, or else by that on the PATH, with such options. Its daemons listen by the time this
    /// returns, and it ends with the object, or with this process.
    static Device start(const std::vector<std::string>& command,
                        const std::vector<std::string>& options = {});

    /// Takes over the device, and what is to end with it.
    Device(Device&& other) noexcept;

    /// The same.
    Device& operator=(Device&& other) noexcept;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Like end().
    ~Device();

    /// Waits for the end of the command, and returns the exit code as ztsim hands it over.
    int wait();

    /// Kills all on a device that start() has made; does nothing to another.
    void end() noexcept;

    /// The power state.
    unsigned int powerState() const;

    /// Changes it, and clients hear of that.
    void powerState(unsigned int state);

    /// The time-out of a power state.
    unsigned int timeout(unsigned int state) const;

    /// Changes it, and clients hear of that.
    void timeout(unsigned int state, unsigned int value);

    /// The propagation time of power state 2.
    unsigned int propagationTime() const;

    /// Changes it, and clients hear of that.
    void propagationTime(unsigned int time);

    /// The state of a device in low power.
    int deviceState(const std::string& name) const;

    /// Changes it, and clients hear of that.
    void deviceState(const std::string& name, int state);

    /// A health field, as a text.
    std::string healthField(const std::string& name) const;

    /// Changes it; no client is told.
    void healthField(const std::string& name, const std::string& value);

    /// The daemon closes all connections and stays away for a time.
    void hangUp(const std::string& daemon = "");

    /// A fault such as "silence", for the next record, "hang-up@timeout" or "unknown-type@10%", or
    /// "none" any more.
    void powerFault(const std::string& fault);

    /// The same for the health-monitor daemon.
    void healthFault(const std::string& fault);

    /// From now on each record is handled so much later.
    void slow(std::chrono::milliseconds delay, const std::string& daemon = "");

    /// Clients are accepted, and nothing they say is handled, until it is deaf no more.
    void deaf(bool isDeaf, const std::string& daemon = "");

    /// Returns when the program has said that, be it before this call; throws NotSaid if it has not
    /// by then.
    void awaitRecord(const std::string& record,
                     std::chrono::milliseconds longest = std::chrono::seconds(10)) const;

    /// The same, but what was said before this call does not count.
    void awaitNextRecord(const std::string& record,
                         std::chrono::milliseconds longest = std::chrono::seconds(10)) const;

    /// What the program has said, as far as it begins with these words.
    std::vector<std::string> records(const std::string& record = "any") const;

    /// How many these are.
    std::size_t countRecords(const std::string& record = "any") const;

    /// All that there is, in JSON.
    std::string show() const;

    /// Any command, and the lines that answer it.
    std::vector<std::string> say(const std::vector<std::string>& words) const;

private:
    struct Nothing {};
    explicit Device(Nothing /*none*/) noexcept {}

    std::string address; ///< empty for a device that ended at once
    pid_t pid = -1;      ///< of the ztsim, as far as this object is to end it
    int lifeline = -1;
};

} // namespace ztsim

#endif
