#ifndef ZTSIM_POWERDAEMON_H
#define ZTSIM_POWERDAEMON_H

#include "Daemon.h"
#include "PowerManager.h"

namespace ztsim {

struct PowerDaemonOptions : DaemonOptions {
    static constexpr FaultKinds FAULTS{Fault::HangUp, Fault::ShortRecord, Fault::UnknownType,
                                       Fault::UnknownDevice, Fault::Silence};

    PowerSettings settings;
};

/// The power-management daemon: serves the device's power management to any number of clients.
class PowerDaemon final : public Daemon {
public:
    PowerDaemon(boost::asio::io_context& context, const PowerDaemonOptions& options);

private:
    void handle(Client& sender, const Bytes& bytes) override;
    Bytes faultyAnswer(Fault fault, const Bytes& record) const override;
    std::string describe(const Bytes& bytes) const override;

    PowerManager manager;
};

} // namespace ztsim

#endif
