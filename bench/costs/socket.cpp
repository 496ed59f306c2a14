#include "bench/costs/Operations.h"
#include "bench/support/require.h"
#include "zt/ZTSocketLinux.h"
#include "zt/ZTSocketMessage.h"

#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

const std::size_t READ_SIZE = 1500;

// A socket whose reads are what it is fed with.
class FedSocket : public ZT::ZTSocketLinux {
public:
    using ZTSocketLinux::receiveSocketData;

    int receiveSocketData(char*& buffer) override
    {
        std::memcpy(buffer, fed, size);
        return static_cast<int>(size);
    }

    // One read; whoever takes a record deletes it.
    std::unique_ptr<char[]> take(const char* bytes, std::size_t count)
    {
        fed = bytes;
        size = count;
        int status = 0;
        return std::unique_ptr<char[]>(getNextSocketBuffer(status, 0));
    }

private:
    const char* fed = nullptr;
    std::size_t size = 0;
};

std::vector<char> record(std::size_t size)
{
    std::vector<char> bytes(size);
    ZT::ZTSocketMessage message;
    message.fillBuffer(bytes.data());
    message.updateMessageLength(bytes.data(), static_cast<unsigned int>(size));
    return bytes;
}

void fill(Meter& meter, std::size_t size)
{
    std::vector<char> bytes(size);
    ZT::ZTSocketMessage message;
    meter.count([&] { require(message.fillBuffer(bytes.data()) == 28, "fillBuffer"); });
}

void parse(Meter& meter, std::size_t size)
{
    std::vector<char> bytes = record(size);
    meter.count([&] {
        const ZT::ZTSocketMessage message(bytes.data());
        require(message.messageLength == bytes.size(), "length");
    });
}

void whole(Meter& meter, std::size_t size)
{
    const std::vector<char> bytes = record(size);
    FedSocket socket;
    meter.count([&] { require(socket.take(bytes.data(), size) != nullptr, "a record"); });
}

void wholeByHand(Meter& meter, std::size_t size)
{
    const std::vector<char> bytes = record(size);
    meter.count([&] {
        char read[READ_SIZE];
        std::memcpy(read, bytes.data(), bytes.size());
        std::uint32_t length = 0;
        require(std::memcmp(read, "ZTSOCKETMESSAGE", 15) == 0, "marker");
        std::memcpy(&length, read + 15, sizeof length);
        require(length == bytes.size(), "length");
        const std::unique_ptr<char[]> taken(new char[length]);
        std::memcpy(taken.get(), read, length);
        asm volatile("" ::"r"(taken.get()) : "memory"); // lest the copy be left out
    });
}

// As many as one read can hold.
std::vector<char> manyRecords(std::size_t size)
{
    std::vector<char> bytes;
    const std::vector<char> one = record(size);
    while (bytes.size() + size <= READ_SIZE) {
        bytes.insert(bytes.end(), one.begin(), one.end());
    }
    return bytes;
}

void manyInOneRead(Meter& meter, std::size_t size)
{
    const std::vector<char> bytes = manyRecords(size);
    FedSocket socket;
    meter.count([&] {
        for (std::size_t taken = 0; taken < bytes.size(); taken += size) {
            require(socket.take(bytes.data(), bytes.size()) != nullptr, "a record");
        }
    });
}

void receiveRecords(Meter& meter, std::size_t size)
{
    const std::vector<char> bytes = manyRecords(size);
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "socketpair");
    ZT::ZTSocketLinux socket;
    meter.count([&] { require(write(ends[1], bytes.data(), bytes.size()) > 0, "write"); },
                [&] {
                    std::vector<std::unique_ptr<char[]>> records;
                    require(socket.receiveRecords(ends[0], records) == 0, "receiveRecords");
                    require(records.size() == bytes.size() / size, "records");
                });
    close(ends[0]);
    close(ends[1]);
}

// In two reads, the first of which has `cut` bytes.
void inTwo(Meter& meter, std::size_t cut)
{
    const std::size_t size = 100;
    const std::vector<char> bytes = record(size);
    FedSocket socket;
    meter.count([&] {
        require(socket.take(bytes.data(), cut) == nullptr, "no record yet");
        require(socket.take(bytes.data() + cut, size - cut) != nullptr, "a record");
    });
}

void inFullReads(Meter& meter, std::size_t size)
{
    const std::vector<char> bytes = record(size);
    FedSocket socket;
    meter.count([&] {
        std::unique_ptr<char[]> taken;
        for (std::size_t done = 0; done < size; done += READ_SIZE) {
            taken = socket.take(bytes.data() + done, std::min(READ_SIZE, size - done));
        }
        require(taken != nullptr, "a record");
    });
}

// One copy into the array that is handed out, whose size the first read tells.
void inFullReadsByHand(Meter& meter, std::size_t size)
{
    const std::vector<char> bytes = record(size);
    meter.count([&] {
        std::unique_ptr<char[]> taken;
        std::uint32_t length = 0;
        for (std::size_t done = 0; done < size; done += READ_SIZE) {
            char read[READ_SIZE];
            const std::size_t count = std::min(READ_SIZE, size - done);
            std::memcpy(read, bytes.data() + done, count);
            if (taken == nullptr) {
                require(std::memcmp(read, "ZTSOCKETMESSAGE", 15) == 0, "marker");
                std::memcpy(&length, read + 15, sizeof length);
                taken.reset(new char[length]);
            }
            std::memcpy(taken.get() + done, read, count);
        }
        asm volatile("" ::"r"(taken.get()) : "memory"); // lest the copy be left out
    });
}

const Operations ADDED({
    {"socket: fill a message", fill, 28},
    {"socket: parse a message", parse, 28},
    {"socket: record of 28 bytes", whole, 28},
    {"socket: record of 28 bytes, by hand", wholeByHand, 28},
    {"socket: record of 100 bytes", whole, 100},
    {"socket: record of 100 bytes, by hand", wholeByHand, 100},
    {"socket: record of 1000 bytes", whole, 1000},
    {"socket: record of 1000 bytes, by hand", wholeByHand, 1000},
    {"socket: 53 records of 28 bytes in a read", manyInOneRead, 28},
    {"socket: 53 records of 28 bytes with receiveRecords()", receiveRecords, 28},
    {"socket: record cut in the marker", inTwo, 7},
    {"socket: record cut in the length", inTwo, 17},
    {"socket: record cut behind the length", inTwo, 19},
    {"socket: record cut in the data", inTwo, 50},
    {"socket: record of 10000 bytes in full reads", inFullReads, 10000},
    {"socket: record of 10000 bytes in full reads, by hand", inFullReadsByHand, 10000},
    {"socket: record of 65536 bytes in full reads, by hand", inFullReadsByHand, 65536},
    {"socket: record of 65536 bytes in full reads", inFullReads, 65536},
});

} // namespace
