#ifndef ZTSIM_OPTIONS_H
#define ZTSIM_OPTIONS_H

#include "Eeprom.h"
#include "HealthDaemon.h"
#include "PowerDaemon.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ztsim {

/// The exit code of ztsim's own failures.
constexpr int FAILED = 125;

struct Options {
    /// Unless they are not to run.
    std::optional<PowerDaemonOptions> power;
    std::optional<HealthDaemonOptions> health;

    Eeprom::State eeprom = Eeprom::State::Open;
    bool noNetwork = false;
    std::vector<std::string> fields; ///< of the health monitor, NAME=VALUE, from a file
    char** command = nullptr;        ///< ends with a null

    /// Set in the process that runs within the device: its channel to the outside, and the stderr
    /// it is to have.
    std::optional<std::pair<int, int>> inside;
};

/// Ends the process for --help, --version and usage errors.
Options parseOptions(int argc, char** argv);

} // namespace ztsim

#endif
