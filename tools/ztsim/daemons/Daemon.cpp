#include "Daemon.h"

#include "LocalSocket.h"
#include "Log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <unistd.h>
#include <utility>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

} // namespace

Daemon::Daemon(boost::asio::io_context& context, const Protocol& protocol, DaemonOptions given,
               Journal& journal)
    : protocol(protocol), options(std::move(given)), journal(journal), acceptor(context),
      timer(context)
{
    listen();
}

void Daemon::listen()
{
    acceptor.assign(Stream(), listenAt(options.root + protocol.path));
    awaitClients();
}

void Daemon::awaitClients()
{
    full = false;
    acceptor.async_wait(Stream::acceptor::wait_read, [this](const auto& error) {
        if (error) {
            return;
        }
        acceptClients();
        if (!full) {
            awaitClients();
        }
    });
}

void Daemon::acceptClients()
{
    if (!acceptor.is_open()) { // it has hung up
        return;
    }
    int client = acceptFrom(acceptor.native_handle());
    while (client >= 0) {
        addClient(Client::Socket(acceptor.get_executor(), Stream(), client));
        client = acceptFrom(acceptor.native_handle());
    }
    if (errno != EAGAIN && !full) {
        say(std::string("no more clients for now: ") + std::strerror(errno));
        full = true;
    }
}

void Daemon::addClient(Client::Socket socket)
{
    const auto client = std::make_shared<Client>(
        std::move(socket), ++lastClient, protocol.recordSize,
        Client::Callbacks{
            [this] { return deaf ? std::nullopt : std::optional(delay); },
            [this](Client& sender, const Bytes& record) { received(sender, record); },
            [this](Client&) { say("dropped a client that does not read"); },
            [this](Client& gone) { removeClient(gone); },
        });
    clients.insert(client);
    served = true;
    tell(Transfer::What::Came, *client, "");
    if (!deaf) {
        client->read();
    }
}

void Daemon::removeClient(Client& client)
{
    client.close();
    if (clients.erase(client.shared_from_this()) != 0) {
        tell(Transfer::What::Left, client, "");
    }
    if (full) {
        awaitClients();
    }
}

void Daemon::received(Client& sender, const Bytes& record)
{
    const std::string text = describe(record);
    sayIfVerbose("<- " + text);
    tell(Transfer::What::Received, sender, text, record);
    if (const auto fault = options.faults.at(++records, text)) {
        suffer(*fault, sender, record);
        journal.addRecord(text, nameOf(*fault));
        return;
    }
    const char* const refusal = handle(sender, record);
    journal.addRecord(text, refusal);
    if (refusal != nullptr) {
        tell(Transfer::What::Ignored, sender, refusal);
        say("ignored " + describe(record) + ": " + refusal);
    }
}

void Daemon::suffer(Fault fault, Client& sender, const Bytes& record)
{
    sayIfVerbose(std::string("fault ") + nameOf(fault));
    tell(Transfer::What::Fault, sender, nameOf(fault));
    switch (fault) {
    case Fault::HangUp:
        hangUp();
        break;
    case Fault::Silence:
        break;
    case Fault::ShortRecord: {
        const Bytes part = faultyAnswer(fault, record);
        tell(Transfer::What::Sent, sender,
             "the first " + std::to_string(part.size()) + " bytes of a record", part);
        sender.sendLast(part);
        break;
    }
    default:
        send(sender, faultyAnswer(fault, record));
    }
}

void Daemon::slowDown(std::chrono::milliseconds wanted)
{
    delay = wanted;
}

void Daemon::setDeaf(bool wanted)
{
    deaf = wanted;
    if (!deaf) {
        for (const auto& client : std::set<std::shared_ptr<Client>>(clients)) {
            client->resume();
        }
    }
}

bool Daemon::isRead()
{
    return std::all_of(clients.begin(), clients.end(),
                       [](const auto& client) { return client->hasReadAll(); });
}

Daemon::Status Daemon::status() const
{
    return {clients.size(), records, !acceptor.is_open(), deaf, delay, options.faults.texts()};
}

void Daemon::hangUp()
{
    if (!acceptor.is_open()) {
        return;
    }
    ::unlink((options.root + protocol.path).c_str());
    acceptor.close();
    for (const auto& client : clients) {
        client->close();
        tell(Transfer::What::Left, *client, "hang-up");
    }
    clients.clear();
    timer.expires_after(options.away);
    timer.async_wait([this](const auto& error) {
        if (!error) {
            listen();
        }
    });
}

void Daemon::send(Client& client, const Bytes& record)
{
    const std::string text = describe(record);
    sayIfVerbose("-> " + text);
    tell(Transfer::What::Sent, client, text, record);
    client.send(record);
}

void Daemon::sendToAll(const Bytes& record)
{
    acceptClients(); // who has connected by now is to hear of it
    for (const auto& client : clients) {
        send(*client, record);
    }
}

void Daemon::tell(Transfer::What what, const Client& client, const std::string& text,
                  const Bytes& bytes)
{
    if (journal.isTapped()) {
        journal.addTransfer(
            {0, what, protocol.name, client.number(), client.process(), bytes, text});
    }
}

void Daemon::say(const std::string& line) const
{
    log(std::string(protocol.name) + ": " + line);
}

void Daemon::sayIfVerbose(const std::string& line) const
{
    if (options.verbose) {
        trace(std::string(protocol.name) + ": " + line);
    }
}

} // namespace ztsim
