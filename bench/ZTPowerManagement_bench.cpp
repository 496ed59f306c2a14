// The power state is asked for, and the power-management daemon's answer taken. The daemon is
// another process, on the other core.

#include "bench/power/FloorClient.h"
#include "bench/power/ZtClient.h"
#include "bench/support/Pinning.h"

#include <benchmark/benchmark.h>

namespace {

template <class Client>
void powerRequestAndEvent(benchmark::State& state)
{
    pinTo(0);
    Client client;
    for ([[maybe_unused]] auto _ : state) {
        client.ask();
        client.takeAnswer();
    }
}

} // namespace

BENCHMARK_TEMPLATE(powerRequestAndEvent, FloorClient)->UseRealTime();
BENCHMARK_TEMPLATE(powerRequestAndEvent, ZtClient)->UseRealTime();
