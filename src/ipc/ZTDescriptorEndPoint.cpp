#include "zt/ZTDescriptorEndPoint.h"

namespace ZT {

ZTDescriptorEndPoint::ZTDescriptorEndPoint(int descriptor) : descriptor(descriptor) {}

ZTDescriptorEndPoint::~ZTDescriptorEndPoint() = default;

int ZTDescriptorEndPoint::getReadEndPointID() const
{
    return descriptor;
}

int ZTDescriptorEndPoint::getWriteEndPointID() const
{
    return descriptor;
}

bool ZTDescriptorEndPoint::isConnected() const
{
    return descriptor >= 0;
}

int ZTDescriptorEndPoint::reconnect()
{
    return 11;
}

} // namespace ZT
