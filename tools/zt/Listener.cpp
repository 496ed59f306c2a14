#include "Listener.h"

#include "Failure.h"
#include "Output.h"

#include <cerrno>
#include <cstring>

namespace zt {

Listener::Listener(unsigned int count) : count(count)
{
    signals.subscribeTo(manager);
}

Listener::~Listener() = default;

void Listener::listen()
{
    while (!isEnough() && StopSignals::received() == 0) {
        listenForAMoment(manager);
    }
}

void Listener::acceptAt(ZT::ZTEndPoint& newServer)
{
    server = &newServer;
    check(manager.addEndPoint(server, this), "wait for clients", "report this");
}

void Listener::add(std::unique_ptr<Client> client)
{
    Client* const added = client.get();
    clients.emplace(added, std::move(client));
    check(manager.addEndPoint(added, this), "wait for a client", "report this");
}

int Listener::onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* /*manager*/)
{
    if (endPoint == server) {
        acceptClient();
    } else {
        hear(*clients.at(endPoint));
    }
    return 0;
}

/// One that cannot be accepted would make the server readable all the time.
void Listener::acceptClient()
{
    if (!accept() && !clients.empty()) {
        complain(std::string("no more clients for now: ") + std::strerror(errno));
        manager.removeEndPoint(server);
        isFull = true;
    }
}

void Listener::hear(Client& client)
{
    const auto print = [this](const std::string& line) {
        if (!isEnough()) {
            ++printed;
            printLine(line);
        }
    };
    if (client.hear(print)) {
        return;
    }
    manager.removeEndPoint(&client);
    clients.erase(&client);
    if (isFull) {
        isFull = false;
        manager.addEndPoint(server, this);
    }
}

bool Listener::isEnough() const
{
    return count != 0 && printed >= count;
}

} // namespace zt
