#include "zt/ZTEndPoint.h"

namespace ZT {

ZTEndPoint::ZTEndPoint(bool autoReconnect) : autoReconnect(autoReconnect) {}

ZTEndPoint::~ZTEndPoint() = default;

} // namespace ZT
