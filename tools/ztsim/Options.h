#ifndef ZTSIM_OPTIONS_H
#define ZTSIM_OPTIONS_H

#include "Eeprom.h"
#include "HealthDaemon.h"
#include "PowerDaemon.h"
#include "Way.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ztsim {

/// The exit code of ztsim's own failures.
constexpr int FAILED = 125;

/// The descriptors that the process within the device gets.
struct Inside {
    int outside; ///< its channel to the outside
    int errors;  ///< the stderr that it is to have
    int control; ///< where it listens for "ztsim ctl"
    int script;  ///< the open files of --script and --record, or -1
    int record;
    int log;     ///< the open file of --log, or -1
    int capture; ///< the open file of --capture, or -1
    int web;     ///< where it listens for browsers, or -1
    Way way;
    std::string root; ///< the folder of the device's files without namespaces, or empty
};

struct Options {
    /// Unless they are not to run.
    std::optional<PowerDaemonOptions> power;
    std::optional<HealthDaemonOptions> health;

    Eeprom::State eeprom = Eeprom::State::Open;
    bool noNetwork = false;
    std::optional<Way> way; ///< unless ztsim is to choose
    std::string name;       ///< of the device, for "ztsim ctl"; may be empty
    int lifeline = -1;      ///< its end is the end of the device
    int readyFile = -1;     ///< where to say that the daemons listen
    double speed = 1;       ///< of the script
    std::uint32_t seed = 1; ///< of the faults that chance picks
    bool verbose = false;
    std::vector<std::string> fields; ///< of the health monitor, NAME=VALUE, from a file
    std::string script;              ///< the name of its file
    int scriptFile = -1;             ///< both are open in the outside
    int recordFile = -1;
    int logFile = -1;
    bool logTime = false;
    int captureFile = -1;
    std::vector<std::string> captureIpc; ///< the paths of servers
    int webSocket = -1;                  ///< of --web, on 127.0.0.1 of the outside
    char** command = nullptr;            ///< ends with a null
    bool isShell = false;                ///< no command was given

    std::optional<Inside> inside; ///< set in the process within the device
};

/// Ends the process for --help, --version and usage errors.
Options parseOptions(int argc, char** argv);

} // namespace ztsim

#endif
