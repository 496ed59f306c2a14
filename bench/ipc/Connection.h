#ifndef ZT_BENCH_CONNECTION_H
#define ZT_BENCH_CONNECTION_H

#include "bench/ipc/Link.h"
#include "bench/support/PeerProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdint>
#include <string>

/// Connected to a process that answers every `count` messages with one.
template <class Link>
class Connection {
public:
    Connection(std::uint32_t size, int count)
        : size(size), path(folder / "socket"), link(End::SERVER, path),
          peer({ZT_PEER, Link::NAME, path, std::to_string(size), std::to_string(count)})
    {
        link.meet();
    }

    void send() { link.send(size); }
    void receive() { link.receive(size); }

private:
    const std::uint32_t size;
    const TemporaryFolder folder;
    const std::string path;
    Link link;
    PeerProcess peer;
};

#endif
