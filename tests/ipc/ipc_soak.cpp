// ipc_soak MESSAGES [SEED]: two processes exchange so many messages of random sizes, with pauses
// and reconnections. Ends with 0 if all arrived, once, whole and in order, and neither process
// holds more descriptors or memory than after the first tenth.

#include "zt/ZTIPCServer.h"
#include "ztutil/ZTDebug.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <malloc.h>
#include <memory>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

const long WITHOUT_LIMIT = -1;
const std::uint32_t WANTS_ECHO = 1;
const std::uint32_t PLAIN = 0;

const std::size_t GROWTH_ALLOWED = 1 << 16; // bytes

[[noreturn]] void fail(const char* claim, std::uint32_t number)
{
    std::fprintf(stderr, "ipc_soak: message %u: %s\n", number, claim);
    std::_Exit(1);
}

void check(bool holds, const char* claim, std::uint32_t number)
{
    if (!holds) {
        fail(claim, number);
    }
}

// What message `number` carries, the same in both processes: 1 to 255 bytes.
std::string payload(std::uint32_t number)
{
    std::minstd_rand random(number + 1);
    std::string bytes(1 + random() % 255, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

struct Message : IPCMessage {
    Message() : IPCMessage{0, 0, 0, nullptr} {}
    Message(std::uint32_t number, std::uint32_t wish) : IPCMessage{number, wish, 0, nullptr}
    {
        const std::string bytes = payload(number);
        dataLength = static_cast<std::uint32_t>(bytes.size());
        data = new unsigned char[bytes.size()];
        bytes.copy(reinterpret_cast<char*>(data), bytes.size());
    }
    ~Message() { delete[] data; }

    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;
};

void checkMessage(const IPCMessage& message, std::uint32_t number)
{
    check(message.header1 == number, "out of order", number);
    const std::string bytes(reinterpret_cast<char*>(message.data), message.dataLength);
    check(bytes == payload(number), "not what was sent", number);
}

// Descriptors and memory of this process.
class Holdings {
public:
    void note()
    {
        descriptors = countDescriptors();
        bytes = allocatedBytes();
    }

    void checkUnchanged(std::uint32_t number) const
    {
        check(countDescriptors() == descriptors, "descriptors are left open", number);
        check(allocatedBytes() < bytes + GROWTH_ALLOWED, "memory is lost", number);
    }

private:
    static long countDescriptors()
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    }

    // In use of the heap; a sanitizer's own is not looked at.
    static std::size_t allocatedBytes()
    {
        const struct mallinfo2 heap = mallinfo2();
        return heap.uordblks + heap.hblkhd;
    }

    long descriptors = 0;
    std::size_t bytes = 0;
};

class Client {
public:
    Client(std::string folder, std::uint32_t messages, unsigned int seed)
        : folder(std::move(folder)), messages(messages), random(seed)
    {}

    void run()
    {
        for (std::uint32_t number = 0; number < messages; ++number) {
            if (number == 0 || random() % 5000 == 0) {
                connect(number);
            }
            if (random() % 1000 == 0) {
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
            }
            if (number == messages / 10) {
                holdings.note();
            }
            send(number);
        }
        holdings.checkUnchanged(messages);
    }

private:
    void connect(std::uint32_t number)
    {
        endPoint.deinitialize();
        endPoint.setConnectTimeout(WITHOUT_LIMIT);
        endPoint.setSendTimeout(WITHOUT_LIMIT);
        check(endPoint.initialize(folder + "/client", false) == 0, "cannot bind", number);
        check(endPoint.connectTo(folder + "/server") == 0, "cannot connect", number);
    }

    void send(std::uint32_t number)
    {
        const bool withEcho = random() % 50 == 0;
        Message message(number, withEcho ? WANTS_ECHO : PLAIN);
        check(endPoint.sendMessage(&message) == 0, "cannot be sent", number);
        if (withEcho) {
            Message echo;
            check(endPoint.receiveMessage(&echo, WITHOUT_LIMIT) == 0, "has no echo", number);
            checkMessage(echo, number);
        }
    }

    const std::string folder;
    const std::uint32_t messages;
    std::minstd_rand random;
    ZT::ZTIPCEndPoint endPoint{false};
    Holdings holdings;
};

// Takes every second connection's messages through a listener, the others' itself.
class Server : public ZT::ZTIPCMessageArrivalListener {
public:
    Server(const std::string& folder, std::uint32_t messages) : messages(messages)
    {
        check(server.initialize(folder + "/server") == 0, "cannot listen", 0);
    }

    void onMessageArrival(IPCMessage* message) override { take(*message); }

    void run()
    {
        for (bool byListener = false; received < messages; byListener = !byListener) {
            endPoint.reset(server.acceptConnection());
            check(endPoint != nullptr, "cannot accept", received);
            endPoint->setSendTimeout(WITHOUT_LIMIT);
            if (byListener) {
                listen();
            } else {
                receive();
            }
            if (noted == 0 && received > messages / 10) {
                noted = received;
                endPoint.reset();
                holdings.note();
            }
        }
        endPoint.reset();
        if (noted != 0 && noted < messages) {
            holdings.checkUnchanged(received);
        }
    }

    int connections = 0;

private:
    void listen()
    {
        endPoint->setReceiveTimeout(WITHOUT_LIMIT);
        endPoint->setMessageArrivalListener(this);
        while (endPoint->isConnected()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        endPoint->setMessageArrivalListener(nullptr);
        ++connections;
    }

    void receive()
    {
        Message message;
        while (endPoint->receiveMessage(&message, WITHOUT_LIMIT) == 0) {
            take(message);
            message.dataLength = 0;
        }
        check(!endPoint->isConnected(), "cannot be received", received);
        ++connections;
    }

    void take(IPCMessage& message)
    {
        checkMessage(message, received);
        if (message.header2 == WANTS_ECHO) {
            check(endPoint->sendMessage(&message) == 0, "cannot be echoed", received);
        }
        ++received;
    }

    const std::uint32_t messages;
    ZT::ZTIPCServer server;
    std::unique_ptr<ZT::ZTIPCEndPoint> endPoint;
    std::uint32_t received = 0;
    std::uint32_t noted = 0;
    Holdings holdings;
};

int run(const std::string& folder, std::uint32_t messages, unsigned int seed)
{
    Server server(folder, messages);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        Client(folder, messages, seed).run();
        std::_Exit(0);
    }
    server.run();
    int status = -1;
    waitpid(child, &status, 0);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::printf("%u messages over %d connections in %.1f s, seed %u\n", messages,
                server.connections, time.count(), seed);
    return status == 0 ? 0 : 1;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2) {
        std::fprintf(stderr, "usage: ipc_soak MESSAGES [SEED]\n");
        return 2;
    }
    const auto messages = static_cast<std::uint32_t>(std::strtoul(arguments[1], nullptr, 10));
    const unsigned int seed =
        count > 2 ? static_cast<unsigned int>(std::strtoul(arguments[2], nullptr, 10))
                  : std::random_device()();
    std::string folder = std::filesystem::temp_directory_path() / "zt.XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        std::perror("ipc_soak");
        return 1;
    }
    ZT::ZTDebug::setLevel(0); // each reconnection is a lost connection
    const int result = run(folder, messages, seed);
    std::filesystem::remove_all(folder);
    return result;
}
