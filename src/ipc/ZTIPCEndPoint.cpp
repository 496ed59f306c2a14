#include "zt/ZTIPCEndPoint.h"

#include "frame/noDescriptor.h"
#include "ipc/DescriptorSet.h"
#include "ipc/Frame.h"
#include "ipc/IPCDiagnostics.h"
#include "ipc/ListenerGate.h"
#include "ipc/LocalAddress.h"
#include "ipc/SharedSocket.h"
#include "zt/ZTThread.h"

#include <boost/thread/thread.hpp>

#include <fcntl.h>
#include <sys/socket.h>
#include <utility>

namespace ZT {

namespace {

const long PROBE_MS = 100;

// What the listener thread expects a message to be.
const std::uint32_t LISTENED_HEADER1 = 255;
const std::uint32_t LISTENED_CAPACITY = 1;

struct ListenedMessage : IPCMessage {
    ListenedMessage() : IPCMessage()
    {
        header1 = LISTENED_HEADER1;
        dataLength = LISTENED_CAPACITY;
    }
    ~ListenedMessage() { delete[] data; }

    // A callback finds an array where nothing came, too.
    void ensureData()
    {
        if (data == nullptr) {
            data = new unsigned char[LISTENED_CAPACITY]();
        }
    }

    ListenedMessage(const ListenedMessage&) = delete;
    ListenedMessage& operator=(const ListenedMessage&) = delete;
};

// Closed unless somebody keeps it.
class NewSocket {
public:
    NewSocket() = default;
    ~NewSocket()
    {
        if (number >= 0) {
            close(number);
        }
    }

    NewSocket(const NewSocket&) = delete;
    NewSocket& operator=(const NewSocket&) = delete;

    void keep() { number = NO_DESCRIPTOR; }

