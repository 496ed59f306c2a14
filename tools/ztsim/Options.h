#ifndef ZTSIM_OPTIONS_H
#define ZTSIM_OPTIONS_H

#include "PowerDaemon.h"

#include <optional>
#include <utility>

namespace ztsim {

/// The exit code of ztsim's own failures.
constexpr int FAILED = 125;

struct Options {
    std::optional<PowerDaemonOptions> power = PowerDaemonOptions{}; ///< unless it is not to run
    char** command = nullptr;                                       ///< ends with a null

    /// Set in the process that runs within the device: its channel to the outside, and the stderr
    /// it is to have.
    std::optional<std::pair<int, int>> inside;
};

/// Ends the process for --help, --version and usage errors.
Options parseOptions(int argc, char** argv);

} // namespace ztsim

#endif
