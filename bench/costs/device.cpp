// What the device's daemons and its files have to do with.

#include "bench/costs/Operations.h"
#include "bench/power/FloorClient.h"
#include "bench/power/ZtClient.h"
#include "bench/support/require.h"
#include "tests/support/TemporaryFolder.h"
#include "zt/ZTCopy.h"
#include "zt/ZTEeprom.h"
#include "zt/ZTHealthManagement.h"
#include "zt/ZTNetworkLinux.h"

namespace {

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
    {"power: request", ask<ZtClient>, 0},
    {"power: request, by hand", ask<FloorClient>, 0},
    {"power: event", takeAnswer<ZtClient>, 0},
    {"power: event, by hand", takeAnswer<FloorClient>, 0},
    {"health: exchange", exchange, 0},
    {"EEPROM: read the serial number", readEeprom, 0},
    {"network: read the settings", readNetwork, 0},
    {"copy: 1 chunk", copy, 1024},
    {"copy: 16 chunks", copy, 16384},
});

} // namespace
