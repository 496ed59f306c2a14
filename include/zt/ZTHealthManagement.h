#ifndef ZT_ZTHEALTHMANAGEMENT_H
#define ZT_ZTHEALTHMANAGEMENT_H

#include "zt/ztExport.h"

#include <cstdint>

namespace ZT {

struct zthmd_msg_t;

/// What can be asked of the health-monitor daemon: four values, each to get and to set.
enum ZTHealthManagementCommand : std::uint32_t {
    COMMAND_20 = 20, ///< gets a byte
    COMMAND_25 = 25, ///< sets it
    COMMAND_26 = 26, ///< gets a byte
    COMMAND_27 = 27, ///< sets it
    COMMAND_29 = 29, ///< gets a byte
    COMMAND_30 = 30, ///< sets it
    COMMAND_32 = 32, ///< gets a 32-bit value
    COMMAND_33 = 33  ///< sets it
};

/// The application's way to the health-monitor daemon, "/var/run/zthmd_api". It keeps nothing:
/// every message has a connection of its own, so any thread may send. Nothing is printed, nothing
/// throws.
class ZT_API ZTHealthManagement {
public:
    ZTHealthManagement();
    virtual ~ZTHealthManagement();

    /// Sends a command to the daemon and, if `waitForReply`, waits for the answer.
    ///
    /// `data` points to the byte or 32-bit value of the command, at any alignment: what is to be
    /// set is read from it, and an answer is stored in it, after a set command too. It must not be
    /// null where it is used; that is not tested. Any result but 0 leaves it unchanged.
    ///
    /// 0; 1 for an answer of another type, and when the daemon hangs up without one; 7 if the
    /// command could not be sent; 8 if receiving failed; 11, with nothing sent, for a number that
    /// is no ZTHealthManagementCommand; 14 if the daemon cannot be reached. Without `waitForReply`
    /// 0 means that the command has left, not that it was heeded.
    ///
    /// There is no time limit: a daemon that does not accept or does not answer is waited for. A
    /// short answer is not noticed: bytes that did not come are those of the request, so a get
    /// command stores zeros in their place. A daemon that hangs up while the command leaves raises
    /// SIGPIPE, which ends the process by default: handle it (ZTSignalHandler) or ignore it.
    /// Nothing is repeated after another signal (EINTR). Programs that another thread starts
    /// meanwhile inherit the connection: the daemon sees its end only after theirs.
    static int sendMessage(ZTHealthManagementCommand command, void* data, bool waitForReply);
};

/// Exchanges one record with the health-monitor daemon over a connection of its own: sends
/// `message` and receives the answer into it. Any thread may call it. Nothing is printed, nothing
/// throws.
///
/// 0; 1 if sending or receiving failed, so also without a daemon. As with
/// ZTHealthManagement::sendMessage() it waits without limit, a short answer overlays the beginning
/// of the request only, SIGPIPE may come, nothing is repeated after another signal, and programs
/// inherit the connection. A daemon that hangs up without an answer gives 0 and
/// leaves the request as it is.
ZT_API int sendCommandToHealthDaemon(zthmd_msg_t* message);

} // namespace ZT

#endif
