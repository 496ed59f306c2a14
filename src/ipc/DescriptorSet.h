#ifndef ZT_DESCRIPTORSET_H
#define ZT_DESCRIPTORSET_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <sys/select.h>
#include <vector>

namespace ZT {

/// The descriptors of one select(). Unlike an fd_set it holds descriptors of any number; it takes
/// memory only for those that an fd_set could not hold.
class DescriptorSet {
public:
    DescriptorSet() = default;
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;

    /// A negative descriptor is left out.
    void add(int descriptor)
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

    bool contains(int descriptor) const
    {
        const auto bit = static_cast<std::size_t>(descriptor);
        return descriptor >= 0 && bit / WORD_BITS < wordCount &&
               (words[bit / WORD_BITS] >> bit % WORD_BITS & 1) != 0;
    }

    /// Waits until one of the descriptors is readable and keeps those that are. A negative time-out
    /// waits without limit. Returns what select() returns.
    int awaitReadable(long timeoutMs);

    /// The same for writing.
    int awaitWritable(long timeoutMs);

private:
    using Word = unsigned long; // the bits in the order in which the system expects them

    static constexpr std::size_t WORD_BITS = sizeof(Word) * CHAR_BIT;

    void growTo(std::size_t size);
    fd_set* asSystemSet() { return reinterpret_cast<fd_set*>(words); }

    int highest = 0;
    Word usual[FD_SETSIZE / WORD_BITS] = {};
    std::vector<Word> more;
    Word* words = usual;
    std::size_t wordCount = FD_SETSIZE / WORD_BITS;
};

} // namespace ZT

#endif
