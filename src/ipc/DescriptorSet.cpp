#include "ipc/DescriptorSet.h"

namespace ZT {

namespace {

int selectWithin(int count, fd_set* readable, fd_set* writable, long timeoutMs)
{
    timeval time{};
    time.tv_sec = timeoutMs / 1000;
    time.tv_usec = timeoutMs % 1000 * 1000;
    return select(count, readable, writable, nullptr, timeoutMs < 0 ? nullptr : &time);
}

} // namespace

int DescriptorSet::awaitReadable(long timeoutMs)
{
    return selectWithin(highest + 1, asSystemSet(), nullptr, timeoutMs);
}

int DescriptorSet::awaitWritable(long timeoutMs)
{
    return selectWithin(highest + 1, nullptr, asSystemSet(), timeoutMs);
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
