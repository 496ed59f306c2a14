#include "zt/ZTEvent.h"

namespace ZT {

ZTEvent::ZTEvent() : category(0), eventID(0), timestamp(0), data1(0), data2(0), value(0), state(0)
{}

ZTEvent::~ZTEvent() = default;

} // namespace ZT
