// costs: prints the names of all operations.
// costs NAME FILE: does one of them, on the simulated device, and writes into the file what
// Meter.cpp has counted.

#include "bench/costs/Operations.h"
#include "bench/support/require.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace {

// Made on first use, for each file adds its operations before main().
std::vector<Operation>& operations()
{
    static std::vector<Operation> all;
    return all;
}

} // namespace

const Operation* Operations::find(const std::string& name)
{
    for (const Operation& operation : operations()) {
        if (operation.name == name) {
            return &operation;
        }
    }
    return nullptr;
}

void Operations::printNames()
{
    for (const Operation& operation : operations()) {
        std::puts(operation.name.c_str());
    }
}

void Operations::add(const Operation& operation)
{
    operations().push_back(operation);
}

int main(int count, char** arguments)
{
    if (count == 1) {
        Operations::printNames();
        return 0;
    }
    require(count == 3, "costs [NAME FILE]");
    const Operation* const operation = Operations::find(arguments[1]);
    require(operation != nullptr, "there is no such operation");
    Meter meter;
    operation->run(meter, operation->size);

    std::FILE* const file = std::fopen(arguments[2], "w");
    require(file != nullptr, "no file");
    const Counts& counts = Meter::counts;
    std::fprintf(file, "allocations %llu\nbytes %llu\nclock_gettime %llu\nwake-ups %llu\n",
                 static_cast<unsigned long long>(counts.allocations),
                 static_cast<unsigned long long>(counts.bytes),
                 static_cast<unsigned long long>(counts.clocks),
                 static_cast<unsigned long long>(counts.wakeUps));
    return std::fclose(file);
}
