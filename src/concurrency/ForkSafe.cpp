#include "concurrency/ForkSafe.h"

#include <unistd.h>

namespace ZT {

namespace {

const pid_t LOADER = getpid();

} // namespace

bool isForkedChild()
{
    return getpid() != LOADER;
}

} // namespace ZT
