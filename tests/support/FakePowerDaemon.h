#ifndef ZT_TESTS_FAKEPOWERDAEMON_H
#define ZT_TESTS_FAKEPOWERDAEMON_H

#include <memory>
#include <string>

/// A power daemon on "/var/run/ztpmd_api" that does what the test says and nothing by itself. It
/// uses bytes, not the library's record, so that it shows what is on the wire.
class FakePowerDaemon {
public:
    /// One client's connection; destroying it hangs up.
    class Connection {
    public:
        explicit Connection(int descriptor) : descriptor(descriptor) {}
        ~Connection();

        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        /// Waits for `size` bytes; fewer if the client hangs up before.
        std::string receive(std::size_t size = 48);

        /// Whether the client has sent something or hung up.
        bool hasNews() const;

        void send(const std::string& bytes);

    private:
        int descriptor;
    };

    FakePowerDaemon();
    ~FakePowerDaemon();

    FakePowerDaemon(const FakePowerDaemon&) = delete;
    FakePowerDaemon& operator=(const FakePowerDaemon&) = delete;

    /// Waits for a client.
    std::unique_ptr<Connection> accept();

    /// Whether a client waits to be accepted.
    bool hasClient() const;

private:
    int descriptor;
};

/// 48 bytes: zeros but for what is laid into them.
class RecordBytes {
public:
    explicit RecordBytes(unsigned int type) { put(0, type); }

    RecordBytes& put(std::size_t offset, unsigned int number);
    RecordBytes& put(std::size_t offset, const std::string& text);

    operator std::string() const { return bytes; }

private:
    std::string bytes = std::string(48, '\0');
};

#endif
