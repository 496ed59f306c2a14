#include "zt/ZTSignal.h"

namespace ZT {

ZTSignal::ZTSignal() : signalData1(0), signalData2(0) {}

ZTSignal::~ZTSignal() = default;

} // namespace ZT
