// The main of every benchmark.

#include <benchmark/benchmark.h>

#include <future>
#include <thread>

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
        return 2;
    }
    // The C library leaves some locking out while a process has one thread. An application has
    // more, and so have some of the contenders.
    std::promise<void> end;
    std::thread second([&end] { end.get_future().wait(); });
    benchmark::RunSpecifiedBenchmarks();
    end.set_value();
    second.join();
    return 0;
}
