#ifndef ZT_DESCRIPTORSET_H
#define ZT_DESCRIPTORSET_H

#include <climits>
#include <cstddef>
#include <sys/select.h>
#include <vector>

namespace ZT {

/// The descriptors of one select(). Unlike an fd_set it holds descriptors of any number; it takes
/// memory only for those that an fd_set could not hold.
class DescriptorSet {
public:
    DescriptorSet() { usual[0] = 0; }
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;

    /// A negative descriptor is left out.
    void add(int descriptor)
    {
        const std::size_t word = wordOf(descriptor);
        if (word >= wordCount) {
            if (descriptor < 0) {
                return;
            }
            growTo(word + 1);
        }
        words[word] |= Word{1} << bitOf(descriptor);
    }

    bool contains(int descriptor) const
    {
        const std::size_t word = wordOf(descriptor);
        return word < wordCount && (words[word] >> bitOf(descriptor) & 1) != 0;
    }

    /// Waits until one of the descriptors is readable and keeps those that are. A negative time-out
    /// waits without limit. Returns what select() returns.
    int awaitReadable(long timeoutMs);

    /// The same for writing.
    int awaitWritable(long timeoutMs);

private:
    using Word = unsigned long; // the bits in the order in which the system expects them

    static constexpr std::size_t WORD_BITS = sizeof(Word) * CHAR_BIT;
    static constexpr std::size_t USUAL_WORDS = FD_SETSIZE / WORD_BITS;

    // That of a negative descriptor is beyond all others.
    static std::size_t wordOf(int descriptor)
    {
        return static_cast<std::size_t>(descriptor) / WORD_BITS;
    }
    static unsigned int bitOf(int descriptor)
    {
        return static_cast<unsigned int>(descriptor) % WORD_BITS;
    }

    void growTo(std::size_t size);
    int count() const;
    fd_set* asSystemSet() { return reinterpret_cast<fd_set*>(words); }

    Word usual[USUAL_WORDS]; // as many of them as are in use
    std::vector<Word> more;
    Word* words = usual;
    std::size_t wordCount = 1; // the last one is not 0, but where there is no descriptor
};

} // namespace ZT

#endif
