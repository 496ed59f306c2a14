// Random streams, cut at random places, through ZTSocket and through the slow model: call for call
// the same records, the same status, the same bytes held.

#include "FedSocket.h"
#include "ReassemblyModel.h"
#include "RecordBytes.h"
#include "support/Emulation.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>

namespace {

// Bytes such as records are made of.
std::string someNoise()
{
    std::mt19937 engine;
    std::string noise(50000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return "ZTSOCKE\1\0"[engine() % 9]; });
    return noise;
}

const std::string NOISE = someNoise();

class RandomStream {
public:
    RandomStream(unsigned int seed, std::size_t longestCut) : engine(seed), longestCut(longestCut)
    {}

    /// The bytes of the next read.
    std::string read()
    {
        const std::size_t size = 1 + below(longestCut);
        while (bytes.size() < size) {
            bytes += piece();
        }
        std::string cut = bytes.substr(0, size);
        bytes.erase(0, size);
        return cut;
    }

    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine);
    }

private:
    std::string piece()
    {
        switch (below(12)) {
        case 0: // bytes that are no record
            return noise(below(40));
        case 1: // the beginning of a record
            return shortRecord(5).substr(0, below(28));
        case 2: // a record that is shorter than its head
            return head(static_cast<std::uint32_t>(below(19))) + noise(below(5));
        case 3: // a record that says it is longer than it is
            return head(static_cast<std::uint32_t>(19 + below(100)));
        case 4:
            return below(50) == 0 ? head(static_cast<std::uint32_t>(engine())) : "";
        case 5:
            return record(noise(below(3 * longestCut)));
        default:
            return record(noise(below(40)));
        }
    }

    std::string noise(std::size_t size) { return NOISE.substr(below(NOISE.size() - size), size); }

    std::mt19937 engine;
    const std::size_t longestCut;
    std::string bytes;
};

// Makes one call on both. Says whether it read, which it does not while records wait.
bool agree(FedSocket& socket, ReassemblyModel& model, const std::string& bytes)
{
    const bool reads = model.records.empty();
    if (reads) {
        model.read(bytes);
    }
    const int received = socket.received;
    socket.reads = {bytes};
    socket.status = -99;
    const std::unique_ptr<char[]> record(socket.getNextSocketBuffer(socket.status, FedSocket::ID));
    EXPECT_EQ(socket.received - received, reads ? 1 : 0);
    EXPECT_EQ(record != nullptr, !model.records.empty());
    EXPECT_EQ(socket.status, model.records.empty() ? -99 : 0);
    if (record != nullptr && !model.records.empty()) {
        const std::string& expected = model.records.front();
        EXPECT_EQ(std::memcmp(record.get(), expected.data(), expected.size()), 0);
        model.records.pop_front();
    }
    EXPECT_EQ(socket.held(), model.held);
    return reads;
}

class ZTSocketRandomTest : public testing::TestWithParam<int> {};

} // namespace

TEST_P(ZTSocketRandomTest, AgreesWithTheModelHoweverTheStreamIsCut)
{
    SKIP_UNDER_VALGRIND("it takes minutes there; the fuzzer's seeds do not");
    const auto longestCut = static_cast<std::size_t>(GetParam());
    std::size_t cuts = std::min<std::size_t>(600000, 100000000 / longestCut);
    for (unsigned int seed = 1; cuts > 0 && !HasFailure(); ++seed) {
        RandomStream stream(seed, longestCut);
        FedSocket socket;
        ReassemblyModel model;
        std::string bytes = stream.read();
        for (std::size_t calls = 10 + stream.below(60); calls > 0 && cuts > 0 && !HasFailure();
             --calls) {
            if (agree(socket, model, bytes)) {
                bytes = stream.read();
                --cuts;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(CutsUpTo, ZTSocketRandomTest, testing::Values(3, 20, 60, 300, 1500),
                         testing::PrintToStringParamName());
