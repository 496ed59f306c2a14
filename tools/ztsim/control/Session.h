#ifndef ZTSIM_SESSION_H
#define ZTSIM_SESSION_H

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ztsim {

/// The device's end of one connection of "ztsim ctl": the words of one command come, and an answer
/// goes. Words and lines of both have a NUL behind them.
class Session : public std::enable_shared_from_this<Session> {
public:
    using Socket = boost::asio::local::stream_protocol::socket;

    /// What an answer begins with.
    static constexpr char DONE = '0';
    static constexpr char REFUSED = '1';
    static constexpr char TOO_LATE = '3';

    explicit Session(Socket given);

    /// Hands on the words that have come when all have; none if nothing has, for then it has only
    /// been looked whether this is a device.
    void read(const std::function<void(std::vector<std::string>)>& take);

    /// An answer, and the end.
    void end(char outcome, const std::vector<std::string>& lines = {});

    /// An answer that never ends: begins it, and goes on with it. Who does not read it is left.
    void begin();
    void add(const std::string& line);

    /// Does that when the other end is gone, unless the session has ended by then.
    void onLeaving(std::function<void()> leave);

    /// Does that when the time is up, unless the session has ended by then.
    void onTimeout(std::chrono::milliseconds time, std::function<void()> give);

private:
    void write();

    Socket socket;
    boost::asio::steady_timer timer;
    std::string incoming;
    std::string outgoing;
    std::string sending;
    bool ended = false;
};

} // namespace ztsim

#endif
