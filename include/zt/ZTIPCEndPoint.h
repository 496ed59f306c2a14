#ifndef ZT_ZTIPCENDPOINT_H
#define ZT_ZTIPCENDPOINT_H

#include "zt/IPCMessage.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTIPCMessageArrivalListener.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>

namespace ZT {

class ListenerGate;
class SharedSocket;
class ZTThread;
struct FrameOutcome;
struct SharedSocketRelease;

/// A connection over a local stream socket that carries IPCMessage records. A client calls
/// initialize() with a name of its own and connectTo() with the server's; a ZTIPCServer hands out
/// endpoints for the connections that it accepts.
///
/// One thread owns the endpoint and calls its operations. Beside it runs at most one listener
/// thread, once there is a listener; its callback may use the endpoint, too, whatever the owner
/// does at that time. Time limits are in milliseconds; a negative one waits without limit, 0 does
/// not wait. A signal handler that runs ends a wait, which then counts as failed. Names of sockets
/// hold at most 108 bytes. Programs that the process starts inherit the socket.
///
/// In a child made by fork() the destructor closes the child's descriptor and returns at once: it
/// neither waits for the listener thread, which is the parent's, nor disturbs it. What else such an
/// endpoint does there is undefined.
///
/// No operation throws, but for std::bad_alloc, and what setMessageArrivalListener() says. Failures
/// print a line in the section "zt_ipc_endpoint". Sending up to 255 bytes takes no memory, nor does
/// receiving into an array that is large enough, on a descriptor below 1024; neither takes a lock,
/// but to print.
class ZT_API ZTIPCEndPoint : public ZTEndPoint {
public:
    /// Opens nothing. With `autoReconnect` an endpoint manager reconnects it.
    explicit ZTIPCEndPoint(bool autoReconnect);

    /// deinitialize().
    ~ZTIPCEndPoint() override;

    /// Makes a socket and binds it to the path `address`, where it replaces what is there.
    ///
    /// With `keepSocketFile`, as a server needs it, the shell runs "rm -f " and `address` and "*"
    /// first, unquoted: that removes every file whose name begins with `address`, and a blank, a
    /// quote or a semicolon in it is the shell's to interpret. Never pass a path from outside.
    /// Without `keepSocketFile` the name is removed as soon as it is bound, so nobody can connect
    /// to it; the peer still learns it.
    ///
    /// A process that is killed (SIGKILL) while it initializes leaves at most the name, which the
    /// next one replaces, and that command: it goes on, and may remove the file of a server that is
    /// started at once.
    ///
    /// 0; 3 if there is a descriptor already, which stays, if there is no socket to be had, or if
    /// it cannot be bound; 20 for an empty address.
    int initialize(const std::string& address, bool keepSocketFile);

    /// Takes over `descriptor`, a connected socket, and closes it one day.
    ///
    /// 0; 20, and nothing is taken over, if it is negative or a string is empty, and so if
    /// std::bad_alloc is thrown. A descriptor that the endpoint had before is closed.
    int initialize(int descriptor, const std::string& address, const std::string& peerAddress);

    /// Stops the listener thread as setMessageArrivalListener(nullptr) does, closes the socket and
    /// forgets addresses and time limits. The socket's file stays.
    ///
    /// All three time limits are 0 afterwards, although connecting begins with -1: a connectTo()
    /// then makes the socket non-blocking and does not wait.
    void deinitialize();

    /// Connects to the server at the path `peerAddress`.
    ///
    /// With a connect time-out of 0 or more the socket becomes non-blocking, and stays so: sending
    /// and receiving then give what is there at once. With a negative one it waits without limit
    /// while the server's backlog is full.
    ///
    /// 0; 1 if it is connected, but had to wait for that; 14 if it failed, as it does on a
    /// connected endpoint, which counts as disconnected from then on; 17 if the time is up. The
    /// line about a failure ends with a number that means nothing.
    int connectTo(const std::string& peerAddress);

    /// Connects to the last peer again, after initialize(getEndPointAddress(), false) if there is
    /// no descriptor; results of these two. A lost connection's listener thread has ended: remove
    /// the listener and set it again.
    ///
    /// On an endpoint that a ZTIPCServer accepted this binds the server's own path, which takes it
    /// from the server, and connects to the client's name: do not set its autoReconnect.
    int reconnect() override;

    /// Whether a server listens at `path`; needs no initialize().
    ///
    /// 0 if so; 14 if it cannot be connected to; 17 if it does not answer within 100 ms; 20 for an
    /// empty path. A result of 14 or 17 leaves a descriptor open for good: do not poll with it.
    int isSocketAvailable(const std::string& path);

    /// Sends `message`, which stays the caller's, in one send(), once the socket takes something
    /// within the send time-out. A blocking socket then waits until all of it went.
    ///
    /// Only the low 8 bits of dataLength travel: more than 255 bytes arrive only where the receiver
    /// expects the same upper bits.
    ///
    /// 0; 7 if there is no connection, it is lost, or the frame went only in part, which breaks the
    /// stream; 17 if the time is up; 20 for null, a dataLength of 0 or null data. A lost connection
    /// closes the socket. No SIGPIPE is raised.
    int sendMessage(IPCMessage* message);

