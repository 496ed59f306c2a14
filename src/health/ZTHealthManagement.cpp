#include "zt/ZTHealthManagement.h"

#include "health/HealthConnection.h"

#include <cstring>

namespace ZT {

namespace {

// How a command travels. Only the two commands of the 32-bit value have a request type of their
// own.
struct Exchange {
    ZTHealthManagementCommand command;
    std::uint32_t requestType;
    std::size_t requestSize; // what of the caller's data is sent
    std::uint32_t replyType;
    std::size_t replySize; // what of the reply becomes the caller's data
};

const Exchange EXCHANGES[] = {
    {COMMAND_20, 20, 0, 21, 1}, {COMMAND_25, 25, 1, 21, 1}, {COMMAND_26, 26, 0, 28, 1},
    {COMMAND_27, 27, 1, 28, 1}, {COMMAND_29, 29, 0, 31, 1}, {COMMAND_30, 30, 1, 31, 1},
    {COMMAND_32, 36, 0, 38, 4}, {COMMAND_33, 37, 4, 38, 4},
};

const Exchange* findExchange(ZTHealthManagementCommand command)
{
    for (const Exchange& exchange : EXCHANGES) {
        if (exchange.command == command) {
            return &exchange;
        }
    }
    return nullptr;
}

int receiveReply(HealthConnection& connection, zthmd_msg_t& message, const Exchange& exchange,
                 void* data)
{
    if (!connection.receive(message)) {
        return 8;
    }
    if (message.type != exchange.replyType) {
        return 1;
    }
    std::memcpy(data, message.text, exchange.replySize);
    return 0;
}

} // namespace

ZTHealthManagement::ZTHealthManagement() = default;

ZTHealthManagement::~ZTHealthManagement() = default;

int ZTHealthManagement::sendMessage(ZTHealthManagementCommand command, void* data,
                                    bool waitForReply)
{
    const Exchange* exchange = findExchange(command);
    if (exchange == nullptr) {
        return 11;
    }
    zthmd_msg_t message{};
    message.type = exchange->requestType;
    if (exchange->requestSize > 0) {
        std::memcpy(message.text, data, exchange->requestSize);
    }
    HealthConnection connection;
    if (!connection.connect()) {
        return 14;
    }
    if (!connection.send(message)) {
        return 7;
    }
    return waitForReply ? receiveReply(connection, message, *exchange, data) : 0;
}

int sendCommandToHealthDaemon(zthmd_msg_t* message)
{
    HealthConnection connection;
    connection.connect();
    return connection.send(*message) && connection.receive(*message) ? 0 : 1;
}

} // namespace ZT
