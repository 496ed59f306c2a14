#ifndef ZT_ZTSOCKETLINUX_H
#define ZT_ZTSOCKETLINUX_H

#include "zt/ZTSocket.h"

#include <netinet/in.h>

namespace ZT {

/// A BSD socket, TCP over IPv4 unless set otherwise.
///
/// A client calls connectSocket(). A server calls bindSocket(), listenSocket(), and acceptSocket()
/// for each connection, and then uses the operations that take an `id` with what that returned; it
/// closes those itself. An example of each is in examples/.
///
/// Results are those of the system calls, -1 with errno for a failure. Where it says so, a failure
/// also prints a line on standard output. Nothing is repeated after a signal (EINTR). Sending to a
/// peer that has gone fails with EPIPE and raises no SIGPIPE. Only what getNextSocketBuffer() and
/// sending a message need memory for can throw, std::bad_alloc, and so can printing.
///
/// Programs that the process starts inherit the sockets. What a child closes after fork() is its
/// own copy: the parent's connection goes on.
class ZT_API ZTSocketLinux : public ZTSocket {
public:
    /// What resetSocket() sets, and no socket.
    ZTSocketLinux();

    /// closeSocket().
    ~ZTSocketLinux() override;

    using ZTSocket::receiveSocketData;
    using ZTSocket::sendSocketData;

    /// resetSocket().
    int initSocket() override;

    /// Sets everything but the identifier to its default: at most 5 queued connections, the option
    /// SO_REUSEADDR of SOL_SOCKET, AF_INET, SOCK_STREAM, protocol 0, address 127.0.0.1, port 15000.
    /// Always 1.
    int resetSocket() override;

    /// Creates a socket and sets the option, to 1, whether the system accepts it or not. The socket
    /// before it stays open. Returns the new identifier; below 1 for a failure, which prints
    /// "Create error: ", and is then the identifier. 0 counts as a failure, too: see that the
    /// process has a standard input.
    int createSocket();

    /// Sends on the own identifier; see sendSocketData(unsigned int, ZTSocketMessage*).
    int sendSocketData(ZTSocketMessage* message) override;

    /// Sends up to `length` bytes; the result may be less. Prints "\tError sending: ".
    int sendSocketData(unsigned int id, int* buffer, unsigned int length) override;

    /// The same on the own identifier, but prints nothing.
    int sendSocketData(int* buffer, unsigned int length) override;

    /// Receives up to `length` bytes from the own identifier; 0 when the peer has closed the
    /// connection. Prints "\tError recv2: ".
    int receiveSocketData(int* buffer, unsigned int length) override;

    /// The same from `id`, but prints "\tError recv: ".
    int receiveSocketData(unsigned int id, int* buffer, unsigned int length) override;

    /// Closes `id`, unless it is 0. Always 0.
    int closeSocket(unsigned int id) override;

    /// Closes the own socket, if there is one that has not been closed through this object. The
    /// identifier stays, but is no longer this object's: the system gives the number away again.
    /// Always 0.
    int closeSocket() override;

    /// Stores port (its low 16 bits) and address, dotted like "127.0.0.1" and not null, and calls
    /// the form without parameters. Beware: an address that is not valid leaves the one before, and
    /// the connection goes there. What is valid is for inet_aton(3) to say: "127.1" is 127.0.0.1,
    /// and "010.0.0.1" is 8.0.0.1.
    int connectSocket(char* address, unsigned int port) override;

    /// Creates a socket and connects it to the stored address. 0, or -1, which prints "Connect
    /// error: " if there was a socket; the identifier then is that of the socket, which is open.
    /// A socket from before stays open: call closeSocket() first.
    int connectSocket() override;

    /// As connectSocket(address, port), for bindSocket().
    int bindSocket(char* address, unsigned int port) override;

    /// Creates a socket and binds it to the stored address. Beware: always 0. What went wrong is
    /// only printed ("Create error: ", "Bind error: "); after the first, getSocketIdentifier() is
    /// below 1. A socket from before stays open: call closeSocket() first.
    int bindSocket() override;

    /// Lets connections queue. Prints "Listen error: ".
    int listenSocket() override;

    /// Waits for a connection and returns its identifier, which is the caller's to close; -1 prints
    /// "Accept error: ". 0, which comes only in a process without a standard input, is of no use
    /// here: it stands for no socket, or for the own one.
    ///
    /// Beware: the stored address becomes the peer's, so a later bindSocket() or connectSocket()
    /// without parameters uses that.
    int acceptSocket() override;

    /// Both do nothing and return 0.
    int exitReceiveSocketData() override;
    int resetSocketPort() override;

    /// What the next createSocket() passes to the system, and the next listenSocket().
    void setSocketDomain(int newDomain) override;
    int getSocketDomain() const override;
    void setSocketType(int newType) override;
    int getSocketType() const override;
    void setSocketProtocol(int newProtocol) override;
    int getSocketProtocol() const override;
    void setSocketMaxQueuedConnections(int newMaxQueuedConnections) override;
    int getSocketMaxQueuedConnections() const override;
    void setSocketOptionsLevel(int newOptionsLevel) override;
    int getSocketOptionsLevel() const override;
    void setSocketOptionsName(int newOptionsName) override;
    int getSocketOptionsName() const override;

    /// Receives up to 1500 bytes from the own identifier into `buffer`, which must hold 1500. -1
    /// without a socket.
    int receiveSocketData(char*& buffer) override;

    /// Receives records in a main loop: reads what has come, once and up to 1500 bytes, and moves
    /// every record that is complete now to the end of `records`, which then owns it. Reads from
    /// `id` if that is at least 1, from the own socket otherwise. It never waits, whether the
    /// socket blocks or not, and prints nothing.
    ///
    /// 0 if bytes came, also if no record is complete yet; 14 if the peer has closed the
    /// connection; 17 if nothing has come; 4 for any other failure. After 4 and 14 nothing more
    /// will come.
    ///
    /// What getNextSocketBuffer() says of records holds for these, too. It does not go through
    /// receiveSocketData(). Throws std::bad_alloc without memory, and then bytes may be lost.
    int receiveRecords(int id, std::vector<std::unique_ptr<char[]>>& records);

    /// -1 until the first createSocket(); closing does not change it.
    int getSocketIdentifier() const override;

private:
    int setAddress(const char* newAddress, unsigned int port);
    void printAddressFailure(const char* operation);

    int maxQueuedConnections;
    int optionsLevel;
    int optionsName;
    int domain;
    int type;
    int protocol;
    int identifier;
    sockaddr_in address;
    bool isOpen; // whether the identifier is still this object's to close
};

} // namespace ZT

#endif
