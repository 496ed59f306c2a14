#ifndef ZT_ZTSOCKETMESSAGE_H
#define ZT_ZTSOCKETMESSAGE_H

#include "zt/ztExport.h"

#include <cstdint>
#include <string>

namespace ZT {

/// A record that frames itself, so that ZTSocket can cut it out of a stream of bytes again:
///
///     offset  bytes
///          0     15  the marker "ZTSOCKETMESSAGE", without a NUL
///         15      4  length of the whole record, the marker included
///         19      2  type
///         21      1  flag, 1 for true
///         22      2  parameter 1
///         24      2  parameter 2
///         26      2  parameter 3
///
/// Numbers stand in the machine's byte order, and unaligned. A derived message has bytes of its own
/// from offset 28 on: it overrides calculateBufferSize() and fillBuffer(). A constructor sees only
/// its own class, so messageLength counts those bytes only if the derived constructor calls init()
/// again, or after updateMessageLength(); what fillBuffer() writes is right in any case.
///
/// A message belongs to one thread at a time. Nothing here throws.
class ZT_API ZTSocketMessage {
public:
    /// As init() says.
    ZTSocketMessage();

    /// Reads a record of at least 28 bytes, or one that ZTSocket::getNextSocketBuffer() returned.
    /// `buffer` stays the caller's and must not be null. The marker is not checked, and a flag
    /// other than 1 is false. The length comes from the peer: messageLength may be below 28.
    explicit ZTSocketMessage(char* buffer);

    /// Both copy the six fields and print a trace line in the section "zt_socket_linux"; assigning
    /// a message to itself does nothing.
    ZTSocketMessage(const ZTSocketMessage& other);
    virtual ~ZTSocketMessage();
    virtual ZTSocketMessage& operator=(const ZTSocketMessage& other);

    /// Writes the record into `buffer`, which must hold calculateBufferSize() bytes, and 28 at
    /// least: zeros first, then the 28 bytes above, with calculateBufferSize() as the length and
    /// not messageLength. Returns 28; -1 for null.
    virtual int fillBuffer(char* buffer);

    /// How many bytes the whole record has: 28, unless a derived message says more.
    virtual unsigned int calculateBufferSize();

    /// Type 200, length calculateBufferSize(), flag false, parameters 0.
    virtual void init();

    /// Writes `length` into the record in `buffer` and into messageLength.
    void updateMessageLength(char* buffer, unsigned int length);

    /// The type of the record in `buffer`.
    static std::uint16_t getMessageType(char* buffer);

    /// Does nothing; the destructor calls it.
    void release();

    static const std::string MESSAGE_HEADER;       ///< "ZTSOCKETMESSAGE"
    static const unsigned int MESSAGE_HEADER_SIZE; ///< 15

    /// The fields of the record, in its order.
    std::uint16_t messageType;
    std::uint32_t messageLength;
    bool messageFlag;
    std::uint16_t parameter1;
    std::uint16_t parameter2;
    std::uint16_t parameter3;
};

} // namespace ZT

#endif
