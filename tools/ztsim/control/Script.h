#ifndef ZTSIM_SCRIPT_H
#define ZTSIM_SCRIPT_H

#include "Command.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ztsim {

/// What happens to the device, line by line of a file: "COMMAND", "TIME COMMAND", with a time in
/// seconds since the start, or "+TIME COMMAND", with one since the line before.
class Script {
public:
    /// Time runs at that speed. At speed 0 no line waits for its time, but each behind the time 0
    /// until some client has been there and all clients have read what they were sent.
    ///
    /// If verbose, it logs each line that it performs.
    Script(boost::asio::io_context& context, Simulated& device, double speed, bool verbose);

    /// Throws std::invalid_argument for a line that is wrong.
    void read(const std::string& name, const std::string& text);

    /// Time begins now. Lines of the time 0 are performed at once, the others by the context's
    /// run().
    void start();

private:
    using Clock = std::chrono::steady_clock;

    struct Step {
        Clock::duration time;                 ///< that it has at least, since the start
        std::optional<Clock::duration> pause; ///< since the line before
        std::string text;
        Command command;
    };

    void take(const std::string& line);
    Step stepOf(const std::string& line) const;
    void goOn();
    bool isHeard();
    Clock::time_point dueTime(const Step& step) const;
    void sleepUntil(Clock::time_point time);
    void perform(const Step& step);
    void perform(const Step& step, const Action& action);
    void await(const Step& step, const Await& await);
    void endWait();
    void complain(const Step& step, const std::string& complaint) const;

    boost::asio::io_context& context;
    Simulated& device;
    const double speed;
    const bool verbose;
    boost::asio::steady_timer timer;
    std::vector<Step> steps;
    std::size_t next = 0;
    bool waits = false; ///< for a record
    Clock::time_point beginning;
    Clock::time_point before; ///< when the last line was due, or its wait over
};

} // namespace ztsim

#endif