    int number = socket(AF_UNIX, SOCK_STREAM, 0);
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

void setSocketOption(int descriptor, int option, int value)
{
    setsockopt(descriptor, SOL_SOCKET, option, &value, sizeof value);
}

} // namespace

ZTIPCEndPoint::ZTIPCEndPoint(bool autoReconnect)
    : ZTEndPoint(autoReconnect), descriptor(NO_DESCRIPTOR), connectTimeout(-1), receiveTimeout(0),
      sendTimeout(0), connected(false), nameUnlinked(false), listener(nullptr), socket(nullptr)
{}

ZTIPCEndPoint::~ZTIPCEndPoint()
{
    if (gate != nullptr && !gate->isOfThisProcess()) {
        static_cast<void>(thread.release()); // it is the parent's, and so may be any lock
        return;
    }
    deinitialize();
}

int ZTIPCEndPoint::initialize(const std::string& address, bool keepSocketFile)
{
    if (descriptor >= 0) {
        printIPCFailure("initialize() failed. EndPoint already initialized.");
        return 3;
    }
    if (address.empty()) {
        printIPCFailure("initialize() failed. endPointAddressLength is <= 0.");
        return 20;
    }
    NewSocket created;
    setAddress(ownAddress, address);
    if (keepSocketFile) {
        removeFilesThatBeginWith(address);
    }
    nameUnlinked = !keepSocketFile;
    if (created.number < 0) {
        return 3;
    }
    if (!bindTo(created.number, address)) {
        printIPCFailure("initialize() bind failed.");
        return 3;
    }
    if (!keepSocketFile) {
        unlink(address.c_str());
    }
    setSocket(created.number, false);
    created.keep();
    return 0;
}

int ZTIPCEndPoint::initialize(int newDescriptor, const std::string& address,
                              const std::string& newPeerAddress)
{
    if (newDescriptor < 0 || address.empty() || newPeerAddress.empty()) {
        return 20;
    }
    setAddress(ownAddress, address);
    setAddress(peerAddress, newPeerAddress);
    setSocket(newDescriptor, true);
    return 0;
}

void ZTIPCEndPoint::deinitialize()
{
    stopListening();
    setSocket(NO_DESCRIPTOR, false);
    nameUnlinked = false;
    setAddress(ownAddress, std::string());
    setAddress(peerAddress, std::string());
    connectTimeout = 0;
    receiveTimeout = 0;
    sendTimeout = 0;
}

int ZTIPCEndPoint::connectTo(const std::string& newPeerAddress)
{
    const Socket used = getSocket();
    if (used == nullptr) {
        printIPCFailure("connectTo() failed. Invalid endPointID.");
        return 14;
    }
    if (newPeerAddress.empty()) {
        printIPCFailure("connectTo() failed. peerEndPointAddressLength is == 0.");
        return 14;
    }
    setAddress(peerAddress, newPeerAddress);
    if (connectTimeout >= 0) {
        fcntl(used->getNumber(), F_SETFL, fcntl(used->getNumber(), F_GETFL) | O_NONBLOCK);
    }
    const int result =
        connectWithin(used->getNumber(), newPeerAddress, connectTimeout, "connectTo()");
    setConnected(used, result == 0 || result == 1);
    return result;
}

int ZTIPCEndPoint::reconnect()
{
    if (descriptor < 0) {
        const int result = initialize(getEndPointAddress(), false);
        if (result != 0) {
            return result;
        }
    }
    return connectTo(getPeerEndPointAddress());
}

int ZTIPCEndPoint::isSocketAvailable(const std::string& path)
{
    if (path.empty()) {
        printIPCFailure("isSocketAvailable() failed. peerEndPointAddressLength is == 0.");
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
        printIPCFailure("sendMessage() failed. Invalid linkID.");
        return 7;
    }
    if (!connected) {
        printIPCFailure("sendMessage() failed. Endpoint not connected.");
        return 7;
    }
    if (message == nullptr) {
        printIPCFailure("sendMessage() failed. message is nullptr.");
        return 20;
    }
    if (message->dataLength == 0) {
        printIPCFailure("sendMessage() failed. message->dataLength is 0.");
        return 20;
    }
    if (message->data == nullptr) {
        printIPCFailure("sendMessage() failed. message->data is nullptr.");
        return 20;
    }

    setSocketOption(used->getNumber(), SO_SNDLOWAT, frameSizeAsOption(message->dataLength));
    DescriptorSet writable;
    writable.add(used->getNumber());
    const int ready = writable.awaitWritable(sendTimeout);
    if (ready <= 0) {
        return ready == 0 ? 17 : 7;
    }
    return writable.contains(used->getNumber())
               ? conclude(used, sendFrame(used->getNumber(), *message))
               : 0;
}

int ZTIPCEndPoint::receiveMessage(IPCMessage* message, long timeoutMs)
{
    return receive(message, timeoutMs, nullptr);
}

int ZTIPCEndPoint::receiveMessage(IPCMessage* message)
{
    return receiveMessage(message, receiveTimeout);
}

// With a gate it is the listener thread that receives: it can be woken while it waits, and leaves
// what has not arrived whole in the socket.
int ZTIPCEndPoint::receive(IPCMessage* message, long timeoutMs, const ListenerGate* passed)
{
    Socket used = getSocket();
    if (used == nullptr) {
        printIPCFailure("receiveMessage() failed. Invalid linkID.");
        return 8;
    }
    if (!connected) {
        printIPCFailure("receiveMessage() failed. Endpoint not connected.");
        return 8;
    }
    if (message == nullptr) {
        printIPCFailure("receiveMessage() failed. message is nullptr.");
        return 20;
    }

    setSocketOption(used->getNumber(), SO_RCVLOWAT, frameSizeAsOption(message->dataLength));
    DescriptorSet readable;
    readable.add(used->getNumber());
    if (passed != nullptr) {
        readable.add(passed->wait.wakeDescriptor());
    }
    const int ready = readable.awaitReadable(timeoutMs);
    if (ready == 0) {
        printIPCFailure("receiveMessage() Receive timeout expired.");
        return 17;
    }
    if (ready < 0) {
        return 8;
    }
    if (passed != nullptr && passed->wait.takeWake(readable)) {
        return 17;
    }
    if (!readable.contains(used->getNumber())) {
        return 0;
    }
    if (passed != nullptr && !passed->wait.awaitWholeFrame(used->getNumber())) {
        return 17;
    }
    const int flags = passed == nullptr ? 0 : MSG_DONTWAIT;
    return conclude(used, receiveFrame(used->getNumber(), *message, flags));
}

int ZTIPCEndPoint::conclude(Socket& used, const FrameOutcome& outcome)
{
    if (outcome.isLost) {
        loseConnection(used);
    }
    if (outcome.message != nullptr) {
        printIPCFailure(outcome.message);
    }
    return outcome.result;
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
    const std::lock_guard<std::mutex> lock(mutex);
    return ownAddress;
}

std::string ZTIPCEndPoint::getPeerEndPointAddress() const
{
    const std::lock_guard<std::mutex> lock(mutex);
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
    if (gate != nullptr) {
        const ListenerGate::Change change = gate->setListener(newListener, listener);
        if (change != ListenerGate::Change::TooLate) {
            return change == ListenerGate::Change::Made ? 0 : 10;
        }
        stopListening();
    }
    return startListening(newListener);
}

ZTIPCMessageArrivalListener* ZTIPCEndPoint::getMessageArrivalListener() const
{
    return listener;
}

void ZTIPCEndPoint::setMessageArrivalListenerActive(bool active)
{
    const std::shared_ptr<ListenerGate> used = gate;
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
    std::unique_ptr<ZTThread> newThread(ZTThread::create("MsgArrivalLstnr"));
    const auto newGate = std::make_shared<ListenerGate>(newListener);
    if (!newGate->wait.isPossible()) {
        return 10;
    }
    gate = newGate;
    listener = newListener;
    int result = 0;
    try {
        result = newThread->startThread(messageArrivalListenerThreadFunc, this);
    } catch (...) {
        gate.reset();
        listener = nullptr;
        throw;
    }
    newThread->setPriority(0, 0);
    thread = std::move(newThread);
    newGate->open();
    return result;
}

// A callback that stops its own thread leaves it to the owner to wait for that, so gate and thread
// are there as long as a callback runs: they change only while there is no thread.
void ZTIPCEndPoint::stopListening()
{
    if (gate == nullptr || !gate->stop(listener)) {
        return;
    }
    {
        const boost::this_thread::disable_interruption whileJoining;
        thread->join();
    }
    thread.reset();
    gate.reset();
}

void ZTIPCEndPoint::messageArrivalListenerThreadFunc(void* endpoint)
{
    if (endpoint == nullptr) {
        printIPCFailure("messageArrivalListenerThreadFunc() args is nullptr");
        return;
    }
    static_cast<ZTIPCEndPoint*>(endpoint)->deliverMessages();
}

void ZTIPCEndPoint::deliverMessages()
{
    const std::shared_ptr<ListenerGate> passed = gate;
    if (passed == nullptr || !passed->enter()) {
        return;
    }
    passed->leave(); // it is open: the owner has finished with the thread object

    // A callback may have deleted this endpoint, so the gate is asked first.
    while (!passed->isStopped() && descriptor >= 0 && connected && passed->enter()) {
        const Pass pass(*passed);
        ListenedMessage message;
        if (receive(&message, receiveTimeout, passed.get()) == 0) {
            message.ensureData();
            passed->deliver(&message);
        }
    }
}

ZTIPCEndPoint::Socket ZTIPCEndPoint::getSocket() const
{
    SharedSocket* current = nullptr;
    do {
        current = socket;
    } while (current != nullptr && !current->hold()); // not covered: a race with another thread
    return Socket(current);
}

void ZTIPCEndPoint::setSocket(int newDescriptor, bool newConnected)
{
    Socket before;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const bool isOther = newDescriptor != descriptor;
        SharedSocket* const place =
            isOther && newDescriptor >= 0 ? SharedSocket::emptyOf(places) : nullptr;
        connected = newConnected; // first, for whoever finds the socket finds its state
        descriptor = newDescriptor;
        if (place != nullptr) {
            place->put(newDescriptor);
        }
        if (isOther) {
            before.reset(socket.exchange(place));
        }
    }
    wakeListener();
}

void ZTIPCEndPoint::setConnected(const Socket& used, bool newConnected)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (socket == used.get()) {
        connected = newConnected;
    }
}

// Somebody else may have lost it already, and even connected anew.
void ZTIPCEndPoint::loseConnection(Socket& used)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (socket == used.get()) {
            connected = false;
            descriptor = NO_DESCRIPTOR;
            const Socket ofEndPoint(socket.exchange(nullptr));
        }
    }
    used.reset();
    wakeListener();
}

// Its thread may wait on a connection that is no longer the endpoint's.
void ZTIPCEndPoint::wakeListener()
{
    if (gate != nullptr) {
        gate->wait.wake();
    }
}

void ZTIPCEndPoint::setAddress(std::string& address, const std::string& newAddress)
{
    const std::lock_guard<std::mutex> lock(mutex);
    address = newAddress;
}

} // namespace ZT
