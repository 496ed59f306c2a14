// What the device's daemons and its files have to do with.

#include "bench/costs/Operations.h"
#include "bench/support/require.h"
#include "tests/support/TemporaryFolder.h"
#include "zt/ZTCopy.h"
#include "zt/ZTEeprom.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTHealthManagement.h"
#include "zt/ZTNetworkLinux.h"
#include "zt/ZTPowerManagement.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"
#include "zt/ztpmd_msg.h"

#include <memory>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

class PowerClient : ZT::ZTSignalListener {
public:
    PowerClient()
    {
        require(power != nullptr, "create");
        power->setEventListener(this);
        require(power->subscribeToEndpointManager(&manager) == 0, "subscribeToEndpointManager");
    }

    void ask() { require(power->getPowerState() == 0, "getPowerState"); }

    void takeAnswer()
    {
        answered = false;
        require(manager.waitForEndPoints(0, 2) == 0, "waitForEndPoints");
        require(answered, "an answer");
    }

private:
    int onSignal(ZT::ZTSignal& signal) override
    {
        answered = signal.getEventID() == ZT::EVENT_POWER_STATE_1;
        return 0;
    }

    ZT::ZTEndPointManager manager;
    const std::unique_ptr<ZT::ZTPowerManagement> power{ZT::ZTPowerManagement::create()};
    bool answered = false;
};

class PowerClientByHand {
public:
    PowerClientByHand() : descriptor(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address = {AF_UNIX, "/var/run/ztpmd_api"};
        require(connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                    0,
                "connect");
    }
    ~PowerClientByHand() { close(descriptor); }

    PowerClientByHand(const PowerClientByHand&) = delete;
    PowerClientByHand& operator=(const PowerClientByHand&) = delete;

    void ask() const
    {
        pollfd waited = {descriptor, POLLOUT | POLLERR | POLLRDHUP, 0};
        require(poll(&waited, 1, 50) == 1 && waited.revents == POLLOUT, "poll");
        ZT::ztpmd_msg_t message{};
        message.type = ZT::ZTPMD_GET_POWER_STATE;
        require(write(descriptor, &message, sizeof message) == sizeof message, "write");
    }

    void takeAnswer() const
    {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(descriptor, &readable);
        require(select(descriptor + 1, &readable, nullptr, nullptr, nullptr) == 1, "select");
        ZT::ztpmd_msg_t message{};
        require(read(descriptor, &message, sizeof message) == sizeof message, "read");
        require(message.type == ZT::ZTPMD_POWER_STATE_1, "an answer");
    }

private:
    const int descriptor;
};

template <class Client>
void ask(Meter& meter, std::size_t /*size*/)
{
    Client client;
    bool isFirst = true;
    const auto takeLast = [&] {
        if (!isFirst) {
            client.takeAnswer();
        }
        isFirst = false;
    };
    meter.count(takeLast, [&] { client.ask(); });
}

template <class Client>
void takeAnswer(Meter& meter, std::size_t /*size*/)
{
    Client client;
    meter.count([&] { client.ask(); }, [&] { client.takeAnswer(); });
}

void exchange(Meter& meter, std::size_t /*size*/)
{
    meter.count([] {
        std::uint8_t data = 0;
        require(ZT::ZTHealthManagement::sendMessage(ZT::COMMAND_20, &data, true) == 0,
                "sendMessage");
    });
}

void readEeprom(Meter& meter, std::size_t /*size*/)
{
    meter.count([] {
        ZT::ZTEEPROMMessageData data{};
        require(ZT::ZTEeprom::readDataFromEeprom(ZT::EEPROM_SERIAL_NUMBER, data) == 0,
                "readDataFromEeprom");
    });
}

void readNetwork(Meter& meter, std::size_t /*size*/)
{
    ZT::ZTNetworkLinux network;
    meter.count([&] { network.readNetworkSettings(); });
}

void copy(Meter& meter, std::size_t size)
{
    const TemporaryFolder folder;
    const std::string source = folder / "source";
    const std::string target = folder / "target";
    writeAll(source, std::string(size, 'x'));
    ZT::ZTCopy copier;
    meter.count([&] { require(copier.copy(source, target) == 0, "copy"); });
}

const Operations ADDED({
    {"power: request", ask<PowerClient>, 0},
    {"power: request, by hand", ask<PowerClientByHand>, 0},
    {"power: event", takeAnswer<PowerClient>, 0},
    {"power: event, by hand", takeAnswer<PowerClientByHand>, 0},
    {"health: exchange", exchange, 0},
    {"EEPROM: read the serial number", readEeprom, 0},
    {"network: read the settings", readNetwork, 0},
    {"copy: 1 chunk", copy, 1024},
    {"copy: 16 chunks", copy, 16384},
});

} // namespace
