// record MEDIUM DISK OFFSET: makes the copies and moves in the folder MEDIUM, the root of a file
// system, whose writes somebody records. What it has done by then it writes to a sector of DISK at
// OFFSET, as "start NAME", "delete NAME/FILE", "finished NAME 0" and "synced NAME", so that it is
// recorded in the order of events.

#include "Scenario.h"

#include "zt/ZTFileHandling.h"
#include "zt/ZTFileHandlingInterface.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::size_t SECTOR_SIZE = 512;

int disk = -1;
off_t offset = 0;

void mark(const std::string& text)
{
    alignas(4096) static std::array<char, SECTOR_SIZE> sector;
    sector.fill('\0');
    std::strncpy(sector.data(), ("MARK " + text).c_str(), SECTOR_SIZE - 1);
    if (pwrite(disk, sector.data(), SECTOR_SIZE, offset) != static_cast<ssize_t>(SECTOR_SIZE)) {
        std::perror("record: cannot mark");
        std::exit(1);
    }
}

class Listener : public ZT::ZTFileHandlingInterface {
public:
    void copyProgress(unsigned int /*percent*/) override {}
    void copyFinished(int /*errorCode*/) override {}
};

void write(const fs::path& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

void prepare(const Scenario& scenario, const fs::path& folder)
{
    fs::create_directories(folder / "source");
    for (const auto& [name, size] : scenario.sizes) {
        write(folder / "source" / name, contentOf(scenario.name + name, size));
        if (scenario.oldTargetSize != 0) {
            fs::create_directory(folder / "target");
            write(folder / "target" / name, std::string(scenario.oldTargetSize, 'o'));
        }
    }
}

int run(const Scenario& scenario, const fs::path& folder)
{
    ZT::ZTFileHandling handling;
    Listener listener;
    Listener* const heard = scenario.isHeard ? &listener : nullptr;
    const fs::path source = folder / "source";
    const fs::path target = folder / "target";
    fs::create_directory(target); // unless there is an older one
    const int result =
        scenario.isFolder
            ? handling.copyDir(source, target, scenario.keepsSource, heard)
            : handling.copyFile(source / "file", target / "file", scenario.keepsSource, heard);
    handling.join();
    return result != 0 ? result : handling.getErrorCode();
}

} // namespace

// The library's call comes here.
extern "C" int remove(const char* filename) noexcept
{
    const fs::path path(filename);
    mark("delete " + path.parent_path().parent_path().filename().string() + '/' +
         path.filename().string());
    const auto real = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "remove"));
    return real(filename);
}

int main(int count, char** arguments)
{
    if (count != 4) {
        std::fputs("Usage: record MEDIUM DISK OFFSET\n", stderr);
        return 2;
    }
    const fs::path medium = arguments[1];
    disk = open(arguments[2], O_WRONLY | O_DIRECT | O_CLOEXEC);
    offset = static_cast<off_t>(std::strtoul(arguments[3], nullptr, 10));
    for (const Scenario& scenario : scenarios()) {
        prepare(scenario, medium / scenario.name);
    }
    sync();
    for (const Scenario& scenario : scenarios()) {
        mark("start " + scenario.name);
        const int result = run(scenario, medium / scenario.name);
        mark("finished " + scenario.name + ' ' + std::to_string(result));
        sync();
        mark("synced " + scenario.name);
    }
    mark("end");
}
