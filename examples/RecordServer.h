#ifndef ZT_EXAMPLES_RECORDSERVER_H
#define ZT_EXAMPLES_RECORDSERVER_H

#include "RecordClient.h"
#include "zt/ZTDescriptorEndPoint.h"
#include "zt/ZTEndPointHandler.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTSocketLinux.h"

#include <map>
#include <memory>

/// Accepts TCP clients and answers their texts.
class RecordServer : public ZT::ZTEndPointHandler {
public:
    explicit RecordServer(ZT::ZTEndPointManager& manager) : manager(manager)
    {
        server.bindSocket();
        listening = server.listenSocket() == 0;
        endPoint.reset(new ZT::ZTDescriptorEndPoint(server.getSocketIdentifier()));
        manager.addEndPoint(endPoint.get(), this);
    }
    virtual ~RecordServer() { manager.removeEndPointsOf(this); }

    bool isListening() const { return listening; }

    int onEndPointReadable(ZT::ZTEndPoint* readable, ZT::ZTEndPointManager*) override
    {
        if (readable == endPoint.get()) {
            accept();
        } else if (!clients.at(readable)->answer()) {
            manager.removeExactEndPoint(readable);
            clients.erase(readable);
        }
        return 0;
    }
    int onEndPointReconnected(ZT::ZTEndPoint*) override { return 0; }
    int onEndPointDisconnected(ZT::ZTEndPoint*) override { return 0; }

private:
    void accept()
    {
        const int id = server.acceptSocket();
        if (id > 0) {
            std::unique_ptr<RecordClient> client(new RecordClient(id));
            manager.addEndPoint(client.get(), this);
            clients.emplace(client.get(), std::move(client));
        }
    }

    ZT::ZTEndPointManager& manager;
    ZT::ZTSocketLinux server;
    bool listening = false;
    std::unique_ptr<ZT::ZTDescriptorEndPoint> endPoint;
    std::map<ZT::ZTEndPoint*, std::unique_ptr<RecordClient>> clients;
};

#endif
