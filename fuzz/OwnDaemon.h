#ifndef ZT_FUZZ_OWNDAEMON_H
#define ZT_FUZZ_OWNDAEMON_H

#include <cstddef>
#include <string>

/// A daemon within this process: whoever connects while it lives, to whatever path, is its client.
/// The client finds `answer` and then the end of what comes, without having asked for it.
class OwnDaemon {
public:
    /// All is written before anybody reads, so it must fit into the socket's buffer.
    static const std::size_t LONGEST_ANSWER = 32768;

    explicit OwnDaemon(const std::string& answer);
    ~OwnDaemon();

    OwnDaemon(const OwnDaemon&) = delete;
    OwnDaemon& operator=(const OwnDaemon&) = delete;

    /// Puts the connection in the place of a socket.
    void connect(int socket);

    /// The last socket that was connected.
    int client() const { return lastClient; }

    /// What the clients have sent.
    std::string requests();

private:
    const std::string answer;
    int lastClient = -1;
    int descriptor = -1;
};

#endif
