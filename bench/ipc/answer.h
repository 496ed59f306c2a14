#ifndef ZT_BENCH_ANSWER_H
#define ZT_BENCH_ANSWER_H

#include "bench/ipc/Link.h"

#include <cstdint>
#include <string>

/// What the other process of a Connection does, until it is killed.
template <class Link>
[[noreturn]] void answer(const std::string& path, std::uint32_t size, int count)
{
    Link link(End::CLIENT, path);
    link.meet();
    for (;;) {
        for (int received = 0; received < count; ++received) {
            link.receive(size);
        }
        link.send(size);
    }
}

#endif
