#ifndef ZT_SOAK_HOLDINGS_H
#define ZT_SOAK_HOLDINGS_H

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <malloc.h>
#include <string>

/// What this process holds of the system.
class Holdings {
public:
    Holdings()
        : descriptors(countEntries("/proc/self/fd")), threads(countEntries("/proc/self/task")),
          heap(allocatedBytes())
    {}

    /// Not more, but for what the heap keeps for itself. It may be less: the system counts a thread
    /// for a moment after it was joined.
    bool isWithin(const Holdings& other) const
    {
        return descriptors <= other.descriptors && threads <= other.threads &&
               heap < other.heap + HEAP_TOLERANCE;
    }

    std::string text() const
    {
        return std::to_string(descriptors) + " descriptors, " + std::to_string(threads) +
               " threads, " + std::to_string(heap) + " bytes";
    }

private:
    static constexpr std::size_t HEAP_TOLERANCE = 1 << 16;

    static long countEntries(const char* folder)
    {
        const std::filesystem::directory_iterator all(folder);
        return std::distance(begin(all), end(all));
    }

    // A sanitizer's own heap is not looked at.
    static std::size_t allocatedBytes()
    {
        const struct mallinfo2 all = mallinfo2();
        return all.uordblks + all.hblkhd;
    }

    long descriptors;
    long threads;
    std::size_t heap;
};

#endif
