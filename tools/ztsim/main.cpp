#include "ControlClient.h"
#include "Device.h"
#include "Log.h"
#include "Options.h"
#include "Sandbox.h"

#include <csignal>
#include <exception>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

/// Lest a descriptor of ours take the place of a closed one of these.
void openStandardStreams()
{
    int fd = STDIN_FILENO;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = ::open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open)
    }
    ::close(fd);
}

} // namespace

int main(int argc, char** argv)
{
    openStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        if (argc > 1 && std::string_view(argv[1]) == "ctl") {
            return ztsim::runControlClient(argc - 1, argv + 1);
        }
        const ztsim::Options options = ztsim::parseOptions(argc, argv);
        return options.inside ? ztsim::runInside(options) : ztsim::runOutside(options, argv + 1);
    } catch (const std::exception& error) {
        ztsim::log(error.what());
        return ztsim::FAILED;
    }
}
