#include "IpcConnection.h"

#include "LocalSocket.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

#include <poll.h>
#include <utility>

namespace ztsim {
namespace {

/// Not only its sending, as shutdown() does.
bool hasPeerClosed(int socket)
{
    pollfd polled{socket, 0, 0};
    return ::poll(&polled, 1, 0) == 1 && (polled.revents & POLLHUP) != 0;
}

} // namespace

IpcConnection::IpcConnection(Socket givenClient, Socket givenServer, std::uint64_t number,
                             Journal& journal)
    : client(std::move(givenClient)), server(std::move(givenServer)), number(number),
      process(processAt(client.native_handle())),
      journal(journal), toServer{client, server, Transfer::What::Received, {}, {}, false},
      toClient{server, client, Transfer::What::Sent, {}, {}, false}
{}

void IpcConnection::start()
{
    tell(Transfer::What::Came, "");
    pass(toServer);
    pass(toClient);
}

void IpcConnection::pass(Way& way)
{
    way.from.async_read_some(
        boost::asio::buffer(way.buffer),
        [self = shared_from_this(), &way](const auto& error, std::size_t size) {
            if (error) {
                self->end(way);
            } else {
                self->passed(way, size);
            }
        });
}

void IpcConnection::passed(Way& way, std::size_t size)
{
    for (const Bytes& frame : way.frames.add({way.buffer.data(), size})) {
        tell(way.what, frame);
    }
    boost::asio::async_write(way.to, boost::asio::buffer(way.buffer, size),
                             [self = shared_from_this(), &way](const auto& error, std::size_t) {
                                 if (error) {
                                     self->close();
                                 } else {
                                     self->pass(way);
                                 }
                             });
}

void IpcConnection::end(Way& way)
{
    if (!way.from.is_open()) {
        return;
    }
    if (!way.frames.rest().empty()) {
        tell(way.what, way.frames.rest());
    }
    way.isAtEnd = true;
    if ((toServer.isAtEnd && toClient.isAtEnd) || hasPeerClosed(way.from.native_handle())) {
        close();
        return;
    }
    boost::system::error_code gone;
    way.to.shutdown(Socket::shutdown_send, gone);
}

void IpcConnection::close()
{
    if (client.is_open()) {
        client.close();
        server.close();
        tell(Transfer::What::Left, "");
    }
}

void IpcConnection::tell(Transfer::What what, const Bytes& frame)
{
    journal.addTransfer(
        {0, what, "ipc", number, process, frame, frame.empty() ? "" : describeFrame(frame)});
}

} // namespace ztsim
