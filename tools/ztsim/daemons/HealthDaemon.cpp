#include "HealthDaemon.h"

#include "DevicePaths.h"

#include <cstring>

namespace ztsim {
namespace {

constexpr std::size_t SHORT_HEALTH_SIZE = 6; // ends amid the payload
constexpr std::uint32_t UNKNOWN_HEALTH_TYPE = 99;

} // namespace

HealthDaemon::HealthDaemon(boost::asio::io_context& context, const HealthDaemonOptions& options,
                           Journal& journal)
    : Daemon(context, {"health", HEALTH_SOCKET, sizeof(HealthRecord)}, options, journal),
      monitor(options.monitor)
{}

const char* HealthDaemon::handle(Client& sender, const Bytes& bytes)
{
    const auto answer = monitor.handle(recordOf<HealthRecord>(bytes));
    if (!answer) {
        return "no request has this type";
    }
    send(sender, bytesOf(*answer));
    return nullptr;
}

Bytes HealthDaemon::faultyAnswer(Fault fault, const Bytes& bytes) const
{
    const auto request = recordOf<HealthRecord>(bytes);
    HealthRecord answer = HealthMonitor(monitor).handle(request).value_or(request);
    switch (fault) {
    case Fault::ShortRecord:
        return bytesOf(answer).substr(0, SHORT_HEALTH_SIZE);
    case Fault::Unterminated:
        std::memset(answer.text, 'x', sizeof answer.text);
        break;
    default:
        answer.type = UNKNOWN_HEALTH_TYPE;
    }
    return bytesOf(answer);
}

std::string HealthDaemon::describe(const Bytes& bytes) const
{
    return ztsim::describe(recordOf<HealthRecord>(bytes));
}

} // namespace ztsim
