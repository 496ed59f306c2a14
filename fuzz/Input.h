#ifndef ZT_FUZZ_INPUT_H
#define ZT_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

/// What the fuzzer feeds, taken from the front. Behind its end come zeros.
class Input {
public:
    Input(const std::uint8_t* bytes, std::size_t size)
        : left(reinterpret_cast<const char*>(bytes), size)
    {}

    bool isAtEnd() const { return next == left.size(); }

    std::uint8_t byte() { return static_cast<std::uint8_t>(bytes(1)[0]); }

    std::string bytes(std::size_t size)
    {
        std::string taken = rest(size);
        taken.resize(size);
        return taken;
    }

    /// Without the zeros, and not more than `most` bytes.
    std::string rest(std::size_t most)
    {
        const std::size_t size = std::min(most, left.size() - next);
        next += size;
        return left.substr(next - size, size);
    }

private:
    const std::string left;
    std::size_t next = 0;
};

#endif
