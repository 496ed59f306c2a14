#include "zt/ZTSystem.h"

#include "frame/CommandOutput.h"
#include "frame/holdsNul.h"
#include "ztutil/writeToFile.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace ZT {

namespace {

const int NO_EXIT_CODE = -1;
const int POPEN_FAILED = 16;

/// The product has 32 bits on the device, so it has them everywhere.
unsigned int mebibytes(unsigned long units, const struct sysinfo& info)
{
    return static_cast<std::uint32_t>(units) * info.mem_unit >> 20U;
}

int run(const std::string& command)
{
    return holdsNul(command) ? -1 : std::system(command.c_str());
}

} // namespace

bool ZTSystem::isProcessRunning(const std::string& name)
{
    return run("killall -0 \"" + name + "\" >/dev/null 2>&1") == 0;
}

int ZTSystem::runSystemCommand(const std::string& command)
{
    const int status = run(command);
    return (status & 0x7F) != 0 ? NO_EXIT_CODE : status >> 8 & 0xFF;
}

int ZTSystem::getSystemCommandOutput(const std::string& command, std::string& output)
{
    return appendCommandOutput(command, output) ? 0 : POPEN_FAILED;
}

int ZTSystem::getProcessID()
{
    return getpid();
}

std::string ZTSystem::getSystemVersion()
{
    std::string version = "BSP ";
    utsname system{};
    if (uname(&system) == 0) {
        version += system.release;
    } else {
        std::printf("uname function call failed with error: %d\n", errno);
    }
    return version;
}

unsigned int ZTSystem::getFreeRAM()
{
    struct sysinfo info = {};
    sysinfo(&info);
    return mebibytes(info.freeram, info);
}

unsigned int ZTSystem::getTotalRAM()
{
    struct sysinfo info = {};
    sysinfo(&info);
    return mebibytes(info.totalram, info);
}

void ZTSystem::tidyUpCaches(bool compactMemory)
{
    writeToFile("/proc/sys/vm/drop_caches", 3);
    if (compactMemory) {
        writeToFile("/proc/sys/vm/compact_memory", 1);
    }
}

} // namespace ZT
