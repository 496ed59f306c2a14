#ifndef ZT_IPCMESSAGE_H
#define ZT_IPCMESSAGE_H

#include <cstdint>

/// What a ZT::ZTIPCEndPoint sends and receives. On the wire it is one frame, in host byte order and
/// without padding:
///
///     offset 0   4 bytes            header1
///            4   4 bytes            header2
///            8   1 byte             the low 8 bits of dataLength
///            9   dataLength bytes   data
///
/// The two header words mean what the protocol that uses the endpoint makes of them.
struct IPCMessage {
    std::uint32_t header1;    ///< as the protocol says
    std::uint32_t header2;    ///< as the protocol says
    std::uint32_t dataLength; ///< bytes in `data`
    unsigned char* data;      ///< made with new[], or null
};

#endif
