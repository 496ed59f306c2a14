#include "Client.h"

#include "LocalSocket.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <utility>

namespace ztsim {
namespace {

/// So many records may wait, beyond what the socket takes, for a client to read them.
constexpr std::size_t MOST_WAITING = 1024;

} // namespace

Client::Client(Socket given, std::uint64_t number, std::size_t recordSize, Callbacks callbacks)
    : socket(std::move(given)), ownNumber(number), peer(processAt(socket.native_handle())),
      callbacks(std::move(callbacks)), pause(socket.get_executor()), incoming(recordSize, '\0')
{}

void Client::read()
{
    reading = true;
    boost::asio::async_read(socket, boost::asio::buffer(incoming),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                                self->reading = false;
                                if (!error && self->socket.is_open()) {
                                    self->receive();
                                } else {
                                    self->callbacks.gone(*self);
                                }
                            });
}

void Client::receive()
{
    waiting = true;
    const auto delay = callbacks.delay();
    if (!delay) {
        return;
    }
    if (*delay == std::chrono::milliseconds::zero()) {
        handle();
        return;
    }
    pause.expires_after(*delay);
    pause.async_wait([self = shared_from_this()](const auto& error) {
        if (!error && self->waiting && self->callbacks.delay()) {
            self->handle();
        }
    });
}

void Client::handle()
{
    waiting = false;
    if (socket.is_open()) {
        callbacks.received(*this, incoming);
    }
    if (socket.is_open()) {
        read();
    } else {
        callbacks.gone(*this);
    }
}

void Client::resume()
{
    if (waiting) {
        receive();
    } else if (!reading) {
        read();
    }
}

void Client::send(const Bytes& bytes)
{
    if (last || !socket.is_open()) {
        return;
    }
    if (outgoing.size() == MOST_WAITING) {
        callbacks.unread(*this);
        close();
        return;
    }
    outgoing.push_back(bytes);
    if (outgoing.size() == 1) {
        write();
    }
}

void Client::sendLast(const Bytes& bytes)
{
    send(bytes);
    last = true;
}

void Client::close()
{
    boost::system::error_code ignored;
    socket.close(ignored);
}

bool Client::hasReadAll()
{
    int unread = 0;
    ::ioctl(socket.native_handle(), SIOCOUTQ, &unread);
    return outgoing.empty() && unread == 0;
}

void Client::write()
{
    boost::asio::async_write(socket, boost::asio::buffer(outgoing.front()),
                             [self = shared_from_this()](const auto& error, std::size_t) {
                                 if (error) {
                                     self->close();
                                     return;
                                 }
                                 self->outgoing.pop_front();
                                 if (!self->outgoing.empty()) {
                                     self->write();
                                 }
                             });
}

} // namespace ztsim
