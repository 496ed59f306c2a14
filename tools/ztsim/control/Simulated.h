#ifndef ZTSIM_SIMULATED_H
#define ZTSIM_SIMULATED_H

#include "Eeprom.h"
#include "HealthDaemon.h"
#include "Journal.h"
#include "PowerDaemon.h"

#include <optional>
#include <string>

namespace ztsim {

/// What is on the device, and what commands are about.
struct Simulated {
    std::string name; ///< may be empty
    Journal& journal;
    Eeprom& eeprom;
    bool hasNetwork;
    std::optional<PowerDaemon> power; ///< unless they do not run
    std::optional<HealthDaemon> health;
};

} // namespace ztsim

#endif
