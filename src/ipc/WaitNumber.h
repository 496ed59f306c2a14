#ifndef ZT_WAITNUMBER_H
#define ZT_WAITNUMBER_H

#include <cstdint>

namespace ZT {

/// Numbers the waits of endpoint managers, those of all threads. As long as one lives, its thread
/// hands out what that wait has found.
///
/// An endpoint that connects anew meanwhile may get the descriptor's number that the wait has found
/// readable, and a blocking read would then wait for the other end.
class WaitNumber {
public:
    /// A wait begins.
    WaitNumber();
    ~WaitNumber();

    WaitNumber(const WaitNumber&) = delete;
    WaitNumber& operator=(const WaitNumber&) = delete;

    /// The number of the last wait that has begun.
    static std::uint16_t latest();

    /// Whether what happened when `number` was the latest came after the beginning of the wait
    /// whose outcome the caller is handed. Numbers come round again: once in 65536 times the answer
    /// for what is long past is wrong.
    static bool isSinceCurrent(std::uint16_t number);

private:
    const WaitNumber*& place; // where its thread has the current one, which is not looked up twice
    const WaitNumber* const outer;
    const std::uint16_t own;
};

} // namespace ZT

#endif
