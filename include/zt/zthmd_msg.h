#ifndef ZT_ZTHMD_MSG_H
#define ZT_ZTHMD_MSG_H

#include <cstddef>
#include <cstdint>

namespace ZT {

/// One record of the health-monitor daemon, request and reply alike: 36 bytes in the machine's byte
/// order. What a type does not use is zero: clear the record, then fill it.
struct zthmd_msg_t {
    std::uint32_t type; ///< a command, or the type of an answer
    union {
        char text[32];       ///< a text that fills it has no NUL
        std::uint8_t byte;   ///< 0 to 255
        std::uint32_t value; ///< 32 bits
    };
};

static_assert(sizeof(zthmd_msg_t) == 36, "the daemon's records have 36 bytes");
static_assert(offsetof(zthmd_msg_t, text) == 4, "the payload stands at 4");

} // namespace ZT

#endif
