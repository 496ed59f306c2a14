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
    PowerDaemon(boost::asio::io_context& context, const PowerDaemonOptions& options,
                Journal& journal);

    const PowerSettings& values() const { return manager.values(); }

    /// As if a client had sent it: the others are told, and the number that it would get is
    /// returned, if any. Throws std::invalid_argument for a request that is ignored.
    std::optional<std::vector<std::string>> perform(const PowerRecord& request);

    /// Changes by itself, also into a state that no client can ask for, and tells all clients;
    /// state 6 changes nothing.
    void enterState(std::uint32_t state);

private:
    const char* handle(Client& sender, const Bytes& bytes) override;
    Bytes faultyAnswer(Fault fault, const Bytes& record) const override;
    std::string describe(const Bytes& bytes) const override;

    PowerManager manager;
};

} // namespace ztsim

#endif
