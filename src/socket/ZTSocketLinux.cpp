#include "zt/ZTSocketLinux.h"

#include "frame/printLine.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace ZT {

namespace {

const int NO_SOCKET = -1;

const char LOOPBACK[] = "127.0.0.1";
const unsigned int DEFAULT_PORT = 15000;

void printFailure(const char* operation, int error, const std::string& details = "")
{
    printLine(std::cout, operation + std::string(std::strerror(error)) + details + '\n');
    errno = error;
}

int checked(ssize_t result, const char* operation)
{
    if (result == -1) {
        printFailure(operation, errno);
    }
    return static_cast<int>(result);
}

} // namespace

ZTSocketLinux::ZTSocketLinux() : identifier(NO_SOCKET), isOpen(false)
{
    ZTSocketLinux::resetSocket();
}

ZTSocketLinux::~ZTSocketLinux()
{
    ZTSocketLinux::resetSocket();
    ZTSocketLinux::closeSocket();
}

int ZTSocketLinux::initSocket()
{
    return resetSocket();
}

int ZTSocketLinux::resetSocket()
{
    maxQueuedConnections = 5;
    optionsLevel = SOL_SOCKET;
    optionsName = SO_REUSEADDR;
    domain = AF_INET;
    type = SOCK_STREAM;
    protocol = 0;
    address = {};
    address.sin_family = AF_INET;
    return setAddress(LOOPBACK, DEFAULT_PORT);
}

int ZTSocketLinux::setAddress(const char* newAddress, unsigned int port)
{
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return inet_aton(newAddress, &address.sin_addr);
}

int ZTSocketLinux::createSocket()
{
    identifier = socket(domain, type, protocol);
    isOpen = identifier > 0;
    if (!isOpen) {
        const int error = errno;
        printFailure("Create error: ", error, " (" + std::to_string(error) + ")");
        return identifier;
    }
    const int enabled = 1;
    setsockopt(identifier, optionsLevel, optionsName, &enabled, sizeof enabled);
    return identifier;
}

int ZTSocketLinux::connectSocket(char* newAddress, unsigned int port)
{
    setAddress(newAddress, port);
    return connectSocket();
}

int ZTSocketLinux::connectSocket()
{
    if (createSocket() < 1) {
        return -1;
    }
    const int result =
        connect(identifier, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (result == -1) {
        printAddressFailure("Connect error: ");
    }
    return result;
}

int ZTSocketLinux::bindSocket(char* newAddress, unsigned int port)
{
    setAddress(newAddress, port);
    return bindSocket();
}

int ZTSocketLinux::bindSocket()
{
    if (createSocket() >= 1 &&
        bind(identifier, reinterpret_cast<const sockaddr*>(&address), sizeof address) == -1) {
        printAddressFailure("Bind error: ");
    }
    return 0;
}

void ZTSocketLinux::printAddressFailure(const char* operation)
{
    const int error = errno;
    printFailure(operation, error,
                 std::string(" for ") + inet_ntoa(address.sin_addr) + ":" +
                     std::to_string(ntohs(address.sin_port)));
}

int ZTSocketLinux::listenSocket()
{
    return checked(listen(identifier, maxQueuedConnections), "Listen error: ");
}

int ZTSocketLinux::acceptSocket()
{
    socklen_t size = sizeof address;
    return checked(accept(identifier, reinterpret_cast<sockaddr*>(&address), &size),
                   "Accept error: ");
}

int ZTSocketLinux::sendSocketData(ZTSocketMessage* message)
{
    return ZTSocket::sendSocketData(static_cast<unsigned int>(identifier), message);
}

int ZTSocketLinux::sendSocketData(unsigned int id, int* buffer, unsigned int length)
{
    return checked(send(static_cast<int>(id), buffer, length, MSG_NOSIGNAL), "\tError sending: ");
}

int ZTSocketLinux::sendSocketData(int* buffer, unsigned int length)
{
    return static_cast<int>(send(identifier, buffer, length, MSG_NOSIGNAL));
}

int ZTSocketLinux::receiveSocketData(unsigned int id, int* buffer, unsigned int length)
{
    return checked(recv(static_cast<int>(id), buffer, length, 0), "\tError recv: ");
}

int ZTSocketLinux::receiveSocketData(int* buffer, unsigned int length)
{
    return checked(recv(identifier, buffer, length, 0), "\tError recv2: ");
}

int ZTSocketLinux::receiveSocketData(char*& buffer)
{
    return identifier < 1
               ? -1
               : ZTSocket::receiveSocketData(static_cast<unsigned int>(identifier), buffer);
}

int ZTSocketLinux::receiveRecords(int id, std::vector<std::unique_ptr<char[]>>& records)
{
    char bytes[READ_SIZE];
    const ssize_t count = recv(id >= 1 ? id : identifier, bytes, sizeof bytes, MSG_DONTWAIT);
    const int status = count > 0 ? 0 : count == 0 ? 14 : errno == EAGAIN ? 17 : 4;
    takeRecords(bytes, count > 0 ? static_cast<unsigned int>(count) : 0, records);
    return status;
}

int ZTSocketLinux::closeSocket()
{
    return isOpen ? ZTSocketLinux::closeSocket(static_cast<unsigned int>(identifier)) : 0;
}

int ZTSocketLinux::closeSocket(unsigned int id)
{
    const int closed = static_cast<int>(id);
    if (closed != 0) {
        close(closed);
        isOpen = isOpen && closed != identifier;
    }
    return 0;
}

int ZTSocketLinux::exitReceiveSocketData()
{
    return 0;
}

int ZTSocketLinux::resetSocketPort()
{
    return 0;
}

void ZTSocketLinux::setSocketDomain(int newDomain)
{
    domain = newDomain;
}

int ZTSocketLinux::getSocketDomain() const
{
    return domain;
}

void ZTSocketLinux::setSocketType(int newType)
{
    type = newType;
}

int ZTSocketLinux::getSocketType() const
{
    return type;
}

void ZTSocketLinux::setSocketProtocol(int newProtocol)
{
    protocol = newProtocol;
}

int ZTSocketLinux::getSocketProtocol() const
{
    return protocol;
}

void ZTSocketLinux::setSocketMaxQueuedConnections(int newMaxQueuedConnections)
{
    maxQueuedConnections = newMaxQueuedConnections;
}

int ZTSocketLinux::getSocketMaxQueuedConnections() const
{
    return maxQueuedConnections;
}

void ZTSocketLinux::setSocketOptionsLevel(int newOptionsLevel)
{
    optionsLevel = newOptionsLevel;
}

int ZTSocketLinux::getSocketOptionsLevel() const
{
    return optionsLevel;
}

void ZTSocketLinux::setSocketOptionsName(int newOptionsName)
{
    optionsName = newOptionsName;
}

int ZTSocketLinux::getSocketOptionsName() const
{
    return optionsName;
}

int ZTSocketLinux::getSocketIdentifier() const
{
    return identifier;
}

} // namespace ZT
