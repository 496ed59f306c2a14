#include "Control.h"

#include "ControlSocket.h"
#include "LocalSocket.h"
#include "Log.h"
#include "State.h"

#include <chrono>
#include <stdexcept>
#include <utility>
#include <variant>

namespace ztsim {
namespace {

constexpr std::chrono::milliseconds PAUSE{100};

/// Takes the version from the front of the words.
void checkVersion(std::vector<std::string>& words)
{
    if (words.front() != Control::VERSION) {
        throw std::invalid_argument(std::string("this device speaks version ") + Control::VERSION +
                                    " of the protocol, and not \"" + words.front() + '"');
    }
    words.erase(words.begin());
}

} // namespace

Control::Control(boost::asio::io_context& context, Simulated& device, bool verbose)
    : context(context), device(device), verbose(verbose)
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
    session->read([this, &session = *session](std::vector<std::string> words) {
        perform(session.shared_from_this(), std::move(words));
    });
}

void Control::perform(const std::shared_ptr<Session>& session, std::vector<std::string> words)
{
    try {
        checkVersion(words);
        const std::string text = joinWords(words);
        if (verbose) {
            trace("ctl: " + text);
        }
        const Command command = parseCommand(words);
        if (const auto* const action = std::get_if<Action>(&command)) {
            act(session, *action, text);
        } else if (const auto* const wanted = std::get_if<Await>(&command)) {
            await(session, *wanted);
        } else {
            watch(session, std::get<Watch>(command));
        }
    } catch (const std::invalid_argument& error) {
        session->end(Session::REFUSED, {error.what()});
    }
}

void Control::act(const std::shared_ptr<Session>& session, const Action& action,
                  const std::string& text)
{
    const Answer answer = ztsim::perform(action, device, Event::By::Ctl, text);
    session->end(Session::DONE, answer.value_or(Lines()));
}

void Control::await(const std::shared_ptr<Session>& session, const Await& wanted)
{
    Journal& journal = device.journal;
    if (wanted.sinceStart && !journal.records(wanted.record).empty()) {
        session->end(Session::DONE);
        return;
    }
    const auto listener = journal.listen([session, record = wanted.record](const Event& event) {
        if (event.by != Event::By::Client || !record.matches(event.text)) {
            return true;
        }
        session->end(Session::DONE);
        return false;
    });
    session->onLeaving([&journal, listener] { journal.forget(listener); });
    if (wanted.longest) {
        session->onTimeout(*wanted.longest,
                           [&journal, listener, session, complaint = wanted.complaint()] {
                               journal.forget(listener);
                               session->end(Session::TOO_LATE, {complaint});
                           });
    }
}

void Control::watch(const std::shared_ptr<Session>& session, const Watch& wanted)
{
    Journal& journal = device.journal;
    session->begin();
    const auto listener = journal.listen([session, inJson = wanted.inJson](const Event& event) {
        session->add(inJson ? toJson(toObject(event)) : toLine(event));
        return true;
    });
    session->onLeaving([&journal, listener] { journal.forget(listener); });
}

} // namespace ztsim
