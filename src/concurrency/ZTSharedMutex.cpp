#include "zt/ZTSharedMutex.h"

namespace ZT {

ZTSharedMutex::~ZTSharedMutex() = default;

} // namespace ZT
