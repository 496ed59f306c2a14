#ifndef ZTSIM_DEVICE_H
#define ZTSIM_DEVICE_H

#include "Capture.h"
#include "Control.h"
#include "IpcTap.h"
#include "Journal.h"
#include "Network.h"
#include "Options.h"
#include "Script.h"
#include "Simulated.h"
#ifdef ZTSIM_WEB
#include "WebServer.h"
#endif

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include <list>
#include <optional>
#include <sys/signalfd.h>
#include <sys/types.h>

namespace ztsim {

/// The inside of the sandbox: the daemons and COMMAND. Being process 1 of its pid namespace, its
/// end is the end of every process within.
class Device {
public:
    /// The socket to the outside brings the numbers of signals for COMMAND.
    Device(const Options& options, const Inside& inside);

    /// Returns COMMAND's exit code.
    int run();

private:
    void sayReady() const;
    bool start();
    void passSignals();
    void watchLifeline();
    void reapChildren();

    const Options& options;
    boost::asio::io_context context;
    boost::asio::local::stream_protocol::socket outside;
    boost::asio::posix::stream_descriptor childSignals;
    signalfd_siginfo childSignal{};
    boost::asio::posix::stream_descriptor lifeline;
    std::optional<Capture> capture;
    Journal journal;
    Eeprom eeprom;
    Simulated simulated;
    Control control;
    Script script;
    std::optional<Network> network;
    std::list<IpcTap> ipcTaps;
#ifdef ZTSIM_WEB
    std::optional<WebServer> web;
#endif
    pid_t pid = -1;
    unsigned char signal = 0;
    int exitCode = FAILED;
};

/// What the inside says first to the outside. There follows COMMAND's exit code.
constexpr unsigned char BEGUN = 0;

/// Runs COMMAND within the sandbox and tells the outside its exit code.
int runInside(const Options& options);

} // namespace ztsim

#endif
