#include "Session.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <sstream>
#include <utility>

namespace ztsim {
namespace {

constexpr std::size_t LONGEST_COMMAND = 4096;
constexpr std::size_t MOST_UNREAD = 1 << 20;

std::vector<std::string> splitRequest(const std::string& text)
{
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, '\0');) {
        words.push_back(word);
    }
    return words;
}

} // namespace

Session::Session(Socket given) : socket(std::move(given)), timer(socket.get_executor()) {}

void Session::read(const std::function<void(std::vector<std::string>)>& take)
{
    boost::asio::async_read(
        socket, boost::asio::dynamic_buffer(incoming, LONGEST_COMMAND),
        [self = shared_from_this(), take](const auto& /*the end*/, std::size_t size) {
            if (size > 0) {
                take(splitRequest(self->incoming));
            }
        });
}

void Session::end(char outcome, const std::vector<std::string>& lines)
{
    ended = true;
    timer.cancel();
    outgoing += outcome;
    for (const std::string& line : lines) {
        outgoing += line + '\0';
    }
    write();
}

void Session::begin()
{
    outgoing += DONE;
    write();
}

void Session::add(const std::string& line)
{
    if (outgoing.size() > MOST_UNREAD) {
        boost::system::error_code ignored;
        socket.close(ignored);
        return;
    }
    outgoing += line + '\0';
    if (sending.empty()) {
        write();
    }
}

void Session::onLeaving(std::function<void()> leave)
{
    socket.async_wait(Socket::wait_error,
                      [self = shared_from_this(), leave = std::move(leave)](const auto&) {
                          if (!self->ended) {
                              self->ended = true;
                              self->timer.cancel();
                              leave();
                          }
                      });
}

void Session::onTimeout(std::chrono::milliseconds time, std::function<void()> give)
{
    timer.expires_after(time);
    timer.async_wait([self = shared_from_this(), give = std::move(give)](const auto&) {
        if (!self->ended) {
            give();
        }
    });
}

void Session::write()
{
    sending.swap(outgoing);
    boost::asio::async_write(socket, boost::asio::buffer(sending),
                             [self = shared_from_this()](const auto& error, std::size_t) {
                                 self->sending.clear();
                                 if (!error && !self->outgoing.empty()) {
                                     self->write();
                                 } else if (self->ended) { // the wait for its leaving, too
                                     boost::system::error_code ignored;
                                     self->socket.close(ignored);
                                 }
                             });
}

} // namespace ztsim
