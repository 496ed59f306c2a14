// Messages between two processes, each on a core of its own: there and back, and one way.

#include "bench/ipc/FloorLink.h"
#include "bench/ipc/NngLink.h"
#include "bench/ipc/PocoLink.h"
#include "bench/ipc/ZeroMqLink.h"
#include "bench/ipc/ZtLink.h"
#include "bench/support/PeerProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

namespace {

// Connected to a process that answers every `count` messages with one.
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

template <class Link>
void ipcRoundTrip(benchmark::State& state)
{
    pinTo(0);
    Connection<Link> connection(static_cast<std::uint32_t>(state.range(0)), 1);
    for ([[maybe_unused]] auto _ : state) {
        connection.send();
        connection.receive();
    }
}

template <class Link>
void ipcOneWay(benchmark::State& state)
{
    pinTo(0);
    const int batch = 1000;
    Connection<Link> connection(static_cast<std::uint32_t>(state.range(0)), batch);
    for ([[maybe_unused]] auto _ : state) {
        for (int sent = 0; sent < batch; ++sent) {
            connection.send();
        }
        connection.receive();
    }
    state.SetItemsProcessed(state.iterations() * batch);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(64)->Arg(255)->UseRealTime();
}

} // namespace

BENCHMARK_TEMPLATE(ipcRoundTrip, FloorLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcRoundTrip, ZtLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcRoundTrip, NngLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcRoundTrip, ZeroMqLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcRoundTrip, PocoLink)->Apply(sizes);

BENCHMARK_TEMPLATE(ipcOneWay, FloorLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcOneWay, ZtLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcOneWay, NngLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcOneWay, ZeroMqLink)->Apply(sizes);
BENCHMARK_TEMPLATE(ipcOneWay, PocoLink)->Apply(sizes);