    /// Receives one message into `message`, once something arrives within `timeoutMs`. A blocking
    /// socket then waits without limit for the rest of the frame.
    ///
    /// `data` is an array made with new[] that can take `dataLength` bytes, or null. It is replaced
    /// if it is too small: it belongs to the message, and the caller releases it with delete[],
    /// whatever the result is. `dataLength` becomes the number of bytes received, but keeps its
    /// upper 24 bits: set it below 256 before each receive. From 300, a payload of 5 bytes becomes
    /// a length of 261.
    ///
    /// 0; 8 if there is no connection, it is lost, or the frame is cut short; 17 if the time is up;
    /// 20 for null. A lost connection closes the socket. A peer that has simply left prints
    /// "Connection refused peerThe other end of the connection is closed. (0 bytesH)": nothing was
    /// refused.
    int receiveMessage(IPCMessage* message, long timeoutMs);

    /// The same with the receive time-out.
    int receiveMessage(IPCMessage* message);

    /// At first -1 for connecting, and 0 for receiving and sending: do not wait.
    void setConnectTimeout(long milliseconds);
    void setReceiveTimeout(long milliseconds);
    void setSendTimeout(long milliseconds);

    /// The paths of the own socket and of the peer's; empty until they are known.
    std::string getEndPointAddress() const;
    std::string getPeerEndPointAddress() const;

    /// The socket; -1 if there is none.
    int getReadEndPointID() const override;
    int getWriteEndPointID() const override;

    /// Whether there is a connection that is not known to be lost.
    bool isConnected() const override;

    /// Sets, replaces or (null) removes the listener, which stays the caller's.
    ///
    /// Setting one where there is none starts the thread "MsgArrivalLstnr", which receives with the
    /// receive time-out and calls the listener, until the connection is lost, be it by sending.
    /// Connect first: on an endpoint without connection the thread ends at once. Set a receive
    /// time-out first, too: with 0 the thread polls without pause, and prints a line each time. A
    /// message of which a part has come it waits for, whatever the time-out, and whether or not the
    /// socket blocks.
    ///
    /// When this returns, the old listener is not running and will not be called again, unless it
    /// is the caller: then it is not called again. It therefore waits for a callback that runs,
    /// also for one that has removed itself; do not hold what that needs. There is one thread at
    /// most: a callback that removes the listener and sets one goes on with that. What has not
    /// arrived whole stays in the socket.
    ///
    /// 0; 10 if no thread can be had because the descriptors have run out, and in a callback while
    /// the owner removes the listener, deinitializes or destroys the endpoint. Throws
    /// boost::thread_resource_error if the system starts no thread or has no mutex. All of these
    /// leave no listener.
    int setMessageArrivalListener(ZTIPCMessageArrivalListener* listener);

    /// Null if there is none.
    ZTIPCMessageArrivalListener* getMessageArrivalListener() const;

    /// Holds the listener thread between two messages (false), so that the owner can receive
    /// itself, or lets it go on (true). Does nothing without a listener.
    ///
    /// `false` ends the thread's wait for a message, or for the rest of one, and waits for a
    /// callback that runs. A second `false` waits until another thread says `true`. From inside the
    /// callback `false` does not wait: it holds the thread once the callback returns.
    void setMessageArrivalListenerActive(bool active);

    /// What the listener thread runs; `endpoint` is its ZTIPCEndPoint.
    static void messageArrivalListenerThreadFunc(void* endpoint);

    /// The key of the section "zt_ipc_endpoint".
    static const unsigned int debugSection;

private:
    friend class ZTIPCServer;

    // Held by whoever uses the socket, so that its number cannot be another's in the meantime.
    using Socket = std::unique_ptr<SharedSocket, SharedSocketRelease>;

    Socket getSocket() const;
    void setSocket(int newDescriptor, bool newConnected);
    void setConnected(const Socket& used, bool newConnected);
    void loseConnection(Socket& used);
    void setAddress(std::string& address, const std::string& newAddress);

    int receive(IPCMessage* message, long timeoutMs, const ListenerGate* passed);
    int conclude(Socket& used, const FrameOutcome& outcome);

    int startListening(ZTIPCMessageArrivalListener* newListener);
    void stopListening();
    void deliverMessages();
    void wakeListener();

    std::atomic<int> descriptor;
    std::string ownAddress;
    std::string peerAddress;
    std::atomic<long> connectTimeout;
    std::atomic<long> receiveTimeout;
    std::atomic<long> sendTimeout;
    std::atomic<bool> connected;
    std::atomic<bool> nameUnlinked;
    std::atomic<ZTIPCMessageArrivalListener*> listener;
    std::unique_ptr<ZTThread> thread;
    std::shared_ptr<ListenerGate> gate;

    mutable std::mutex mutex; // for the addresses, and for changes of the socket and its state
    std::atomic<SharedSocket*> socket;
    std::unique_ptr<SharedSocket> places; // of all sockets so far
};

} // namespace ZT

#endif
