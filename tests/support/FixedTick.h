#ifndef ZT_TESTS_FIXEDTICK_H
#define ZT_TESTS_FIXEDTICK_H

#include "support/Interpose.h"

#include <cstdint>

/// Holds ZTTick::getTickCount() at one value.
class FixedTick {
public:
    explicit FixedTick(std::uint32_t tick) : tick(tick) {}

    void set(std::uint32_t newTick) { tick = newTick; }

private:
    std::uint32_t tick;
    const Interpose<int(clockid_t, timespec*)> clock{
        interposed::clock_gettime, [this](clockid_t id, timespec* time) {
            if (id != CLOCK_MONOTONIC) {
                return interposed::clock_gettime.real(id, time);
            }
            *time = {static_cast<time_t>(tick / 1000), static_cast<long>(tick % 1000 * 1000000)};
            return 0;
        }};
};

#endif
