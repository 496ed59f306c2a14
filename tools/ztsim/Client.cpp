#include "Client.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <utility>

namespace ztsim {
namespace {

/// So many records may wait, beyond what the socket takes, for a client to read them.
constexpr std::size_t MOST_WAITING = 1024;

} // namespace

Client::Client(Socket socket, std::size_t recordSize, Callbacks callbacks)
    : socket(std::move(socket)), callbacks(std::move(callbacks)), incoming(recordSize, '\0')
{}

void Client::read()
{
    boost::asio::async_read(socket, boost::asio::buffer(incoming),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                                if (!error && self->socket.is_open()) {
                                    self->callbacks.received(*self, self->incoming);
                                }
                                if (!error && self->socket.is_open()) {
                                    self->read();
                                } else {
                                    self->callbacks.gone(*self);
                                }
                            });
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
