#include "HealthDaemon.h"

#include <cstring>

namespace ztsim {
namespace {

constexpr const char* PATH = "/var/run/zthmd_api";
constexpr std::size_t SHORT_SIZE = 6; // ends amid the payload
constexpr std::uint32_t UNKNOWN_TYPE = 99;

} // namespace

HealthDaemon::HealthDaemon(boost::asio::io_context& context, const HealthDaemonOptions& options)
    : Daemon(context, {"health", PATH, sizeof(HealthRecord)}, options), monitor(options.monitor)
{}

void HealthDaemon::handle(Client& sender, const Bytes& bytes)
{
    if (const auto answer = monitor.handle(recordOf<HealthRecord>(bytes))) {
        send(sender, bytesOf(*answer));
    } else {
        ignore(bytes, "no request has this type");
    }
}

Bytes HealthDaemon::faultyAnswer(Fault fault, const Bytes& bytes) const
{
    const auto request = recordOf<HealthRecord>(bytes);
    HealthRecord answer = HealthMonitor(monitor).handle(request).value_or(request);
    switch (fault) {
    case Fault::ShortRecord:
        return bytesOf(answer).substr(0, SHORT_SIZE);
    case Fault::Unterminated:
        std::memset(answer.text, 'x', sizeof answer.text);
        break;
    default:
        answer.type = UNKNOWN_TYPE;
    }
    return bytesOf(answer);
}

std::string HealthDaemon::describe(const Bytes& bytes) const
{
    return ztsim::describe(recordOf<HealthRecord>(bytes));
}

} // namespace ztsim
