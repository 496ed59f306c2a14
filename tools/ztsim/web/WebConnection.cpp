#include "WebConnection.h"

#include "Log.h"
#include "Page.h"

#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include <charconv>
#include <chrono>
#include <random>
#include <stdexcept>
#include <utility>
#include <variant>

namespace ztsim {
namespace {

namespace http = boost::beast::http;

constexpr std::chrono::seconds LONGEST_REQUEST{10};
constexpr std::uint32_t LONGEST_HEADER = 16384;
constexpr std::uint64_t LONGEST_BODY = 4096;

std::string toString(boost::beast::string_view text)
{
    return {text.data(), text.size()};
}

/// Of "/path?token=...".
std::string pathOf(const std::string& target)
{
    return target.substr(0, target.find('?'));
}

std::string tokenOf(const std::string& target)
{
    const std::string name = "?token=";
    const auto found = target.find(name);
    return found == std::string::npos ? "" : target.substr(found + name.size());
}

/// Takes the same time for each text of that length.
bool areEqual(const std::string& left, const std::string& right)
{
    unsigned int difference = left.size() == right.size() ? 0 : 1;
    for (std::size_t index = 0; index < left.size() && index < right.size(); ++index) {
        difference |= static_cast<unsigned char>(left[index] ^ right[index]);
    }
    return difference == 0;
}

/// The words of a command; throws std::invalid_argument.
std::vector<std::string> parseWords(const std::string& body)
{
    const Json array = Json::parse(body, nullptr, false);
    std::vector<std::string> words;
    for (const Json& word : array) {
        if (!array.is_array() || !word.is_string()) {
            throw std::invalid_argument("that is no list of words");
        }
        words.push_back(word.get<std::string>());
    }
    return words;
}

std::string eventOf(const char* name, const std::string& data)
{
    return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

/// With which the page's own script and style are told from any other.
std::string makeNonce()
{
    std::random_device random;
    return std::to_string(random()) + std::to_string(random());
}

void replaceAll(std::string& text, const std::string& old, const std::string& with)
{
    for (auto at = text.find(old); at != std::string::npos; at = text.find(old, at + with.size())) {
        text.replace(at, old.size(), with);
    }
}

} // namespace

WebConnection::WebConnection(boost::asio::ip::tcp::socket socket, Simulated& device,
                             Overview& overview, Access access, bool verbose)
    : device(device), overview(overview), access(std::move(access)), verbose(verbose),
      stream(std::move(socket)), timer(stream.get_executor())
{
    parser.header_limit(LONGEST_HEADER);
    parser.body_limit(LONGEST_BODY);
}

void WebConnection::start()
{
    stream.expires_after(LONGEST_REQUEST);
    http::async_read(stream, incoming, parser,
                     [self = shared_from_this()](const auto& error, std::size_t) {
                         if (!error) {
                             self->stream.expires_never();
                             self->handle(self->parser.get());
                         }
                     });
}

bool WebConnection::isAllowed(const Request& request) const
{
    const std::string host = toString(request[http::field::host]);
    const auto origin = request.find(http::field::origin);
    return host == access.host &&
           (origin == request.end() || toString(origin->value()) == "http://" + host) &&
           areEqual(tokenOf(toString(request.target())), access.token);
}

void WebConnection::handle(const Request& request)
{
    const std::string path = pathOf(toString(request.target()));
    if (!isAllowed(request)) {
        answer(Status::forbidden, "text/plain",
               "This needs the address that ztsim has printed, with its token.\n");
    } else if (request.method() == http::verb::get && path == "/") {
        sendPage();
    } else if (request.method() == http::verb::get && path == "/events") {
        beginEvents(request);
    } else if (request.method() == http::verb::post && path == "/command") {
        perform(request.body());
    } else {
        answer(Status::not_found, "text/plain", "There is no such page.\n");
    }
}

void WebConnection::answer(Status status, const std::string& type, const std::string& body,
                           const std::string& policy)
{
    const auto response = std::make_shared<http::response<http::string_body>>(status, 11);
    response->set(http::field::content_type, type + "; charset=utf-8");
    response->set("Content-Security-Policy", policy);
    response->set(http::field::cache_control, "no-store");
    response->set("X-Frame-Options", "DENY");
    response->set("X-Content-Type-Options", "nosniff");
    response->set("Referrer-Policy", "no-referrer");
    response->set("Cross-Origin-Opener-Policy", "same-origin");
    response->set("Cross-Origin-Resource-Policy", "same-origin");
    response->keep_alive(false);
    response->body() = body;
    response->prepare_payload();
    http::async_write(
        stream, *response, [self = shared_from_this(), response](const auto&, std::size_t) {
            boost::system::error_code ignored;
            self->stream.socket().shutdown(boost::asio::socket_base::shutdown_send, ignored);
        });
}

void WebConnection::answer(const char* outcome, const Lines& lines)
{
    answer(Status::ok, "application/json", toJson(Json{{"outcome", outcome}, {"lines", lines}}));
}

void WebConnection::sendPage()
{
    const std::string nonce = makeNonce();
    std::string page(PAGE);
    replaceAll(page, "NONCE", nonce);
    answer(Status::ok, "text/html", page,
           "default-src 'none'; connect-src 'self'; script-src 'nonce-" + nonce +
               "'; style-src 'nonce-" + nonce +
               "'; img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
               "require-trusted-types-for 'script'");
}

void WebConnection::beginEvents(const Request& request)
{
    const std::string before = toString(request["Last-Event-ID"]);
    std::from_chars(before.data(), before.data() + before.size(), shown);
    told = true;
    awaitEnd();
    write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
          "X-Content-Type-Options: nosniff\r\nConnection: close\r\n\r\nretry: 500\n" +
          eventOf("commands", Overview::forms()));
}

void WebConnection::push(const std::string& state)
{
    if (isWriting) {
        return;
    }
    std::string text;
    if (shown != overview.last()) {
        text += "id: " + std::to_string(overview.last()) + '\n' +
                eventOf("entries", overview.entriesAfter(shown));
        shown = overview.last();
    }
    if (state != lastState) {
        lastState = state;
        text += eventOf("state", state);
    }
    if (!text.empty()) {
        write(std::move(text));
    }
}

void WebConnection::write(std::string text)
{
    isWriting = true;
    outgoing = std::move(text);
    boost::asio::async_write(stream, boost::asio::buffer(outgoing),
                             [self = shared_from_this()](const auto& error, std::size_t) {
                                 self->isWriting = false;
                                 if (error) {
                                     self->stream.close();
                                 }
                             });
}

/// A browser that has asked says nothing more but that it is gone.
void WebConnection::awaitEnd()
{
    stream.socket().async_read_some(boost::asio::buffer(rest),
                                    [self = shared_from_this()](const auto& error, std::size_t) {
                                        if (!error) {
                                            self->awaitEnd();
                                            return;
                                        }
                                        self->told = false;
                                        self->stream.close();
                                        if (self->isWaiting) {
                                            self->isWaiting = false;
                                            self->timer.cancel();
                                            self->device.journal.forget(self->listener);
                                        }
                                    });
}

void WebConnection::perform(const std::string& body)
{
    try {
        const std::vector<std::string> words = parseWords(body);
        const std::string text = joinWords(words);
        if (verbose) {
            trace("page: " + text);
        }
        const Command command = parseCommand(words);
        if (const auto* const action = std::get_if<Action>(&command)) {
            act(*action, text);
        } else if (const auto* const wanted = std::get_if<Await>(&command)) {
            await(*wanted);
        } else {
            answer("done", {"the time line shows it"});
        }
    } catch (const std::invalid_argument& error) {
        answer("refused", {error.what()});
    }
}

void WebConnection::act(const Action& action, const std::string& text)
{
    answer("done", ztsim::perform(action, device, Event::By::Ctl, text).value_or(Lines()));
}

void WebConnection::await(const Await& wanted)
{
    Journal& journal = device.journal;
    if (wanted.sinceStart && !journal.records(wanted.record).empty()) {
        answer("done");
        return;
    }
    isWaiting = true;
    awaitEnd();
    listener =
        journal.listen([self = shared_from_this(), record = wanted.record](const Event& event) {
            if (event.by != Event::By::Client || !record.matches(event.text)) {
                return true;
            }
            self->isWaiting = false;
            self->timer.cancel();
            self->answer("done");
            return false;
        });
    if (wanted.longest) {
        timer.expires_after(*wanted.longest);
        timer.async_wait([self = shared_from_this(), wanted](const auto& error) {
            if (!error && self->isWaiting) {
                self->isWaiting = false;
                self->device.journal.forget(self->listener);
                self->answer("too late", {wanted.complaint()});
            }
        });
    }
}

} // namespace ztsim
