#ifndef ZT_TESTS_FAKEDAEMON_H
#define ZT_TESTS_FAKEDAEMON_H

#include <cstddef>
#include <future>
#include <memory>
#include <string>

/// A daemon on a local socket that does what the test says and nothing by itself. It uses bytes,
/// not the library's record, so that it shows what is on the wire.
class FakeDaemon {
public:
    /// One client's connection; destroying it hangs up.
    class Connection {
    public:
        Connection(int descriptor, std::size_t recordSize)
            : descriptor(descriptor), recordSize(recordSize)
        {}
        ~Connection();

        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        /// Waits for a record; less if the client hangs up before.
        std::string receive();

        /// Whether the client has sent something or hung up.
        bool hasNews() const;

        void send(const std::string& bytes);

    private:
        int descriptor;
        std::size_t recordSize;
    };

    FakeDaemon(const char* path, std::size_t recordSize);
    ~FakeDaemon();

    FakeDaemon(const FakeDaemon&) = delete;
    FakeDaemon& operator=(const FakeDaemon&) = delete;

    /// Waits for a client.
    std::unique_ptr<Connection> accept();

    /// Whether a client waits to be accepted.
    bool hasClient() const;

private:
    const char* path;
    std::size_t recordSize;
    int descriptor;
};

struct FakePowerDaemon : FakeDaemon {
    FakePowerDaemon() : FakeDaemon("/var/run/ztpmd_api", 48) {}
};

struct FakeHealthDaemon : FakeDaemon {
    FakeHealthDaemon() : FakeDaemon("/var/run/zthmd_api", 36) {}
};

/// Serves the next client of a daemon from another thread: takes its request, sends the answer and
/// hangs up.
class Answer {
public:
    Answer(FakeDaemon& daemon, std::string bytes);

    /// What the client sent. It must have come.
    std::string request();

private:
    std::future<std::string> served;
};

/// Zeros but for what is laid into them.
class RecordBytes {
public:
    explicit RecordBytes(unsigned int type, std::size_t size = 48) : bytes(size, '\0')
    {
        put(0, type);
    }

    RecordBytes& put(std::size_t offset, unsigned int number);
    RecordBytes& put(std::size_t offset, const std::string& text);

    operator std::string() const { return bytes; }

private:
    std::string bytes;
};

#endif
