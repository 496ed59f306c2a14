#include "ipc/DescriptorSet.h"

namespace ZT {

int DescriptorSet::selectReadable(timeval* timeout)
{
    return select(highest + 1, asSystemSet(), nullptr, nullptr, timeout);
}

int DescriptorSet::selectWritable(timeval* timeout)
{
    return select(highest + 1, nullptr, asSystemSet(), nullptr, timeout);
}

void DescriptorSet::growTo(std::size_t size)
{
    if (more.empty()) {
        more.assign(usual, usual + wordCount);
    }
    more.resize(size);
    words = more.data();
    wordCount = size;
}

} // namespace ZT
