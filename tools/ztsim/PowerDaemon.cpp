#include "PowerDaemon.h"

#include "Log.h"

#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

constexpr const char* PATH = "/var/run/ztpmd_api";
constexpr std::size_t SHORT_SIZE = 20;
constexpr std::uint32_t UNKNOWN_TYPE = 99;
constexpr const char* UNKNOWN_DEVICE = "toaster";

} // namespace

PowerDaemon::PowerDaemon(boost::asio::io_context& context, PowerDaemonOptions given)
    : options(std::move(given)), manager(options.settings), acceptor(context), timer(context)
{
    listen();
}

void PowerDaemon::listen()
{
    acceptor.open();
    ::fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
    acceptor.bind(Stream::endpoint(PATH));
    acceptor.listen();
    acceptor.non_blocking(true);
    awaitClients();
}

void PowerDaemon::awaitClients()
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

void PowerDaemon::acceptClients()
{
    boost::system::error_code error;
    PowerClient::Socket socket = acceptor.accept(error);
    while (!error) {
        addClient(std::move(socket));
        socket = acceptor.accept(error);
    }
    if (error != boost::asio::error::would_block && !full) {
        log("power: no more clients for now: " + error.message());
        full = true;
    }
}

void PowerDaemon::addClient(PowerClient::Socket socket)
{
    const auto client = std::make_shared<PowerClient>(
        std::move(socket),
        [this](PowerClient& sender, const PowerRecord& record) { received(sender, record); },
        [this](PowerClient& gone) { removeClient(gone); });
    clients.insert(client);
    client->read();
}

void PowerDaemon::removeClient(PowerClient& client)
{
    client.close();
    clients.erase(client.shared_from_this());
    if (full) {
        awaitClients();
    }
}

void PowerDaemon::received(PowerClient& sender, const PowerRecord& record)
{
    logRecord("<-", record);
    const auto fault = options.faults.find(++records);
    if (fault == options.faults.end()) {
        handle(sender, record);
    } else {
        suffer(fault->second, sender);
    }
}

void PowerDaemon::handle(PowerClient& sender, const PowerRecord& record)
{
    const PowerReply reply = manager.handle(record);
    if (reply.refusal != nullptr) {
        log("power: ignored " + describe(record) + ": " + reply.refusal);
    } else if (reply.to == PowerReply::To::Sender) {
        send(sender, reply.record);
    } else if (reply.to == PowerReply::To::Everybody) {
        sendToAll(reply.record);
    }
}

void PowerDaemon::suffer(Fault fault, PowerClient& sender)
{
    if (options.verbose) {
        log(std::string("power: fault ") + nameOf(fault));
    }
    switch (fault) {
    case Fault::HangUp:
        hangUp();
        break;
    case Fault::ShortRecord:
        sender.sendCut(manager.powerState(), SHORT_SIZE);
        break;
    case Fault::UnknownType:
        send(sender, powerRecord(UNKNOWN_TYPE));
        break;
    case Fault::UnknownDevice:
        send(sender, deviceRecord(ZT::ZTPMD_DEVICE_STATE, UNKNOWN_DEVICE, 1));
        break;
    case Fault::Silence:
        break;
    }
}

void PowerDaemon::hangUp()
{
    ::unlink(PATH);
    acceptor.close();
    for (const auto& client : clients) {
        client->close();
    }
    timer.expires_after(options.away);
    timer.async_wait([this](const auto& error) {
        if (!error) {
            listen();
        }
    });
}

void PowerDaemon::send(PowerClient& client, const PowerRecord& record)
{
    logRecord("->", record);
    client.send(record);
}

void PowerDaemon::sendToAll(const PowerRecord& record)
{
    acceptClients(); // who has connected by now is to hear of it
    for (const auto& client : clients) {
        send(*client, record);
    }
}

void PowerDaemon::logRecord(const char* direction, const PowerRecord& record) const
{
    if (options.verbose) {
        log(std::string("power: ") + direction + ' ' + describe(record));
    }
}

} // namespace ztsim
