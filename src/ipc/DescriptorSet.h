#ifndef ZT_DESCRIPTORSET_H
#define ZT_DESCRIPTORSET_H

#include <sys/time.h>
#include <vector>

namespace ZT {

/// The descriptors of one select(). Unlike an fd_set it holds descriptors of any number.
class DescriptorSet {
public:
    DescriptorSet();

    /// A negative descriptor is left out.
    void add(int descriptor);

    bool contains(int descriptor) const;

    /// Waits until one of the descriptors is readable and keeps those that are. A null `timeout`
    /// waits without limit. Returns what select() returns.
    int selectReadable(timeval* timeout);

private:
    int highest;
    std::vector<unsigned long> words; // the bits in the order in which the system expects them
};

} // namespace ZT

#endif
