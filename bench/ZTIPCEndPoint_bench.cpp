// Messages between two processes, each on a core of its own: there and back, and one way.

#include "bench/ipc/Connection.h"
#include "bench/ipc/FloorLink.h"
#include "bench/ipc/NngLink.h"
#include "bench/ipc/PocoLink.h"
#include "bench/ipc/ZeroMqLink.h"
#include "bench/ipc/ZtLink.h"
#include "bench/support/Pinning.h"

#include <benchmark/benchmark.h>

namespace {

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
