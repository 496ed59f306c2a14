#ifndef ZT_SOAK_RANDOM_H
#define ZT_SOAK_RANDOM_H

#include <cstdint>
#include <random>

/// The same numbers for the same seed.
class Random {
public:
    explicit Random(std::uint32_t seed) : engine(seed) {}

    std::uint32_t number() { return static_cast<std::uint32_t>(engine()); }

    /// 0 to `limit` - 1.
    std::uint32_t below(std::uint32_t limit) { return number() % limit; }

    bool isOneIn(std::uint32_t limit) { return below(limit) == 0; }

private:
    std::minstd_rand engine;
};

#endif
