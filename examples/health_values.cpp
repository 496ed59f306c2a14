// Shows a value that the health-monitor daemon keeps, and sets it to the argument if there is one.

#include "zt/ZTHealthManagement.h"
#include "zt/ZTSignalHandler.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

const int UNREACHABLE = 14;

// Whether the daemon answered. It answers both to a question and to a new value, with what it
// keeps.
bool exchange(ZT::ZTHealthManagementCommand command, std::uint32_t& value)
{
    const int result = ZT::ZTHealthManagement::sendMessage(command, &value, true);
    if (result != 0) {
        std::puts(result == UNREACHABLE ? "cannot reach the health-monitor daemon" : "no answer");
    }
    return result == 0;
}

} // namespace

int main(int argc, char** argv)
{
    // A daemon that hangs up must not end us.
    ZT::ZTSignalHandler::installEmptySignalHandler(SIGPIPE);

    std::uint32_t value = 0;
    if (!exchange(ZT::COMMAND_32, value)) {
        return 1;
    }
    std::printf("it was %u\n", value);
    if (argc > 1) {
        value = static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10));
        if (!exchange(ZT::COMMAND_33, value)) {
            return 1;
        }
        std::printf("it is now %u\n", value);
    }
}
