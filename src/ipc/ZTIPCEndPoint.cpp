#include "zt/ZTIPCEndPoint.h"

#include "ipc/DescriptorSet.h"
#include "ipc/ListenerGate.h"
#include "ipc/OpenDescriptor.h"
#include "zt/ZTThread.h"

#include "ztutil/ZTDebug.h"

#include <boost/thread/thread.hpp>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>
#include <vector>

namespace ZT {

namespace {

const int NO_DESCRIPTOR = -1;
const long PROBE_MS = 100;

// A frame's header is the beginning of an IPCMessage, up to the low byte of its length.
const std::size_t HEADER_SIZE = 9;
const std::size_t LONGEST_LISTENED_FRAME = HEADER_SIZE + 255;
static_assert(offsetof(IPCMessage, dataLength) == HEADER_SIZE - 1 &&
                  __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the header can be received in place");

// How often a listener thread looks whether the rest of a frame has come.
const int REST_INTERVAL_MS = 10;

// What the listener thread expects a message to be.
const std::uint32_t LISTENED_HEADER1 = 255;
const std::uint32_t LISTENED_CAPACITY = 1;

struct ListenedMessage : IPCMessage {
    ListenedMessage() : IPCMessage()
    {
        header1 = LISTENED_HEADER1;
        dataLength = LISTENED_CAPACITY;
        data = new unsigned char[LISTENED_CAPACITY]();
    }
    ~ListenedMessage() { delete[] data; }

    ListenedMessage(const ListenedMessage&) = delete;
    ListenedMessage& operator=(const ListenedMessage&) = delete;
};

class Pass {
public:
    explicit Pass(ListenerGate& gate) : gate(gate) {}
    ~Pass() { gate.leave(); }

    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

private:
    ListenerGate& gate;
};

void print(const char* message)
{
    ZTDebug::debugPrintError(1, ZTIPCEndPoint::debugSection, "%s", message);
}

void printConnectFailure(const std::string& message, int error, const std::string& peerAddress)
{
// The peer has always been printed as a number. What reads these lines expects one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    ZTDebug::debugPrintError(1, ZTIPCEndPoint::debugSection, "%s %s %s %d", message.c_str(),
                             std::strerror(error), " peer: ", peerAddress.c_str());
#pragma GCC diagnostic pop
}

timeval toTimeval(long milliseconds)
{
    timeval time{};
    time.tv_sec = milliseconds / 1000;
    time.tv_usec = milliseconds % 1000 * 1000;
    return time;
}

// Returns what select() returns; `descriptors` are then those that are ready.

int awaitReadable(DescriptorSet& descriptors, long timeoutMs)
{
    timeval time = toTimeval(timeoutMs);
    return descriptors.selectReadable(timeoutMs < 0 ? nullptr : &time);
}

int awaitWritable(DescriptorSet& descriptors, long timeoutMs)
{
    timeval time = toTimeval(timeoutMs);
    return descriptors.selectWritable(timeoutMs < 0 ? nullptr : &time);
}

void setSocketOption(int descriptor, int option, std::uint32_t value)
{
    setsockopt(descriptor, SOL_SOCKET, option, &value, sizeof value);
}

void removeFilesThatBeginWith(const std::string& path)
{
    [[maybe_unused]] const int status = std::system(("rm -f " + path + "*").c_str());
}

// False, with errno, for a path that does not fit.
bool fillAddress(sockaddr_un& address, const std::string& path)
{
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() > sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::strncpy(address.sun_path, path.c_str(), path.size());
    return true;
}

bool bindTo(int descriptor, const std::string& path)
{
    sockaddr_un address;
    unlink(path.c_str());
    return fillAddress(address, path) &&
           bind(descriptor, reinterpret_cast<sockaddr*>(&address),
                static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size())) == 0;
}

bool connectToPath(int descriptor, const std::string& path)
{
    sockaddr_un address;
    errno = 0;
    return fillAddress(address, path) &&
           connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

// 0 if it is connected at once, 1 if that took a wait; 14 or 17 after a line that begins with
// `operation`.
int connectWithin(int descriptor, const std::string& path, long timeoutMs,
                  const std::string& operation)
{
    if (connectToPath(descriptor, path)) {
        return 0;
    }
    const int error = errno;
    if (error != EINPROGRESS) {
        printConnectFailure(operation + " failed: ", error, path);
        return 14;
    }
    DescriptorSet descriptors;
    descriptors.add(descriptor);
    const int ready = awaitWritable(descriptors, timeoutMs);
    if (ready > 0) {
        return ready;
    }
    print((operation + (ready == 0 ? " times out" : " failed")).c_str());
    return ready == 0 ? 17 : 14;
}

std::vector<unsigned char> frameOf(const IPCMessage& message)
{
    const auto* header = reinterpret_cast<const unsigned char*>(&message);
    std::vector<unsigned char> frame;
    frame.reserve(HEADER_SIZE + message.dataLength);
    frame.insert(frame.end(), header, header + HEADER_SIZE);
    frame.insert(frame.end(), message.data, message.data + message.dataLength);
    return frame;
}

// Whether receiving the frame at the front of a blocking socket would wait for the rest of it.
bool wouldWaitForRest(int descriptor)
{
    unsigned char frame[LONGEST_LISTENED_FRAME];
    const ssize_t there = recv(descriptor, frame, sizeof frame, MSG_PEEK | MSG_DONTWAIT);
    const auto size = static_cast<std::size_t>(std::max<ssize_t>(there, 0));
    return size > 0 && (size < HEADER_SIZE || size < HEADER_SIZE + frame[HEADER_SIZE - 1]) &&
           (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0;
}

// Waits until receiving a frame does not wait, be it that all of it is there or that the rest will
// never come. False if `wake` becomes readable before. Senders send a frame as one piece, so to
// look from time to time is good enough for those that do not.
bool awaitWholeFrame(int descriptor, int wake)
{
    while (wouldWaitForRest(descriptor)) {
        pollfd events[] = {{wake, POLLIN, 0}, {descriptor, POLLRDHUP, 0}};
        poll(events, 2, REST_INTERVAL_MS);
        if (events[0].revents != 0) {
            return false;
        }
        if (events[1].revents != 0) {
            return true;
        }
    }
    return true;
}

// Makes room for dataLength bytes where there is room for `capacity`.
void prepareData(IPCMessage& message, std::uint32_t capacity)
{
    if (message.data == nullptr && message.dataLength == 0) {
        return;
    }
    if (message.data != nullptr && capacity >= message.dataLength) {
        std::memset(message.data, 0, capacity);
        return;
    }
    delete[] message.data;
    message.data = nullptr;
    message.data = new unsigned char[message.dataLength]();
}

} // namespace

ZTIPCEndPoint::ZTIPCEndPoint(bool autoReconnect)
    : ZTEndPoint(autoReconnect), descriptor(NO_DESCRIPTOR), connectTimeout(-1), receiveTimeout(0),
      sendTimeout(0), connected(false), nameUnlinked(false), listener(nullptr)
{}

ZTIPCEndPoint::~ZTIPCEndPoint()
{
    deinitialize();
}

int ZTIPCEndPoint::initialize(const std::string& address, bool keepSocketFile)
{
    if (descriptor >= 0) {
        print("initialize() failed. EndPoint already initialized.");
        return 3;
    }
    if (address.empty()) {
        print("initialize() failed. endPointAddressLength is <= 0.");
        return 20;
    }
    const int created = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ownAddress = address;
    if (keepSocketFile) {
        removeFilesThatBeginWith(address);
    }
    nameUnlinked = !keepSocketFile;
    if (created < 0) {
        return 3;
    }
    auto newSocket = std::make_shared<const OpenDescriptor>(created);
    if (!bindTo(created, address)) {
        print("initialize() bind failed.");
        return 3;
    }
    if (!keepSocketFile) {
        unlink(address.c_str());
    }
    setSocket(std::move(newSocket));
    return 0;
}

int ZTIPCEndPoint::initialize(int newDescriptor, const std::string& address,
                              const std::string& newPeerAddress)
{
    if (newDescriptor < 0 || address.empty() || newPeerAddress.empty()) {
        return 20;
    }
    ownAddress = address;
    peerAddress = newPeerAddress;
    if (newDescriptor != descriptor) {
        setSocket(std::make_shared<const OpenDescriptor>(newDescriptor));
    }
    connected = true;
    return 0;
}

void ZTIPCEndPoint::deinitialize()
{
    stopListening();
    connected = false;
    setSocket(nullptr);
    nameUnlinked = false;
    ownAddress.clear();
    peerAddress.clear();
    connectTimeout = 0;
    receiveTimeout = 0;
    sendTimeout = 0;
}

int ZTIPCEndPoint::connectTo(const std::string& newPeerAddress)
{
    const Socket used = getSocket();
    if (used == nullptr) {
        print("connectTo() failed. Invalid endPointID.");
        connected = false;
        return 14;
    }
    if (newPeerAddress.empty()) {
        print("connectTo() failed. peerEndPointAddressLength is == 0.");
        return 14;
    }
    peerAddress = newPeerAddress;
    if (connectTimeout >= 0) {
        fcntl(used->number, F_SETFL, fcntl(used->number, F_GETFL) | O_NONBLOCK);
    }
    const int result = connectWithin(used->number, peerAddress, connectTimeout, "connectTo()");
    setConnected(used, result == 0 || result == 1);
    return result;
}

int ZTIPCEndPoint::reconnect()
{
    if (descriptor < 0) {
        const int result = initialize(ownAddress, false);
        if (result != 0) {
            return result;
        }
    }
    return connectTo(peerAddress);
}

int ZTIPCEndPoint::isSocketAvailable(const std::string& path)
{
    if (path.empty()) {
        print("isSocketAvailable() failed. peerEndPointAddressLength is == 0.");
        return 20;
    }
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
    const int result = connectWithin(probe, path, PROBE_MS, "isSocketAvailable()");
    if (result == 0 || result == 1) {
        close(probe);
        return 0;
    }
    return result; // the probe stays open, see docs/architecture.md
}

int ZTIPCEndPoint::sendMessage(IPCMessage* message)
{
    Socket used = getSocket();
    if (used == nullptr) {
        print("sendMessage() failed. Invalid linkID.");
        return 7;
    }
    if (!connected) {
        print("sendMessage() failed. Endpoint not connected.");
        return 7;
    }
    if (message == nullptr) {
        print("sendMessage() failed. message is nullptr.");
        return 20;
    }
    if (message->dataLength == 0) {
        print("sendMessage() failed. message->dataLength is 0.");
        return 20;
    }
    if (message->data == nullptr) {
        print("sendMessage() failed. message->data is nullptr.");
        return 20;
    }

    setSocketOption(used->number, SO_SNDLOWAT, HEADER_SIZE + message->dataLength);
    DescriptorSet writable;
    writable.add(used->number);
    const int ready = awaitWritable(writable, sendTimeout);
    if (ready <= 0) {
        return ready == 0 ? 17 : 7;
    }
    return writable.contains(used->number) ? sendFrame(used, *message) : 0;
}

int ZTIPCEndPoint::sendFrame(Socket& used, const IPCMessage& message)
{
    const std::vector<unsigned char> frame = frameOf(message);
    errno = 0;
    const ssize_t sent = send(used->number, frame.data(), frame.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EPIPE) {
        loseConnection(used, "sendMessage() The other end of the connection is closed. (EPIPE)");
        return 7;
    }
    if (sent < 0) {
        print("sendMessage() Message could not be sent. Unknown error");
        return 7;
    }
    if (sent == 0) {
        loseConnection(used, "sendMessage() The other end of the connection is closed. (0 bytesS)");
        return 7;
    }
    if (static_cast<std::size_t>(sent) < frame.size()) {
        print("sendMessage() Incomplete message sent.");
        return 7;
    }
    return 0;
}

int ZTIPCEndPoint::receiveMessage(IPCMessage* message, long timeoutMs)
{
    return receive(message, timeoutMs, nullptr);
}

int ZTIPCEndPoint::receiveMessage(IPCMessage* message)
{
    return receiveMessage(message, receiveTimeout);
}

// With a gate it is the listener thread that receives: it can be stopped while it waits, and leaves
// what has not arrived whole in the socket.
int ZTIPCEndPoint::receive(IPCMessage* message, long timeoutMs, const ListenerGate* passed)
{
    Socket used = getSocket();
    if (used == nullptr) {
        print("receiveMessage() failed. Invalid linkID.");
        return 8;
    }
    if (!connected) {
        print("receiveMessage() failed. Endpoint not connected.");
        return 8;
    }
    if (message == nullptr) {
        print("receiveMessage() failed. message is nullptr.");
        return 20;
    }

    setSocketOption(used->number, SO_RCVLOWAT, message->dataLength + HEADER_SIZE);
    DescriptorSet readable;
    readable.add(used->number);
    if (passed != nullptr) {
        readable.add(passed->wakeDescriptor());
    }
    const int ready = awaitReadable(readable, timeoutMs);
    if (ready == 0) {
        print("receiveMessage() Receive timeout expired.");
        return 17;
    }
    if (ready < 0) {
        return 8;
    }
    if (passed != nullptr && (readable.contains(passed->wakeDescriptor()) ||
                              !awaitWholeFrame(used->number, passed->wakeDescriptor()))) {
        return 17;
    }
    if (!readable.contains(used->number)) {
        return 0;
    }
    return receiveFrame(used, *message, passed == nullptr ? 0 : MSG_DONTWAIT);
}

int ZTIPCEndPoint::receiveFrame(Socket& used, IPCMessage& message, int flags)
{
    const std::uint32_t capacity = message.dataLength;
    const ssize_t header = recv(used->number, &message, HEADER_SIZE, flags);
    if (header < static_cast<ssize_t>(HEADER_SIZE)) {
        return failToReceive(used, header,
                             "receiveMessage() Connection refused peerThe other end of the "
                             "connection is closed. (0 bytesH)",
                             "receiveMessage() Incomplete message header received.");
    }
    prepareData(message, capacity);
    if (message.dataLength == 0) {
        return 0;
    }
    const ssize_t size = recv(used->number, message.data, message.dataLength, flags);
    if (size < 0 || static_cast<std::size_t>(size) < message.dataLength) {
        return failToReceive(
            used, size, "receiveMessage() The other end of the connection is closed. (0 bytesR)",
            "receiveMessage() Incomplete message data bytes received.");
    }
    return 0;
}

int ZTIPCEndPoint::failToReceive(Socket& used, ssize_t size, const char* closed,
                                 const char* incomplete)
{
    if (size == 0) {
        loseConnection(used, closed);
    } else {
        print(size < 0 ? "receiveMessage() failed due to unknown error." : incomplete);
    }
    return 8;
}

void ZTIPCEndPoint::setConnectTimeout(long milliseconds)
{
    connectTimeout = milliseconds;
}

void ZTIPCEndPoint::setReceiveTimeout(long milliseconds)
{
    receiveTimeout = milliseconds;
}

void ZTIPCEndPoint::setSendTimeout(long milliseconds)
{
    sendTimeout = milliseconds;
}

std::string ZTIPCEndPoint::getEndPointAddress() const
{
    return ownAddress;
}

std::string ZTIPCEndPoint::getPeerEndPointAddress() const
{
    return peerAddress;
}

int ZTIPCEndPoint::getReadEndPointID() const
{
    return descriptor;
}

int ZTIPCEndPoint::getWriteEndPointID() const
{
    return descriptor;
}

bool ZTIPCEndPoint::isConnected() const
{
    return connected;
}

int ZTIPCEndPoint::setMessageArrivalListener(ZTIPCMessageArrivalListener* newListener)
{
    if (newListener == nullptr) {
        stopListening();
        return 0;
    }
    const std::shared_ptr<ListenerGate> used = getGate();
    if (used == nullptr) {
        return startListening(newListener);
    }
    listener = newListener;
    used->setListener(newListener);
    return 0;
}

ZTIPCMessageArrivalListener* ZTIPCEndPoint::getMessageArrivalListener() const
{
    return listener;
}

void ZTIPCEndPoint::setMessageArrivalListenerActive(bool active)
{
    const std::shared_ptr<ListenerGate> used = getGate();
    if (used == nullptr) {
        return;
    }
    if (active) {
        used->open();
    } else {
        used->close();
    }
}

int ZTIPCEndPoint::startListening(ZTIPCMessageArrivalListener* newListener)
{
    const auto newGate = std::make_shared<ListenerGate>(newListener);
    if (newGate->wakeDescriptor() < 0) {
        return 10;
    }
    std::unique_ptr<ZTThread> newThread(ZTThread::create("MsgArrivalLstnr"));
    {
        const std::lock_guard<std::mutex> lock(mutex);
        gate = newGate;
        listener = newListener;
    }
    int result = 0;
    try {
        result = newThread->startThread(messageArrivalListenerThreadFunc, this);
    } catch (...) {
        stopListening();
        throw;
    }
    newThread->setPriority(0, 0);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        thread = std::move(newThread);
    }
    newGate->open();
    return result;
}

void ZTIPCEndPoint::stopListening()
{
    std::shared_ptr<ListenerGate> stopped;
    std::unique_ptr<ZTThread> ending;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopped = std::move(gate);
        ending = std::move(thread);
        listener = nullptr;
    }
    if (stopped == nullptr) {
        return;
    }
    stopped->stop();
    if (ending != nullptr && !stopped->isCallerInside()) {
        const boost::this_thread::disable_interruption whileJoining;
        ending->join();
    }
}

