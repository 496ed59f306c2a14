#ifndef ZT_SOAK_MESSAGESERVER_H
#define ZT_SOAK_MESSAGESERVER_H

#include "Actor.h"
#include "Check.h"
#include "Message.h"

#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTIPCServer.h"
#include "ztutil/ZTTick.h"

#include <list>
#include <memory>
#include <string>

/// Receives what peers send, from some through a listener, from the others through the manager.
/// From each connection all messages come, once, whole and in order, however the peer ended.
class MessageServer : public Actor, private ZT::ZTEndPointHandler {
public:
    MessageServer(unsigned int seed, const std::string& folder) : Actor(seed)
    {
        check(server.initialize(folder + "/server") == 0, "the server can listen");
        check(manager.addEndPoint(server.getServerEndPoint(), this) == 0,
              "the manager takes the server");
    }

    std::string report() const override
    {
        return std::to_string(messages) + " messages over " + std::to_string(connections) +
               " connections";
    }

private:
    class Connection final : private ZT::ZTEndPointHandler,
                             private ZT::ZTIPCMessageArrivalListener {
    public:
        Connection(ZT::ZTIPCEndPoint* accepted, ZT::ZTEndPointManager& manager, bool listens)
            : endPoint(accepted), manager(manager)
        {
            check(endPoint != nullptr && endPoint->isConnected(), "a peer can be accepted");
            endPoint->setSendTimeout(WITHOUT_LIMIT);
            endPoint->setReceiveTimeout(WITHOUT_LIMIT);
            if (listens) {
                endPoint->setMessageArrivalListener(this);
            } else {
                check(manager.addEndPoint(endPoint.get(), this) == 0, "the manager takes a peer");
            }
        }

        ~Connection() { endPoint->setMessageArrivalListener(nullptr); }

        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        bool isOver() const { return !endPoint->isConnected(); }

        /// How many messages came, which must be all.
        std::uint32_t finish()
        {
            endPoint->setMessageArrivalListener(nullptr);
            check(received == announced && received > 0, "no message of a connection is lost");
            return received;
        }

    private:
        static constexpr long WITHOUT_LIMIT = -1;

        int onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/,
                               ZT::ZTEndPointManager* /*manager*/) override
        {
            // A closed endpoint could not be found again.
            check(manager.removeEndPoint(endPoint.get()) == 0, "the manager knows the peer");
            Message message;
            if (endPoint->receiveMessage(&message) == 0) {
                onMessageArrival(&message);
            }
            if (endPoint->isConnected()) {
                check(manager.addEndPoint(endPoint.get(), this) == 0, "the manager takes it again");
            }
            return 0;
        }

        int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
        int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }

        void onMessageArrival(IPCMessage* message) override
        {
            check(message->header1 == received, "messages come once and in order");
            check(bytesOf(*message) == payload(received), "a message is what was sent");
            if (received == 0) {
                announced = message->header2 - ANNOUNCEMENT;
            } else if (message->header2 == ECHO) {
                check(endPoint->sendMessage(message) == 0, "a message can be echoed");
            }
            ++received;
        }

        const std::unique_ptr<ZT::ZTIPCEndPoint> endPoint;
        ZT::ZTEndPointManager& manager;
        std::uint32_t received = 0;
        std::uint32_t announced = 0;
    };

    void playRound() override
    {
        isIdle = manager.waitForEndPoints(ZT::ZTTick::getTickCount() + 10, 0) != 0;
        open.remove_if([this](Connection& connection) {
            if (connection.isOver()) {
                messages += connection.finish();
                ++connections;
                return true;
            }
            return false;
        });
    }

    bool isDone() const override { return open.empty() && isIdle; }

    int onEndPointReadable(ZT::ZTEndPoint* /*endPoint*/,
                           ZT::ZTEndPointManager* /*manager*/) override
    {
        open.emplace_back(server.acceptConnection(), manager, random.isOneIn(2));
        return 0;
    }

    int onEndPointReconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint* /*endPoint*/) override { return 0; }

    ZT::ZTIPCServer server;
    ZT::ZTEndPointManager manager;
    std::list<Connection> open;
    bool isIdle = false; // nobody waits to be accepted
    std::uint64_t messages = 0;
    unsigned int connections = 0;
};

#endif
