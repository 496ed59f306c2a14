#include "ipc/DescriptorSet.h"

#include <algorithm>

namespace ZT {

void DescriptorSet::add(int descriptor)
{
    if (descriptor < 0) {
        return;
    }
    const auto bit = static_cast<std::size_t>(descriptor);
    if (bit / WORD_BITS >= wordCount) {
        growTo(bit / WORD_BITS + 1);
    }
    words[bit / WORD_BITS] |= Word{1} << bit % WORD_BITS;
    highest = std::max(highest, descriptor);
}

bool DescriptorSet::contains(int descriptor) const
{
    const auto bit = static_cast<std::size_t>(descriptor);
    return descriptor >= 0 && bit / WORD_BITS < wordCount &&
           (words[bit / WORD_BITS] >> bit % WORD_BITS & 1) != 0;
}

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
