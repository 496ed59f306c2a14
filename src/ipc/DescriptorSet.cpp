#include "ipc/DescriptorSet.h"

#include <climits>
#include <sys/select.h>

namespace ZT {

namespace {

const unsigned int WORD_BITS = sizeof(unsigned long) * CHAR_BIT;

std::size_t wordOf(int descriptor)
{
    return static_cast<unsigned int>(descriptor) / WORD_BITS;
}

unsigned long bitOf(int descriptor)
{
    return 1UL << (static_cast<unsigned int>(descriptor) % WORD_BITS);
}

} // namespace

DescriptorSet::DescriptorSet() : highest(0), words(FD_SETSIZE / WORD_BITS) {}

void DescriptorSet::add(int descriptor)
{
    if (descriptor < 0) {
        return;
    }
    if (descriptor > highest) {
        highest = descriptor;
    }
    if (wordOf(descriptor) >= words.size()) {
        words.resize(wordOf(descriptor) + 1);
    }
    words[wordOf(descriptor)] |= bitOf(descriptor);
}

bool DescriptorSet::contains(int descriptor) const
{
    return descriptor >= 0 && wordOf(descriptor) < words.size() &&
           (words[wordOf(descriptor)] & bitOf(descriptor)) != 0;
}

int DescriptorSet::selectReadable(timeval* timeout)
{
    return select(highest + 1, reinterpret_cast<fd_set*>(words.data()), nullptr, nullptr, timeout);
}

} // namespace ZT
