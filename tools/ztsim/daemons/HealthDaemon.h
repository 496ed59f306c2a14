#ifndef ZTSIM_HEALTHDAEMON_H
#define ZTSIM_HEALTHDAEMON_H

#include "Daemon.h"
#include "HealthMonitor.h"

namespace ztsim {

struct HealthDaemonOptions : DaemonOptions {
    static constexpr FaultKinds FAULTS{Fault::HangUp, Fault::ShortRecord, Fault::UnknownType,
                                       Fault::Unterminated, Fault::Silence};

    HealthMonitor monitor;
};

/// The health-monitor daemon: answers each request of any number of clients.
class HealthDaemon final : public Daemon {
public:
    HealthDaemon(boost::asio::io_context& context, const HealthDaemonOptions& options,
                 Journal& journal);

    HealthMonitor& values() { return monitor; }

private:
    const char* handle(Client& sender, const Bytes& bytes) override;
    Bytes faultyAnswer(Fault fault, const Bytes& bytes) const override;
    std::string describe(const Bytes& bytes) const override;

    HealthMonitor monitor;
};

} // namespace ztsim

#endif
