#include "EepromField.h"
#include "Failure.h"
#include "NetInterface.h"
#include "Output.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "zt/ZTSystem.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

namespace zt {
namespace {

struct InfoOptions {
    bool json = false;
    double wait = 2;
};

const char* const IDENTITY[] = {"product-type", "product-variant", "serial-number", "part-number"};

void addIdentity(Json& fields, double seconds)
{
    for (const char* const name : IDENTITY) {
        fields[name] = readEepromField(findEepromField(name), seconds);
    }
}

void addNetwork(Json& fields)
{
    fields.update(describe(NetInterface("eth0").read()));
}

/// All fields, null for those that could not be read.
Json readFields(const InfoOptions& options, std::vector<Failure>& failures)
{
    Json fields{{"version", ZT::ZTSystem::getSystemVersion()},
                {"total-ram-mib", ZT::ZTSystem::getTotalRAM()},
                {"free-ram-mib", ZT::ZTSystem::getFreeRAM()}};
    for (const char* const name : IDENTITY) {
        fields[name] = nullptr;
    }
    for (const char* const name : {"address", "netmask", "gateway"}) {
        fields[name] = nullptr;
    }
    const auto attempt = [&failures](const std::function<void()>& add) {
        try {
            add();
        } catch (const Failure& failure) {
            failures.push_back(failure);
        }
    };
    attempt([&] { addIdentity(fields, options.wait); });
    attempt([&] { addNetwork(fields); });
    return fields;
}

void infoVerb(const InfoOptions& options)
{
    std::vector<Failure> failures;
    print(readFields(options, failures), options.json);
    if (!failures.empty()) {
        std::for_each(failures.begin() + 1, failures.end(), tell);
        throw Failure(failures.front()); // it makes the exit code
    }
}

} // namespace

void addInfo(CLI::App& app)
{
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* const info = app.add_subcommand(
        "info", "Print the system's version, the RAM, the device's identity and its network");
    info->add_flag("--json", options->json, "Print JSON");
    addWaitOption(*info, options->wait);
    info->callback([options] { infoVerb(*options); });
}

} // namespace zt
