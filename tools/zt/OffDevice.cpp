#include "OffDevice.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace zt {
namespace {

namespace fs = std::filesystem;

/// The one beside us, if we were not found on the PATH.
std::string ztsim(const fs::path& self)
{
    std::error_code ignored;
    const fs::path beside = self.parent_path() / "ztsim";
    return self.has_parent_path() && fs::exists(beside, ignored) ? beside.string() : "ztsim";
}

} // namespace

bool isOffDevice()
{
    const char* const parts[] = {"/var/run/ztpmd_api", "/var/run/zthmd_api", "/dev/eeprom2"};
    return std::none_of(std::begin(parts), std::end(parts), [](const char* part) {
        std::error_code ignored;
        return fs::exists(part, ignored);
    });
}

std::string simulated(int argc, char** argv)
{
    std::string command = ztsim(argv[0]) + " -- zt";
    for (int index = 1; index < argc; ++index) {
        command += std::string(" ") + argv[index];
    }
    return command;
}

} // namespace zt
