#ifndef ZT_NODESCRIPTOR_H
#define ZT_NODESCRIPTOR_H

namespace ZT {

/// In the place of a descriptor that is not open.
const int NO_DESCRIPTOR = -1;

} // namespace ZT

#endif
