#ifndef ZTSIM_WEBCONNECTION_H
#define ZTSIM_WEBCONNECTION_H

#include "Command.h"
#include "Overview.h"
#include "Simulated.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ztsim {

/// One connection of a browser: one request and its answer, which for events goes on.
class WebConnection : public std::enable_shared_from_this<WebConnection> {
public:
    /// What a request has to show.
    struct Access {
        std::string host;
        std::string token;
    };

    WebConnection(boost::asio::ip::tcp::socket socket, Simulated& device, Overview& overview,
                  Access access, bool verbose);

    void start();

    /// Whether this is the one that a page is told of changes by.
    bool isTold() const { return told; }

    /// Sends what is new, unless what went before is under way yet: it comes with the next call.
    void push(const std::string& state);

private:
    using Request = boost::beast::http::request<boost::beast::http::string_body>;
    using Status = boost::beast::http::status;

    void handle(const Request& request);
    bool isAllowed(const Request& request) const;
    void answer(Status status, const std::string& type, const std::string& body,
                const std::string& policy = "default-src 'none'");
    void answer(const char* outcome, const Lines& lines = {});
    void sendPage();
    void beginEvents(const Request& request);
    void perform(const std::string& body);
    void act(const Action& action, const std::string& text);
    void await(const Await& wanted);
    void awaitEnd();
    void write(std::string text);

    Simulated& device;
    Overview& overview;
    const Access access;
    const bool verbose;
    boost::beast::tcp_stream stream;
    boost::beast::flat_buffer incoming;
    boost::beast::http::request_parser<boost::beast::http::string_body> parser;
    boost::asio::steady_timer timer; ///< of an await
    std::uint64_t listener = 0;      ///< the same
    char rest[64]{};
    std::string outgoing;
    bool told = false;
    bool isWriting = false;
    bool isWaiting = false; ///< for a record
    std::uint64_t shown = 0;
    std::string lastState;
};

} // namespace ztsim

#endif
