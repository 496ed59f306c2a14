// What it costs per byte to put one record together that comes in reads of 1500 bytes.

#include "zt/ZTSocketLinux.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

// Receives records of one size without a system call, so that nothing but the library is measured.
class EndlessSocket : public ZT::ZTSocketLinux {
public:
    explicit EndlessSocket(std::uint32_t size)
        : size(size), missing(size), beginning(READ_SIZE, 'x')
    {
        beginning.replace(0, 15, "ZTSOCKETMESSAGE");
        std::memcpy(&beginning[15], &size, sizeof size);
    }

    int receiveSocketData(unsigned int /*id*/, int* buffer, unsigned int length) override
    {
        const std::uint32_t count = std::min(length, missing);
        std::memcpy(buffer, missing == size ? beginning.data() : middle.data(), count);
        missing = missing == count ? size : missing - count;
        return static_cast<int>(count);
    }

private:
    static const std::size_t READ_SIZE = 1500;

    const std::uint32_t size;
    std::uint32_t missing;
    std::string beginning;
    const std::string middle = std::string(READ_SIZE, 'x');
};

void reassembleRecord(benchmark::State& state)
{
    EndlessSocket socket(static_cast<std::uint32_t>(state.range(0)));
    while (state.KeepRunning()) {
        int status = -1;
        char* record = nullptr;
        while (record == nullptr) {
            record = socket.getNextSocketBuffer(status, 1);
        }
        benchmark::DoNotOptimize(record);
        delete[] record;
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(reassembleRecord)->Arg(64 << 10)->Arg(1 << 20)->Arg(16 << 20);
