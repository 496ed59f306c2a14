#include "PowerDaemon.h"

#include "Log.h"

#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace ztsim {
namespace {

using Stream = boost::asio::local::stream_protocol;

constexpr const char* kPath = "/var/run/ztpmd_api";
constexpr std::size_t kShortSize = 20;
constexpr std::uint32_t kUnknownType = 99;
constexpr const char* kUnknownDevice = "toaster";

} // namespace

PowerDaemon::PowerDaemon(boost::asio::io_context& context, PowerDaemonOptions options)
    : options_(std::move(options)), manager_(options_.settings), acceptor_(context), timer_(context)
{
    listen();
}

void PowerDaemon::listen()
{
    acceptor_.open();
    ::fcntl(acceptor_.native_handle(), F_SETFD, FD_CLOEXEC);
    acceptor_.bind(Stream::endpoint(kPath));
    acceptor_.listen();
    acceptor_.non_blocking(true);
    awaitClients();
}

void PowerDaemon::awaitClients()
{
    full_ = false;
    acceptor_.async_wait(Stream::acceptor::wait_read, [this](const auto& error) {
        if (error) {
            return;
        }
        acceptClients();
        if (!full_) {
            awaitClients();
        }
    });
}

void PowerDaemon::acceptClients()
{
    boost::system::error_code error;
    PowerClient::Socket socket = acceptor_.accept(error);
    while (!error) {
        addClient(std::move(socket));
        socket = acceptor_.accept(error);
    }
    if (error != boost::asio::error::would_block && !full_) {
        log("power: no more clients for now: " + error.message());
        full_ = true;
    }
}

void PowerDaemon::addClient(PowerClient::Socket socket)
{
    const auto client = std::make_shared<PowerClient>(
        std::move(socket),
        [this](PowerClient& sender, const PowerRecord& record) { received(sender, record); },
        [this](PowerClient& gone) { removeClient(gone); });
    clients_.insert(client);
    client->read();
}

void PowerDaemon::removeClient(PowerClient& client)
{
    client.close();
    clients_.erase(client.shared_from_this());
    if (full_) {
        awaitClients();
    }
}

void PowerDaemon::received(PowerClient& sender, const PowerRecord& record)
{
    logRecord("<-", record);
    const auto fault = options_.faults.find(++records_);
    if (fault == options_.faults.end()) {
        handle(sender, record);
    } else {
        suffer(fault->second, sender);
    }
}

void PowerDaemon::handle(PowerClient& sender, const PowerRecord& record)
{
    const PowerReply reply = manager_.handle(record);
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
    if (options_.verbose) {
        log(std::string("power: fault ") + nameOf(fault));
    }
    switch (fault) {
    case Fault::HangUp:
        hangUp();
        break;
    case Fault::ShortRecord:
        sender.sendCut(manager_.powerState(), kShortSize);
        break;
    case Fault::UnknownType:
        send(sender, powerRecord(kUnknownType));
        break;
    case Fault::UnknownDevice:
        send(sender, deviceRecord(ZT::ZTPMD_DEVICE_STATE, kUnknownDevice, 1));
        break;
    case Fault::Silence:
        break;
    }
}

void PowerDaemon::hangUp()
{
    ::unlink(kPath);
    acceptor_.close();
    for (const auto& client : clients_) {
        client->close();
    }
    timer_.expires_after(options_.away);
    timer_.async_wait([this](const auto& error) {
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
    for (const auto& client : clients_) {
        send(*client, record);
    }
}

void PowerDaemon::logRecord(const char* direction, const PowerRecord& record) const
{
    if (options_.verbose) {
        log(std::string("power: ") + direction + ' ' + describe(record));
    }
}

} // namespace ztsim
