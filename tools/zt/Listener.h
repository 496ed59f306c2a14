#ifndef ZT_TOOL_LISTENER_H
#define ZT_TOOL_LISTENER_H

#include "Reader.h"
#include "StopSignals.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointManager.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace zt {

/// A connection that a Listener hears, readable when hear() has something to do.
class Client : public ZT::ZTEndPoint {
public:
    using Print = std::function<void(const std::string& line)>;

    /// Prints the messages that have come, as lines. It never waits, and comes to an end although
    /// more comes all the time. False once no more will come.
    virtual bool hear(const Print& print) = 0;

private:
    int getWriteEndPointID() const final { return getReadEndPointID(); }
    bool isConnected() const final { return true; }
    int reconnect() final { return 0; }
};

/// Accepts clients and prints what they say until a signal comes, or enough was printed.
class Listener : private Reader {
public:
    /// So many messages are enough; 0 for no end.
    explicit Listener(unsigned int count);
    virtual ~Listener();

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    void listen();

protected:
    /// Readable when a client waits.
    void acceptAt(ZT::ZTEndPoint& newServer);

    void add(std::unique_ptr<Client> client);

private:
    /// Adds the client that waits, or turns it away. False, with errno, if it can do neither.
    virtual bool accept() = 0;

    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* manager) final;
    void acceptClient();
    void hear(Client& client);
    bool isEnough() const;

    const unsigned int count;
    unsigned int printed = 0;
    StopSignals signals;
    ZT::ZTEndPoint* server = nullptr;
    bool isFull = false; ///< no file descriptor is left for another client
    std::map<ZT::ZTEndPoint*, std::unique_ptr<Client>> clients;
    ZT::ZTEndPointManager manager; // goes before what it knows
};

} // namespace zt

#endif
