#include "Failure.h"
#include "HealthExchange.h"
#include "Output.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "common/NumberOption.h"
#include "zt/ZTHealthManagement.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zt {
namespace {

struct Value {
    const char* name;
    ZT::ZTHealthManagementCommand get;
    ZT::ZTHealthManagementCommand set;
    std::uint32_t largest;
};

const Value VALUES[] = {
    {"value-20", ZT::COMMAND_20, ZT::COMMAND_25, UINT8_MAX},
    {"value-26", ZT::COMMAND_26, ZT::COMMAND_27, UINT8_MAX},
    {"value-29", ZT::COMMAND_29, ZT::COMMAND_30, UINT8_MAX},
    {"value-32", ZT::COMMAND_32, ZT::COMMAND_33, UINT32_MAX},
};

struct HealthOptions {
    std::optional<std::string> name; ///< all without
    std::uint32_t number = 0;
    bool json = false;
    double wait = 2;
};

const Value& find(const std::string& name)
{
    for (const Value& value : VALUES) {
        if (name == value.name) {
            return value;
        }
    }
    throw CLI::ValidationError("NAME", "there is no value \"" + name + "\"");
}

/// Sends a command with a number, and returns the one of the answer.
std::uint32_t exchange(const Value& value, ZT::ZTHealthManagementCommand command,
                       std::uint32_t number, const std::string& task, double seconds)
{
    auto byte = static_cast<std::uint8_t>(number);
    const bool isByte = value.largest == UINT8_MAX;
    void* const data = isByte ? static_cast<void*>(&byte) : &number;
    exchangeWithin(seconds, task,
                   [&] { return ZT::ZTHealthManagement::sendMessage(command, data, true); });
    return isByte ? byte : number;
}

std::uint32_t get(const Value& value, double seconds)
{
    return exchange(value, value.get, 0, std::string("get ") + value.name, seconds);
}

void getVerb(const HealthOptions& options)
{
    if (options.name) {
        const Value& value = find(*options.name);
        printSingle({{value.name, get(value, options.wait)}}, options.json);
        return;
    }
    Json fields;
    for (const Value& value : VALUES) {
        fields[value.name] = get(value, options.wait);
    }
    print(fields, options.json);
}

void setVerb(const HealthOptions& options)
{
    const Value& value = find(*options.name);
    if (options.number > value.largest) {
        throw CLI::ValidationError("NUMBER", std::to_string(options.number) + " is not in 0..255");
    }
    const std::string task = std::string("set ") + value.name;
    const std::uint32_t taken = exchange(value, value.set, options.number, task, options.wait);
    if (taken != options.number) {
        throw Failure(
            FAILED, "cannot " + task + ": the daemon reports " + std::to_string(taken) + " instead",
            "see which numbers the daemon takes");
    }
}

} // namespace

void addHealth(CLI::App& app)
{
    const char* const names = "value-20, value-26, value-29 (0..255), value-32 (0..4294967295)";
    const auto options = std::make_shared<HealthOptions>();
    CLI::App* const health = app.add_subcommand("health", "The values of the health monitor");
    requireVerb(*health);

    CLI::App* const get = health->add_subcommand("get", "Print one value, or all");
    get->add_option("NAME", options->name, names);
    get->add_flag("--json", options->json, "Print JSON");
    get->callback([options] { getVerb(*options); });

    CLI::App* const set = health->add_subcommand("set", "Set a value");
    set->add_option("NAME", options->name, names)->required();
    tools::addNumber(*set, "NUMBER", options->number, 0U, UINT32_MAX, "What it is to be")
        ->required();
    set->callback([options] { setVerb(*options); });
    for (CLI::App* const verb : {get, set}) {
        addWaitOption(*verb, options->wait);
    }
}

} // namespace zt
