#ifndef ZT_ZTIPCSERVER_H
#define ZT_ZTIPCSERVER_H

#include "zt/ZTIPCEndPoint.h"

#include <string>

namespace ZT {

/// Listens on the path of a local stream socket and makes a ZTIPCEndPoint of each connection that
/// it accepts.
///
/// A server whose process is killed (SIGKILL) leaves its file, which the next one replaces; until
/// then connecting gives 14. Its clients get 7 or 8 when they send or receive.
///
/// It belongs to one thread at a time. No operation throws, but for std::bad_alloc. Failures print
/// a line in the section "zt_ipc_server", and "zt_ipc_endpoint".
class ZT_API ZTIPCServer {
public:
    /// Opens nothing.
    ZTIPCServer();

    /// Closes the listening socket. Its file stays, until a server initializes on that path again;
    /// endpoints that were accepted go on.
    virtual ~ZTIPCServer();

    ZTIPCServer(const ZTIPCServer&) = delete;
    ZTIPCServer& operator=(const ZTIPCServer&) = delete;

    /// Binds the path and listens, with a backlog of 128. A server that listens there already loses
    /// the path: its clients stay, new ones come here.
    ///
    /// The path reaches the shell, see ZTIPCEndPoint::initialize(): every file whose name begins
    /// with it is removed. 0; 3 if the server is initialized already, or the system refuses the
    /// socket, its name or listening; 20 for an empty path.
    virtual int initialize(const std::string& serverAddress);

    /// Does nothing: the destructor closes.
    virtual void deinitialize();

    /// Accepts a connection; waits without limit until there is one. The endpoint is the caller's,
    /// who deletes it; null if it fails.
    ///
    /// Its peer address is the name that the client has bound. A client without a name gives an
    /// endpoint that is not connected and has no descriptor; the connection then stays open for
    /// good, and the client waits in vain. Do not let an endpoint manager reconnect an accepted
    /// endpoint: it would bind the server's path.
    ///
    /// The endpoint's socket blocks: a handler of an endpoint manager that receives from it waits
    /// for the rest of half a frame, as long as the peer likes. Make it non-blocking (O_NONBLOCK)
    /// or set a listener, which does not hold up anybody.
    ZTIPCEndPoint* acceptConnection();

    /// The listening endpoint, which stays the server's. In an endpoint manager it is readable when
    /// a client waits to be accepted; it counts as connected once initialized. It cannot send or
    /// receive.
    ZTIPCEndPoint* getServerEndPoint();

    /// The key of the section "zt_ipc_server".
    static const unsigned int debugSection;

private:
    ZTIPCEndPoint serverEndPoint;
};

} // namespace ZT

#endif
