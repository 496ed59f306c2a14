#include "Failure.h"
#include "NetInterface.h"
#include "Output.h"
#include "Verbs.h"

#include <memory>
#include <string>

namespace zt {
namespace {

struct NetOptions {
    std::string interface = "eth0";
    ZT::ZTNetworkConfig wanted; ///< empty where nothing is to change
    bool json = false;
};

void showVerb(const NetOptions& options)
{
    print(describe(NetInterface(options.interface).read()), options.json);
}

bool isWhole(const ZT::ZTNetworkConfig& settings)
{
    return !settings.ipAddress.empty() && !settings.netmask.empty() && !settings.gateway.empty();
}

/// What is not to change is as it was.
ZT::ZTNetworkConfig complete(const ZT::ZTNetworkConfig& wanted, NetInterface& interface)
{
    if (isWhole(wanted)) {
        return wanted;
    }
    ZT::ZTNetworkConfig settings = interface.read();
    for (const auto member : {&ZT::ZTNetworkConfig::ipAddress, &ZT::ZTNetworkConfig::netmask,
                              &ZT::ZTNetworkConfig::gateway}) {
        if (!(wanted.*member).empty()) {
            settings.*member = wanted.*member;
        }
    }
    if (!isWhole(settings)) {
        throw Failure(FAILED, "there is no gateway that could stay", "give one with --gateway");
    }
    return settings;
}

void setVerb(const NetOptions& options)
{
    NetInterface interface(options.interface);
    interface.write(complete(options.wanted, interface));
}

CLI::Option* addAddress(CLI::App& verb, const char* name, std::string& address, const char* help)
{
    return verb.add_option(name, address, help)
        ->type_name("A.B.C.D")
        ->check([](const std::string& text) {
            return ZT::ZTNetworkLinux().isIPAddressValid(text)
                       ? ""
                       : "\"" + text + "\" is not four numbers with dots between them";
        });
}

} // namespace

void addNet(CLI::App& app)
{
    const auto options = std::make_shared<NetOptions>();
    CLI::App* const net = app.add_subcommand("net", "The network settings of an interface");
    requireVerb(*net);

    CLI::App* const show = net->add_subcommand("show", "Print address, netmask and gateway");
    show->add_flag("--json", options->json, "Print JSON");
    show->callback([options] { showVerb(*options); });

    CLI::App* const set =
        net->add_subcommand("set", "Change some of them; what is not given stays as it is");
    CLI::Option_group* const group = set->add_option_group("What is to change");
    group->require_option(1, 3);
    addAddress(*group, "--address", options->wanted.ipAddress, "The new address");
    addAddress(*group, "--netmask", options->wanted.netmask, "The new netmask");
    addAddress(*group, "--gateway", options->wanted.gateway, "The new default gateway");
    set->callback([options] { setVerb(*options); });

    for (CLI::App* const verb : {show, set}) {
        verb->add_option("--interface", options->interface, "Which one; eth0 by default")
            ->type_name("eth0|eth1|eth2|eth3")
            ->check(CLI::IsMember({"eth0", "eth1", "eth2", "eth3"}).description(""));
    }
}

} // namespace zt
