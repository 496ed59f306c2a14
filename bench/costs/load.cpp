// costs_load LIBRARY FILE: loads the library, and writes into the file what Meter.cpp has counted
// of that, and how many pages of our libraries have been written to.

#include "bench/costs/Meter.h"
#include "bench/support/require.h"

#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <string>

namespace {

const unsigned long KIB_PER_PAGE = 4;

// Of the mappings of our libraries, and of what is mapped right behind each. A page written to is a
// copy, and so anonymous; "dirty" are those of a just linked file, too, until the kernel has
// written it out.
unsigned long dirtyPages()
{
    std::ifstream mappings("/proc/self/smaps");
    unsigned long kib = 0;
    bool isOurs = false;
    std::string end;
    for (std::string line; std::getline(mappings, line);) {
        const std::size_t dash = line.find('-');
        const std::size_t blank = line.find(' ');
        if (dash < blank && line.find(':') > blank) {
            const bool hasName = line.find('/') != std::string::npos;
            isOurs = line.find("libZTAPI") != std::string::npos ||
                     (isOurs && !hasName && line.compare(0, dash, end) == 0);
            end = line.substr(dash + 1, blank - dash - 1);
        } else if (isOurs && line.rfind("Anonymous:", 0) == 0) {
            kib += std::stoul(line.substr(sizeof "Anonymous:"));
        }
    }
    return kib / KIB_PER_PAGE;
}

} // namespace

int main(int count, char** arguments)
{
    require(count == 3, "costs_load LIBRARY FILE");
    Meter meter;
    meter.begin();
    const void* const library = dlopen(arguments[1], RTLD_NOW);
    meter.end();
    require(library != nullptr, "dlopen");
    std::FILE* const file = std::fopen(arguments[2], "w");
    require(file != nullptr, "no file");
    std::fprintf(file, "dirty-pages %lu\n", dirtyPages());
    return std::fclose(file);
}
