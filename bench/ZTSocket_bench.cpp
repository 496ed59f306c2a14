// Records that another process sends over TCP as fast as it can, each handed out in an array of its
// own.

#include "bench/support/PeerProcess.h"
#include "zt/ZTSocketLinux.h"

#include <benchmark/benchmark.h>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/SocketStream.h>
#include <nng/nng.h>
#include <nng/protocol/pair0/pair.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const std::uint16_t PORT = 15000;
const std::uint32_t LENGTH_OFFSET = 15;
const std::uint32_t HEADER_SIZE = 19; // the marker and the length

std::uint32_t lengthOf(const char* record)
{
    std::uint32_t length = 0;
    std::memcpy(&length, record + LENGTH_OFFSET, sizeof length);
    return length;
}

// Each contender listens at once, accept()s the sender, and receives record by record.

class FloorReceiver {
public:
    static constexpr const char* SENDER = "stream";

    FloorReceiver() : listening(socket(AF_INET, SOCK_STREAM, 0))
    {
        const int enabled = 1;
        setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &enabled, sizeof enabled);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(PORT);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                "bind");
        require(listen(listening, 1) == 0, "listen");
    }

    ~FloorReceiver()
    {
        close(descriptor);
        close(listening);
    }

    FloorReceiver(const FloorReceiver&) = delete;
    FloorReceiver& operator=(const FloorReceiver&) = delete;

    void accept()
    {
        descriptor = ::accept(listening, nullptr, nullptr);
        require(descriptor >= 0, "accept");
    }

    // Nothing is checked, for it is known what comes: records of one size.
    void receive(std::uint32_t size)
    {
        const std::unique_ptr<char[]> record(new char[size]);
        std::uint32_t filled = 0;
        while (filled < size) {
            if (next == end) {
                const ssize_t count = recv(descriptor, buffer, sizeof buffer, 0);
                require(count > 0, "recv");
                next = 0;
                end = static_cast<std::uint32_t>(count);
            }
            const std::uint32_t taken = std::min(size - filled, end - next);
            std::memcpy(record.get() + filled, buffer + next, taken);
            filled += taken;
            next += taken;
        }
        benchmark::DoNotOptimize(record.get());
    }

private:
    const int listening;
    int descriptor = -1;
    char buffer[1500];
    std::uint32_t next = 0;
    std::uint32_t end = 0;
};

class ZtReceiver {
public:
    static constexpr const char* SENDER = "stream";

    ZtReceiver()
    {
        char address[] = "127.0.0.1";
        server.bindSocket(address, PORT);
        require(server.listenSocket() == 0, "listenSocket");
    }

    ~ZtReceiver() { server.closeSocket(static_cast<unsigned int>(descriptor)); }

    ZtReceiver(const ZtReceiver&) = delete;
    ZtReceiver& operator=(const ZtReceiver&) = delete;

    void accept()
    {
        descriptor = server.acceptSocket();
        require(descriptor >= 0, "acceptSocket");
    }

    void receive(std::uint32_t size)
    {
        int status = 0;
        char* record = nullptr;
        while (record == nullptr) {
            record = server.getNextSocketBuffer(status, descriptor);
            require(status == 0, "getNextSocketBuffer");
        }
        require(lengthOf(record) == size, "length");
        delete[] record;
    }

private:
    ZT::ZTSocketLinux server;
    int descriptor = -1;
};

class PocoReceiver {
public:
    static constexpr const char* SENDER = "stream";

    PocoReceiver() : server(Poco::Net::SocketAddress("127.0.0.1", PORT)) {}

    void accept() { stream = std::make_unique<Poco::Net::SocketStream>(server.acceptConnection()); }

    void receive(std::uint32_t size)
    {
        char header[HEADER_SIZE];
        stream->read(header, HEADER_SIZE);
        require(stream->good() && lengthOf(header) == size, "a header");
        const std::unique_ptr<char[]> record(new char[size]);
        std::memcpy(record.get(), header, HEADER_SIZE);
        stream->read(record.get() + HEADER_SIZE, size - HEADER_SIZE);
        require(stream->good(), "a record");
    }

private:
    Poco::Net::ServerSocket server;
    std::unique_ptr<Poco::Net::SocketStream> stream;
};

class NngReceiver {
public:
    static constexpr const char* SENDER = "nng";

    NngReceiver()
    {
        require(nng_pair0_open(&socket) == 0, "nng_pair0_open");
        nng_socket_set_size(socket, NNG_OPT_RECVMAXSZ, 0);
        const std::string url = "tcp://127.0.0.1:" + std::to_string(PORT);
        require(nng_listen(socket, url.c_str(), nullptr, 0) == 0, "nng_listen");
    }

    // nng_close() may hang while a message waits, or a connection is ending: what the sender, which
    // has ended, left behind goes first.
    ~NngReceiver()
    {
        nng_socket_set_ms(socket, NNG_OPT_RECVTIMEO, QUIET_MS);
        char* record = nullptr;
        std::size_t received = 0;
        while (nng_recv(socket, &record, &received, NNG_FLAG_ALLOC) == 0) {
            nng_free(record, received);
        }
        nng_close(socket);
    }

    NngReceiver(const NngReceiver&) = delete;
    NngReceiver& operator=(const NngReceiver&) = delete;

    void accept() {}

    void receive(std::uint32_t size)
    {
        char* record = nullptr;
        std::size_t received = 0;
        require(nng_recv(socket, &record, &received, NNG_FLAG_ALLOC) == 0 && received == size,
                "nng_recv");
        nng_free(record, received);
    }

private:
    static constexpr nng_duration QUIET_MS = 20;
    nng_socket socket{};
};

template <class Receiver>
void socketRecord(benchmark::State& state)
{
    pinTo(0);
    const auto size = static_cast<std::uint32_t>(state.range(0));
    Receiver receiver;
    const PeerProcess sender(
        {ZT_PEER, Receiver::SENDER, std::to_string(PORT), std::to_string(size)});
    receiver.accept();
    receiver.receive(size);
    for ([[maybe_unused]] auto _ : state) {
        receiver.receive(size);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(28)->Arg(64 << 10)->Arg(1 << 20)->Arg(16 << 20)->UseRealTime();
}

} // namespace

BENCHMARK_TEMPLATE(socketRecord, FloorReceiver)->Apply(sizes);
BENCHMARK_TEMPLATE(socketRecord, ZtReceiver)->Apply(sizes);
BENCHMARK_TEMPLATE(socketRecord, PocoReceiver)->Apply(sizes);
BENCHMARK_TEMPLATE(socketRecord, NngReceiver)->Apply(sizes);
