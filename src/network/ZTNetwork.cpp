#include "zt/ZTNetwork.h"

namespace ZT {

ZTNetwork::~ZTNetwork() = default;

} // namespace ZT
