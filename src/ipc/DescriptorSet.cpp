#include "ipc/DescriptorSet.h"

#include <algorithm>

namespace ZT {

namespace {

int selectWithin(int count, fd_set* readable, fd_set* writable, long timeoutMs)
{
    if (timeoutMs < 0) {
        return select(count, readable, writable, nullptr, nullptr);
    }
    timeval time{};
    time.tv_sec = timeoutMs / 1000;
    time.tv_usec = timeoutMs % 1000 * 1000;
    return select(count, readable, writable, nullptr, &time);
}

} // namespace

int DescriptorSet::awaitReadable(long timeoutMs)
{
    return selectWithin(count(), asSystemSet(), nullptr, timeoutMs);
}

int DescriptorSet::awaitWritable(long timeoutMs)
{
    return selectWithin(count(), nullptr, asSystemSet(), timeoutMs);
}

void DescriptorSet::growTo(std::size_t size)
{
    if (size <= USUAL_WORDS) {
        std::fill(words + wordCount, words + size, Word{0});
    } else {
        if (more.empty()) {
            more.assign(usual, usual + wordCount);
        }
        more.resize(size);
        words = more.data();
    }
    wordCount = size;
}

// One more than the highest descriptor, and 1 without any.
int DescriptorSet::count() const
{
    const Word last = words[wordCount - 1];
    const std::size_t bits =
        last == 0 ? 1 : WORD_BITS - static_cast<std::size_t>(__builtin_clzl(last));
    return static_cast<int>((wordCount - 1) * WORD_BITS + bits);
}

} // namespace ZT
