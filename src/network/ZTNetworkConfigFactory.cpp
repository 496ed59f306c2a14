#include "zt/ZTNetworkConfigFactory.h"

#include "zt/ZTNetworkLinux.h"

namespace ZT {

namespace {

const int INVALID_ARGUMENT = 20;

} // namespace

const std::string ZTNetworkConfigFactory::emptyString;

ZTNetworkConfigFactory::ZTNetworkConfigFactory()
{
    init();
}

ZTNetworkConfigFactory::~ZTNetworkConfigFactory()
{
    releaseAll();
}

void ZTNetworkConfigFactory::init()
{
    for (int n = 0; n < INTERFACES; ++n) {
        reset(n);
    }
}

int ZTNetworkConfigFactory::create(int n)
{
    if (!isInterface(n)) {
        return INVALID_ARGUMENT;
    }
    release(n);
    instances[n] = new ZTNetworkLinux;
    instances[n]->setNetworkinterface("eth" + std::to_string(n));
    return 0;
}

ZTNetwork* ZTNetworkConfigFactory::getEthInstance(int n)
{
    return find(n);
}

void ZTNetworkConfigFactory::release(int n)
{
    delete find(n);
    reset(n);
}

void ZTNetworkConfigFactory::reset(int n)
{
    if (isInterface(n)) {
        instances[n] = nullptr;
    }
}

void ZTNetworkConfigFactory::releaseAll()
{
    for (int n = 0; n < INTERFACES; ++n) {
        release(n);
    }
}

ZTNetworkConfig* ZTNetworkConfigFactory::getConfig(int n)
{
    ZTNetwork* instance = find(n);
    return instance == nullptr ? nullptr : instance->getNetworkConfig();
}

bool ZTNetworkConfigFactory::readNetworkSettings(int n)
{
    ZTNetwork* instance = find(n);
    return instance != nullptr && instance->readNetworkSettings();
}

bool ZTNetworkConfigFactory::setNetworkSettings(int n, const std::string& ip,
                                                const std::string& netmask,
                                                const std::string& gateway)
{
    ZTNetwork* instance = find(n);
    return instance != nullptr && instance->setNetworkSettings(ip, netmask, gateway);
}

std::string ZTNetworkConfigFactory::getDefaultIPAdress(int n) const
{
    const ZTNetwork* instance = find(n);
    return instance == nullptr ? emptyString : instance->getDefaultIPAdress();
}

std::string ZTNetworkConfigFactory::getDefaultNetmaskIP(int n) const
{
    const ZTNetwork* instance = find(n);
    return instance == nullptr ? emptyString : instance->getDefaultNetmaskIP();
}

std::string ZTNetworkConfigFactory::getDefaultGatewayIP(int n) const
{
    const ZTNetwork* instance = find(n);
    return instance == nullptr ? emptyString : instance->getDefaultGatewayIP();
}

bool ZTNetworkConfigFactory::isInterface(int n)
{
    return n >= 0 && n < INTERFACES;
}

ZTNetwork* ZTNetworkConfigFactory::find(int n) const
{
    return isInterface(n) ? instances[n] : nullptr;
}

} // namespace ZT
