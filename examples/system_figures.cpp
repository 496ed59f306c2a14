// Prints the system's figures, and whether the processes whose names are its arguments run.

#include "zt/ZTEnvironmentVariable.h"
#include "zt/ZTSystem.h"

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    std::printf("version    %s\n", ZT::ZTSystem::getSystemVersion().c_str());
    std::printf("total RAM  %u MiB\n", ZT::ZTSystem::getTotalRAM());
    std::printf("free RAM   %u MiB\n", ZT::ZTSystem::getFreeRAM());
    std::printf("process    %d\n", ZT::ZTSystem::getProcessID());

    const char* path = ZT::ZTEnvironmentVariable::getEnvironmentVariable("PATH");
    std::printf("PATH       %s\n", path == nullptr ? "is not set" : path);

    std::string machine;
    if (ZT::ZTSystem::getSystemCommandOutput("uname -m", machine) == 0) {
        std::printf("machine    %s", machine.c_str());
    }
    for (int index = 1; index < argc; ++index) {
        const bool runs = ZT::ZTSystem::isProcessRunning(argv[index]);
        std::printf("%s %s\n", argv[index], runs ? "runs" : "does not run");
    }
    return 0;
}
