#include "zt/ZTPowerManagement.h"

#include "zt/ZTEndPointManager.h"
#include "zt/ZTPowerManagementInterfaceR7.h"

#include <memory>

namespace ZT {

ZTPowerManagement::~ZTPowerManagement() = default;

int ZTPowerManagement::unsubscribeFromEndpointManager(ZTEndPointManager* manager)
{
    return manager == nullptr ? 20 : manager->removeEndPointsOf(this);
}

ZTPowerManagement* ZTPowerManagement::create()
{
    auto created = std::make_unique<ZTPowerManagementInterfaceR7>();
    return created->init() == 0 ? created.release() : nullptr;
}

} // namespace ZT
