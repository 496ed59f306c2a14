#include "PowerClient.h"

#include "Log.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <utility>

namespace ztsim {
namespace {

/// So many records may wait, beyond what the socket takes, for a client to read them.
constexpr std::size_t kMostWaiting = 1024;

} // namespace

PowerClient::PowerClient(Socket socket, Received received, Gone gone)
    : socket_(std::move(socket)), received_(std::move(received)), gone_(std::move(gone))
{}

void PowerClient::read()
{
    boost::asio::async_read(socket_, boost::asio::buffer(&incoming_, sizeof incoming_),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                                if (!error && self->socket_.is_open()) {
                                    self->received_(*self, self->incoming_);
                                }
                                if (!error && self->socket_.is_open()) {
                                    self->read();
                                } else {
                                    self->gone_(*self);
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
    cut_ = true;
}

void PowerClient::close()
{
    boost::system::error_code ignored;
    socket_.close(ignored);
}

void PowerClient::enqueue(const Outgoing& outgoing)
{
    if (cut_ || !socket_.is_open()) {
        return;
    }
    if (outgoing_.size() == kMostWaiting) {
        log("power: dropped a client that does not read");
        close();
        return;
    }
    outgoing_.push_back(outgoing);
    if (outgoing_.size() == 1) {
        write();
    }
}

void PowerClient::write()
{
    const Outgoing& next = outgoing_.front();
    boost::asio::async_write(socket_, boost::asio::buffer(&next.record, next.size),
                             [self = shared_from_this()](const auto& error, std::size_t) {
                                 if (error) {
                                     self->close();
                                     return;
                                 }
                                 self->outgoing_.pop_front();
                                 if (!self->outgoing_.empty()) {
                                     self->write();
                                 }
                             });
}

} // namespace ztsim
