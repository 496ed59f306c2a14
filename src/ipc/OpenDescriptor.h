#ifndef ZT_OPENDESCRIPTOR_H
#define ZT_OPENDESCRIPTOR_H

#include <unistd.h>

namespace ZT {

/// A descriptor that is closed with the object.
class OpenDescriptor {
public:
    explicit OpenDescriptor(int number) : number(number) {}
    ~OpenDescriptor() { close(number); }

    OpenDescriptor(const OpenDescriptor&) = delete;
    OpenDescriptor& operator=(const OpenDescriptor&) = delete;

    const int number;
};

} // namespace ZT

#endif
