#include "zt/ZTSocketFactory.h"

namespace ZT {

ZTSocketFactory::~ZTSocketFactory() = default;

ZTSocketLinux* ZTSocketFactory::createSocketClass()
{
    return new ZTSocketLinux;
}

} // namespace ZT
