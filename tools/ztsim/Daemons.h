#ifndef ZTSIM_DAEMONS_H
#define ZTSIM_DAEMONS_H

#include "HealthDaemon.h"
#include "PowerDaemon.h"

#include <optional>

namespace ztsim {

/// Those that run on the device.
struct Daemons {
    std::optional<PowerDaemon> power;
    std::optional<HealthDaemon> health;
};

} // namespace ztsim

#endif
