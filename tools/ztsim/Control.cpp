#include "Control.h"

#include "Command.h"
#include "ControlSocket.h"
#include "LocalSocket.h"
#include "Log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <chrono>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ztsim {
namespace {

constexpr std::size_t LONGEST_COMMAND = 4096;
constexpr std::chrono::milliseconds PAUSE{100};

std::vector<std::string> split(const std::string& text)
{
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, '\0');) {
        words.push_back(word);
    }
    return words;
}

/// One connection.
struct Session {
    explicit Session(boost::asio::local::stream_protocol::socket client) : client(std::move(client))
    {}

    boost::asio::local::stream_protocol::socket client;
    std::string text;
};

} // namespace

Control::Control(boost::asio::io_context& context, Daemons& daemons, bool verbose)
    : context(context), daemons(daemons), verbose(verbose)
{}

void Control::listenOn(int socket)
{
    listeners.push_back(
        {Stream::acceptor(context, Stream(), socket), boost::asio::steady_timer(context)});
    accept(listeners.back());
}

void Control::accept(Listener& listener)
{
    listener.acceptor.async_wait(Stream::acceptor::wait_read, [this, &listener](const auto&) {
        const int client = acceptFrom(listener.acceptor.native_handle());
        if (client >= 0) {
            serve(Stream::socket(context, Stream(), client));
            accept(listener);
            return;
        }
        listener.pause.expires_after(PAUSE);
        listener.pause.async_wait([this, &listener](const auto&) { accept(listener); });
    });
}

void Control::serve(Stream::socket client)
{
    if (!isOfThisUser(client.native_handle())) {
        return;
    }
    const auto session = std::make_shared<Session>(std::move(client));
    boost::asio::async_read(
        session->client, boost::asio::dynamic_buffer(session->text, LONGEST_COMMAND),
        [this, session](const auto& /*the end*/, std::size_t size) {
            if (size == 0) { // it has only looked whether this is a device
                return;
            }
            session->text = perform(session->text);
            boost::asio::async_write(session->client, boost::asio::buffer(session->text),
                                     [session](const auto&, std::size_t) {});
        });
}

std::string Control::perform(const std::string& request)
{
    const std::vector<std::string> words = split(request);
    if (verbose) {
        std::string line = "ctl:";
        for (const std::string& word : words) {
            line += ' ' + word;
        }
        log(line);
    }
    try {
        return DONE + parseCommand(words)(daemons);
    } catch (const std::invalid_argument& error) {
        return REFUSED + std::string(error.what());
    }
}

} // namespace ztsim
