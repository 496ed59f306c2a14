#ifndef ZT_ZTPOWERMANAGEMENTENDPOINT_H
#define ZT_ZTPOWERMANAGEMENTENDPOINT_H

#include "zt/ZTEndPoint.h"

#include <cstdint>
#include <sys/socket.h>
#include <sys/un.h>

namespace ZT {

/// The connection to the power-management daemon, "/var/run/ztpmd_api": sends its records and
/// offers its descriptor for reading them. Applications use it through ZTPowerManagement.
///
/// It belongs to one thread at a time; a send may replace the descriptor. It prints nothing. An
/// endpoint manager reconnects it.
class ZT_API ZTPowerManagementEndPoint : public ZTEndPoint {
public:
    /// Opens nothing.
    ZTPowerManagementEndPoint();

    /// Closes nothing: call release() first.
    ~ZTPowerManagementEndPoint() override;

    /// Connects to the daemon; a connection that is open is closed first. Waits without limit while
    /// a daemon listens but does not accept.
    ///
    /// 0; 4 if there is no socket to be had; 14 if the daemon cannot be reached. After 14 the
    /// endpoint has a descriptor and counts as connected until release(), although nothing can be
    /// sent: sendMessage() returns 6, and a manager finds the descriptor readable.
    int init();

    /// Closes the connection. 0, also if there is none; 16 if the system's close fails, and then
    /// the descriptor is given up all the same.
    int release();

    /// Sends one ztpmd_msg_t, 48 bytes, in one write; `message` stays the caller's.
    ///
    /// Waits up to ten times 50 ms for the socket to take it, and connects anew whenever it finds
    /// that the daemon has hung up, which waits without limit while a daemon listens but does not
    /// accept. 0; 6 if the write did not take all 48 bytes, and nothing is repeated; 7 without a
    /// connection or after ten attempts; 20 for null.
    ///
    /// A daemon that has gone gives 6, until release(): the new socket cannot be connected, and
    /// nothing can be written to it. A daemon that hangs up between wait and write raises SIGPIPE,
    /// which ends the process by default: handle it (ZTSignalHandler) or ignore it.
    int sendMessage(void* message);

    int getReadEndPointID() const override;
    int getWriteEndPointID() const override;

    /// Whether there is a descriptor, also one that init() could not connect.
    bool isConnected() const override;

    /// release(), then init(); returns the result of init().
    int reconnect() override;

    /// Whether it was connected after the beginning of the wait whose outcome an endpoint manager
    /// is handing out on this thread: what that found readable was the connection before, and
    /// reading would wait.
    bool isNewerThanWait() const;

private:
    bool awaitWritable();

    std::uint16_t lastWait; // when it was connected, as WaitNumber counts; fills a gap
    int descriptor;
    sockaddr_un address;
};

} // namespace ZT

#endif
