#include "PowerClient.h"

#include "Log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <utility>

namespace ztsim {
namespace {

/// So many records may wait, beyond what the socket takes, for a client to read them.
constexpr std::size_t MOST_WAITING = 1024;

} // namespace

PowerClient::PowerClient(Socket socket, Received received, Gone gone)
    : socket(std::move(socket)), received(std::move(received)), gone(std::move(gone))
{}

void PowerClient::read()
{
    boost::asio::async_read(socket, boost::asio::buffer(&incoming, sizeof incoming),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                                if (!error && self->socket.is_open()) {
                                    self->received(*self, self->incoming);
                                }
                                if (!error && self->socket.is_open()) {
                                    self->read();
                                } else {
                                    self->gone(*self);
                                }
                            });
}

void PowerClient::send(const PowerRecord& record)
{
    enqueue({record, sizeof record});
}

void PowerClient::sendCut(const PowerRecord& record, std::size_t size)
{
    enqueue({record, size});
    cut = true;
}

void PowerClient::close()
{
    boost::system::error_code ignored;
    socket.close(ignored);
}

void PowerClient::enqueue(const Outgoing& next)
{
    if (cut || !socket.is_open()) {
        return;
    }
    if (outgoing.size() == MOST_WAITING) {
        log("power: dropped a client that does not read");
        close();
        return;
    }
    outgoing.push_back(next);
    if (outgoing.size() == 1) {
        write();
    }
}

void PowerClient::write()
{
    const Outgoing& next = outgoing.front();
    boost::asio::async_write(socket, boost::asio::buffer(&next.record, next.size),
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
