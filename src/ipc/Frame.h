#ifndef ZT_FRAME_H
#define ZT_FRAME_H

#include "zt/IPCMessage.h"

#include <cstdint>

namespace ZT {

/// How sending or receiving a frame went.
struct FrameOutcome {
    int result;          ///< the operation's result code
    const char* message; ///< what there is to print, or null
    bool isLost;         ///< whether the connection is
};

/// The size of a frame with so many bytes of data as the value of a socket option, which is at most
/// INT_MAX.
int frameSizeAsOption(std::uint32_t dataLength);

/// Sends a message in one piece. Throws std::bad_alloc without memory for that.
FrameOutcome sendFrame(int descriptor, const IPCMessage& message);

/// Receives a message in two pieces, the header and the data, with `flags` as of recv(). Throws
/// std::bad_alloc without memory for the data.
FrameOutcome receiveFrame(int descriptor, IPCMessage& message, int flags);

/// Whether a frame of up to 255 bytes of data has arrived, but not all of it.
bool hasPartOfFrame(int descriptor);

} // namespace ZT

#endif
