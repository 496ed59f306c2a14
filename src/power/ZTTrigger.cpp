#include "zt/ZTTrigger.h"

namespace ZT {

ZTTrigger::ZTTrigger() : triggerData(0) {}

ZTTrigger::~ZTTrigger() = default;

} // namespace ZT
