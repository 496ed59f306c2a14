// Shows the network settings of eth0. With an address as its argument it gives that to eth0, beside
// the netmask and the gateway that it has, and shows them again.

#include "zt/ZTNetworkConfigFactory.h"

#include <cstdio>

namespace {

bool show(ZT::ZTNetwork& network)
{
    if (!network.readNetworkSettings()) {
        std::puts("cannot read the settings");
        return false;
    }
    const ZT::ZTNetworkConfig& settings = *network.getNetworkConfig();
    std::printf("address  %s\n", settings.ipAddress.c_str());
    std::printf("netmask  %s\n", settings.netmask.c_str());
    std::printf("gateway  %s\n", settings.gateway.c_str());
    return true;
}

bool changeAddress(ZT::ZTNetwork& network, const char* address)
{
    // All three at once: the kernel drops the gateway together with the old address.
    ZT::ZTNetworkConfig settings = *network.getNetworkConfig();
    settings.ipAddress = address;
    const bool changed = network.setNetworkConfig(&settings);
    std::printf(changed ? "changed to %s\n" : "cannot change to %s\n", address);
    return changed;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    ZT::ZTNetworkConfigFactory factory;
    factory.create(0);
    ZT::ZTNetwork& eth0 = *factory.getEthInstance(0);
    if (!show(eth0)) {
        return 1;
    }
    return argc < 2 || (changeAddress(eth0, argv[1]) && show(eth0)) ? 0 : 1;
}
