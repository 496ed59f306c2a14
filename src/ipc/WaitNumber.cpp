#include "ipc/WaitNumber.h"

#include <atomic>

namespace ZT {

namespace {

std::atomic<std::uint16_t> last{0};
thread_local const WaitNumber* current = nullptr;

} // namespace

WaitNumber::WaitNumber() : place(current), outer(place), own(++last)
{
    place = this;
}

WaitNumber::~WaitNumber()
{
    place = outer;
}

std::uint16_t WaitNumber::latest()
{
    return last;
}

bool WaitNumber::isSinceCurrent(std::uint16_t number)
{
    return current != nullptr && static_cast<std::uint16_t>(number - current->own) <=
                                     static_cast<std::uint16_t>(last - current->own);
}

} // namespace ZT