void ZTIPCEndPoint::messageArrivalListenerThreadFunc(void* endpoint)
{
    if (endpoint == nullptr) {
        print("messageArrivalListenerThreadFunc() args is nullptr");
        return;
    }
    static_cast<ZTIPCEndPoint*>(endpoint)->deliverMessages();
}

void ZTIPCEndPoint::deliverMessages()
{
    const std::shared_ptr<ListenerGate> passed = getGate();
    if (passed == nullptr || !passed->enter()) {
        return;
    }
    passed->leave(); // it is open: the owner has finished with the thread object

    // A callback may have deleted this endpoint, so the gate is asked first.
    while (!passed->isStopped() && descriptor >= 0 && connected && passed->enter()) {
        const Pass pass(*passed);
        ListenedMessage message;
        if (receive(&message, receiveTimeout, passed.get()) == 0) {
            passed->deliver(&message);
        }
    }
}

std::shared_ptr<ListenerGate> ZTIPCEndPoint::getGate() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return gate;
}

ZTIPCEndPoint::Socket ZTIPCEndPoint::getSocket() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return socket;
}

void ZTIPCEndPoint::setSocket(Socket newSocket)
{
    const std::lock_guard<std::mutex> lock(mutex);
    socket.swap(newSocket);
    descriptor = socket == nullptr ? NO_DESCRIPTOR : socket->number;
}

void ZTIPCEndPoint::setConnected(const Socket& used, bool newConnected)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (socket == used) {
        connected = newConnected;
    }
}

// Somebody else may have lost it already, and even connected anew.
void ZTIPCEndPoint::loseConnection(Socket& used, const char* message)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (socket == used) {
            connected = false;
            socket.reset();
            descriptor = NO_DESCRIPTOR;
        }
    }
    used.reset();
    print(message);
}

} // namespace ZT
