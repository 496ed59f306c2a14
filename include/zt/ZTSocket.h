#ifndef ZT_ZTSOCKET_H
#define ZT_ZTSOCKET_H

#include "zt/ztExport.h"

#include <deque>
#include <memory>
#include <vector>

namespace ZT {

class ZTSocketMessage;

/// A stream socket that sends framed records (ZTSocketMessage) whole and cuts the bytes that it
/// receives into complete records again. ZTSocketLinux implements the raw operations; where their
/// results come from is said there.
///
/// An `id` is the identifier of a connection, as acceptSocket() and getSocketIdentifier() return
/// it. One object puts the records of one connection together: reading two through the same object
/// mixes their bytes, so a server has one object for each connection that it reads records from.
///
/// An object belongs to one thread at a time.
class ZT_API ZTSocket {
public:
    ZTSocket();

    /// Records that are complete but were not fetched, and the bytes of one that is not complete,
    /// are not freed: call getNextSocketBuffer() until it returns null, and dropPartialAbove(0),
    /// first.
    virtual ~ZTSocket();

    ZTSocket(const ZTSocket&) = delete;
    ZTSocket& operator=(const ZTSocket&) = delete;

    /// The raw operations: ZTSocketLinux says what each does.
    virtual int initSocket() = 0;
    virtual int resetSocket() = 0;
    virtual int sendSocketData(ZTSocketMessage* message) = 0;
    virtual int sendSocketData(unsigned int id, int* buffer, unsigned int length) = 0;
    virtual int sendSocketData(int* buffer, unsigned int length) = 0;
    virtual int receiveSocketData(int* buffer, unsigned int length) = 0;

    /// An override stores at most `length` bytes, and returns how many, 0 when the peer has closed
    /// the connection, or a negative number with the reason in errno.
    virtual int receiveSocketData(unsigned int id, int* buffer, unsigned int length) = 0;

    /// The raw operations, see ZTSocketLinux.
    virtual int closeSocket(unsigned int id) = 0;
    virtual int closeSocket() = 0;
    virtual int connectSocket(char* address, unsigned int port) = 0;
    virtual int connectSocket() = 0;
    virtual int bindSocket(char* address, unsigned int port) = 0;
    virtual int bindSocket() = 0;
    virtual int listenSocket() = 0;
    virtual int acceptSocket() = 0;
    virtual int exitReceiveSocketData() = 0;
    virtual int resetSocketPort() = 0;
    virtual void setSocketDomain(int newDomain) = 0;
    virtual int getSocketDomain() const = 0;
    virtual void setSocketType(int newType) = 0;
    virtual int getSocketType() const = 0;
    virtual void setSocketProtocol(int newProtocol) = 0;
    virtual int getSocketProtocol() const = 0;
    virtual void setSocketMaxQueuedConnections(int newMaxQueuedConnections) = 0;
    virtual int getSocketMaxQueuedConnections() const = 0;
    virtual void setSocketOptionsLevel(int newOptionsLevel) = 0;
    virtual int getSocketOptionsLevel() const = 0;
    virtual void setSocketOptionsName(int newOptionsName) = 0;
    virtual int getSocketOptionsName() const = 0;
    virtual int receiveSocketData(char*& buffer) = 0;

    /// Receives up to 1500 bytes into `buffer`, which must hold 1500 and stays the caller's.
    /// Returns how many came, 0 when the peer has closed the connection, negative on an error.
    virtual int receiveSocketData(unsigned int id, char*& buffer);

    /// Sends the whole record, as its fillBuffer() writes it, with one call; `message` stays the
    /// caller's and must not be null. Returns what sending returned: less than the record's size if
    /// only a part went, and then the rest is lost. Throws std::bad_alloc without memory.
    virtual int sendSocketData(unsigned int id, ZTSocketMessage* message);

    /// The own socket, see ZTSocketLinux.
    virtual int getSocketIdentifier() const = 0;

    /// The next complete record, in an array of exactly its length (but with room for 28 bytes at
    /// least, zeros behind a shorter record), which the caller frees with delete[]; or null.
    ///
    /// Reads once, up to 1500 bytes, and only if no complete record waits: from `id` if that is at
    /// least 1, from the own socket otherwise. `status`:
    /// - 0: there is a record.
    /// - 4: receiving failed, also because a signal came (EINTR): then call again.
    /// - 14: the peer has closed the connection.
    /// - 17: nothing has come (EAGAIN), as a socket that does not block says. ZTSocketLinux prints
    ///   a line each time, as for any failure: in a main loop use ZTSocketLinux::receiveRecords().
    /// - unchanged, with null: bytes came, but no record is complete yet. Call again.
    ///
    /// Bytes that are no record are dropped. Beware: so is the marker when nothing behind it has
    /// come yet, and its record is lost. A peer sends at least the first 16 bytes of a record with
    /// one call, as sendSocketData() does.
    ///
    /// A read that begins with the marker begins a record. What is held of one before stays held,
    /// until a read goes on without the marker or leaves another part over. So a record whose
    /// length is 0 or too large swallows what follows, except reads that begin with the marker;
    /// beyond MAX_PARTIAL_SIZE the held bytes are dropped, which prints one line in the section
    /// "zt_socket_linux".
    ///
    /// The contents of a record, and its length above all, are what the peer sent. Throws
    /// std::bad_alloc without memory, and then what was read is lost.
    char* getNextSocketBuffer(int& status, int id);

    /// Drops what is held of an incomplete record if that is more than `size` bytes, and tells
    /// whether it was. Nothing is printed.
    ///
    /// So an application bounds what a peer can make it hold. After each getNextSocketBuffer() it
    /// calls this with the size of the largest record that it expects, of which less is ever held,
    /// and may close the connection to a peer that sends more.
    bool dropPartialAbove(unsigned int size);

    /// So many bytes of an incomplete record are held at most: 64 MiB.
    static const unsigned int MAX_PARTIAL_SIZE = 64 * 1024 * 1024;

    /// The key of the section "zt_socket_linux".
    static const unsigned int myDebugKey;

protected:
    /// So many bytes are read at once at most.
    static const unsigned int READ_SIZE = 1500;

    /// Adds the bytes of one read to what is held, as getNextSocketBuffer() does, and moves all
    /// records that are complete to the end of `taken`. Throws std::bad_alloc without memory, and
    /// then bytes may be lost.
    void takeRecords(const char* bytes, unsigned int size,
                     std::vector<std::unique_ptr<char[]>>& taken);

private:
    void takeBytes(const char* bytes, unsigned int size);
    void continueRecord(const char* bytes, unsigned int size);
    void appendToPartial(const char* bytes, unsigned int size);
    void dropPartial();
    void cutRecords(const char* bytes, unsigned int size);
    void keepAsPartial(const char* bytes, unsigned int size);
    void queueRecord(const char* bytes, unsigned int size);

    std::deque<char*> records;
    char* partial; // null if nothing is held
    int partialLength;
    char receiveBuffer[READ_SIZE];
};

} // namespace ZT

#endif
