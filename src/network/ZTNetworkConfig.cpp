#include "zt/ZTNetworkConfig.h"

namespace ZT {

ZTNetworkConfig::~ZTNetworkConfig() = default;

} // namespace ZT
