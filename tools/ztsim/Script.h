#ifndef ZTSIM_SCRIPT_H
#define ZTSIM_SCRIPT_H

#include "Command.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <string>
#include <vector>

namespace ztsim {

/// What happens to the device at which time: in each line of a file "TIME COMMAND", with a time in
/// seconds since the start, or "+TIME COMMAND", with one since the line before.
class Script {
public:
    /// If verbose, it logs each line that it performs.
    Script(boost::asio::io_context& context, Daemons& daemons, bool verbose);

    /// Throws std::invalid_argument for a line that is wrong.
    void read(const std::string& name, const std::string& text);

    /// Time begins now. Lines of the time 0 are performed at once, the others by the context's
    /// run().
    void start();

private:
    using Clock = std::chrono::steady_clock;

    struct Step {
        Clock::duration time;
        std::string text;
        Command command;
    };

    void take(const std::string& line);
    void performDue();
    void perform(const Step& step);

    Daemons& daemons;
    const bool verbose;
    boost::asio::steady_timer timer;
    std::vector<Step> steps;
    std::size_t next = 0;
    Clock::time_point beginning;
};

} // namespace ztsim

#endif
