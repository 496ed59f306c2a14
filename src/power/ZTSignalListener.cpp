#include "zt/ZTSignalListener.h"

namespace ZT {

ZTSignalListener::~ZTSignalListener() = default;

} // namespace ZT
