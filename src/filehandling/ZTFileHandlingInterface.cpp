#include "zt/ZTFileHandlingInterface.h"

namespace ZT {

ZTFileHandlingInterface::~ZTFileHandlingInterface() = default;

} // namespace ZT
