#include "PowerDaemon.h"

#include "DevicePaths.h"

#include <stdexcept>

namespace ztsim {
namespace {

constexpr std::size_t SHORT_POWER_SIZE = 20;
constexpr std::uint32_t UNKNOWN_POWER_TYPE = 99;
constexpr const char* UNKNOWN_DEVICE = "toaster";

} // namespace

PowerDaemon::PowerDaemon(boost::asio::io_context& context, const PowerDaemonOptions& options,
                         Journal& journal)
    : Daemon(context, {"power", POWER_SOCKET, sizeof(PowerRecord)}, options, journal),
      manager(options.settings)
{}

std::optional<std::vector<std::string>> PowerDaemon::perform(const PowerRecord& request)
{
    const PowerReply reply = manager.handle(request);
    if (reply.refusal != nullptr) {
        throw std::invalid_argument(reply.refusal);
    }
    if (reply.to == PowerReply::To::Sender) {
        return {{reportedNumber(reply.record)}};
    }
    sendToAll(bytesOf(reply.record));
    return std::nullopt;
}

void PowerDaemon::enterState(std::uint32_t state)
{
    if (state != PowerSettings::UNREPORTED_STATE) {
        sendToAll(bytesOf(manager.enterState(state).record));
    }
}

const char* PowerDaemon::handle(Client& sender, const Bytes& bytes)
{
    const PowerReply reply = manager.handle(recordOf<PowerRecord>(bytes));
    if (reply.to == PowerReply::To::Sender) {
        send(sender, bytesOf(reply.record));
    } else if (reply.to == PowerReply::To::Everybody) {
        sendToAll(bytesOf(reply.record));
    }
    return reply.refusal;
}

Bytes PowerDaemon::faultyAnswer(Fault fault, const Bytes& /*record*/) const
{
    switch (fault) {
    case Fault::ShortRecord:
        return bytesOf(manager.powerState()).substr(0, SHORT_POWER_SIZE);
    case Fault::UnknownDevice:
        return bytesOf(deviceRecord(ZT::ZTPMD_DEVICE_STATE, UNKNOWN_DEVICE, 1));
    default:
        return bytesOf(powerRecord(UNKNOWN_POWER_TYPE));
    }
}

std::string PowerDaemon::describe(const Bytes& bytes) const
{
    return ztsim::describe(recordOf<PowerRecord>(bytes));
}

} // namespace ztsim
