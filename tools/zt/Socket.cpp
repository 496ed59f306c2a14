#include "CountOption.h"
#include "Failure.h"
#include "Listener.h"
#include "Output.h"
#include "Payload.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "zt/ZTSocketFactory.h"
#include "zt/ZTSocketMessage.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <utility>
#include <vector>

namespace zt {
namespace {

const unsigned int HEAD_SIZE = 28; // of a record, before the bytes of its own
const std::size_t LONGEST_SOCKET_TEXT = 65536;

struct SocketOptions {
    std::string address = "127.0.0.1";
    unsigned int port = 15000;
    unsigned int count = 0; ///< of messages to hear; 0 for no end
    bool json = false;
    std::uint16_t type = 200;
    bool flag = false;
    bool answer = false;
    std::vector<std::uint16_t> parameters{0, 0, 0};
    std::string text;
    double wait = 2;
};

/// A message that carries a text.
class TextMessage final : public ZT::ZTSocketMessage {
public:
    explicit TextMessage(std::string text) : text(std::move(text)) {}

    unsigned int calculateBufferSize() override
    {
        return HEAD_SIZE + static_cast<unsigned int>(text.size());
    }

    int fillBuffer(char* buffer) override
    {
        const int size = ZTSocketMessage::fillBuffer(buffer);
        text.copy(buffer + HEAD_SIZE, text.size());
        return size + static_cast<int>(text.size());
    }

private:
    std::string text;
};

std::string nameOf(const sockaddr_in& address)
{
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return std::string(text) + ':' + std::to_string(ntohs(address.sin_port));
}

using GetName = int (*)(int, sockaddr*, socklen_t*);

sockaddr_in addressOf(int descriptor, GetName getName)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getName(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return address;
}

/// Throws for a result below 0, with what errno says.
void checkSystem(int result, const std::string& task, const std::string& advice)
{
    if (result < 0) {
        const int error = errno;
        throw Failure(UNREACHABLE,
                      "cannot " + task + ": result " + std::to_string(result) + ", " +
                          std::strerror(error),
                      advice);
    }
}

/// A socket that frees what it holds of a record, which is not freed otherwise.
class Reception final : public ZT::ZTSocketLinux {
public:
    ~Reception() override { dropPartialAbove(0); }
};

using Records = std::vector<std::unique_ptr<char[]>>;

// What receiveRecords() returns.
const int RECEIVED = 0;
const int CLOSED = 14;
const int NOTHING = 17;

std::string payloadOf(const char* record, const ZT::ZTSocketMessage& message)
{
    const unsigned int length = message.messageLength;
    return length > HEAD_SIZE ? std::string(record + HEAD_SIZE, length - HEAD_SIZE) : std::string();
}

std::string lineOf(char* record, const std::string& peer, bool asJson)
{
    const ZT::ZTSocketMessage message(record);
    const std::string text = payloadOf(record, message);
    if (asJson) {
        Json fields{{"peer", peer},
                    {"type", message.messageType},
                    {"flag", message.messageFlag},
                    {"parameters", {message.parameter1, message.parameter2, message.parameter3}}};
        addPayload(fields, text);
        return inJson(fields);
    }
    std::string line = peer + ' ' + std::to_string(message.messageType) +
                       (message.messageFlag ? " true" : " false");
    for (const std::uint16_t parameter :
         {message.parameter1, message.parameter2, message.parameter3}) {
        line += ' ' + std::to_string(parameter);
    }
    return line + (text.empty() ? "" : ' ' + escape(text));
}

class SocketClient final : public Client {
public:
    SocketClient(int descriptor, bool asJson)
        : descriptor(descriptor), peer(nameOf(addressOf(descriptor, ::getpeername))), asJson(asJson)
    {}

    ~SocketClient() override { reception.closeSocket(static_cast<unsigned int>(descriptor)); }

    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    int getReadEndPointID() const override { return descriptor; }

    bool hear(const Print& print) override
    {
        Records records;
        const int status = reception.receiveRecords(descriptor, records);
        for (const auto& record : records) {
            print(lineOf(record.get(), peer, asJson));
        }
        return status == RECEIVED || status == NOTHING;
    }

private:
    const int descriptor;
    const std::string peer;
    const bool asJson;
    Reception reception;
};

/// A socket that listens.
class Server final : public ZT::ZTEndPoint {
public:
    int getReadEndPointID() const override { return socket->getSocketIdentifier(); }
    int getWriteEndPointID() const override { return socket->getSocketIdentifier(); }
    bool isConnected() const override { return true; }
    int reconnect() override { return 0; }

    const std::unique_ptr<ZT::ZTSocketLinux> socket{ZT::ZTSocketFactory::createSocketClass()};
};

class SocketListener final : public Listener {
public:
    explicit SocketListener(const SocketOptions& options)
        : Listener(options.count), options(options)
    {
        bind();
        checkSystem(server.socket->listenSocket(), "listen", "report this");
        acceptAt(server);
    }

    std::string name() const { return nameOf(addressOf(server.getReadEndPointID(), getsockname)); }

private:
    /// Binding does not tell whether it has succeeded; the name does.
    void bind()
    {
        std::string address = options.address;
        server.socket->bindSocket(&address[0], options.port);
        const int error = errno;
        const std::string wanted = options.address + ':' + std::to_string(options.port);
        if (name() != wanted && (options.port != 0 || name() == "0.0.0.0:0")) {
            throw Failure(FAILED, "cannot listen on " + wanted + ": " + std::strerror(error),
                          "see whether another program listens there, or take another --port");
        }
    }

    bool accept() override
    {
        const int descriptor = server.socket->acceptSocket();
        if (descriptor >= 0) {
            add(std::make_unique<SocketClient>(descriptor, options.json));
        }
        return descriptor >= 0;
    }

    const SocketOptions& options;
    Server server;
};

void listenVerb(const SocketOptions& options)
{
    SocketListener listener(options);
    complain("listening on " + listener.name());
    listener.listen();
}

/// Throws for a result below 0; `lack` is what has not happened if that came because the time was
/// up.
void checkExchange(int result, const SocketOptions& options, const std::string& task,
                   const std::string& lack)
{
    if (result < 0 && TimeLimit::isOver()) {
        throw Failure(NO_ANSWER, "cannot " + task + ": " + timeIsUp(lack, options.wait),
                      "see that the server is well, or give it longer with --wait SECONDS");
    }
    checkSystem(result, task, "see that a server listens there");
}

void send(ZT::ZTSocket& socket, const std::string& peer, const SocketOptions& options)
{
    TextMessage message(options.text);
    message.messageType = options.type;
    message.messageFlag = options.flag;
    message.parameter1 = options.parameters[0];
    message.parameter2 = options.parameters[1];
    message.parameter3 = options.parameters[2];
    const int sent = socket.sendSocketData(&message);
    const auto size = static_cast<int>(message.calculateBufferSize());
    const int lacking = sent < size && TimeLimit::isOver() ? -1 : sent;
    checkExchange(lacking, options, "send to " + peer, "the server has not read all of it");
    if (sent < size) {
        throw Failure(FAILED, "only " + std::to_string(sent) + " bytes were sent to " + peer,
                      "see that the server reads what it gets");
    }
}

void printAnswer(Reception& socket, const std::string& peer, const SocketOptions& options)
{
    const std::string task = "receive an answer from " + peer;
    Records records;
    int status = RECEIVED;
    pollfd waited{};
    waited.fd = socket.getSocketIdentifier();
    waited.events = POLLIN;
    while (records.empty() && (status == RECEIVED || status == NOTHING) && !TimeLimit::isOver()) {
        ::poll(&waited, 1, -1);
        status = socket.receiveRecords(0, records);
    }
    if (records.empty()) {
        checkExchange(TimeLimit::isOver() ? -1 : 0, options, task, "none has come");
        throw Failure(FAILED,
                      "cannot " + task + ": result " + std::to_string(status) +
                          (status == CLOSED ? ", it was closed" : ", receiving failed"),
                      "see that the server answers, and still runs");
    }
    printLine(lineOf(records.front().get(), peer, options.json));
}

void sendVerb(const SocketOptions& options)
{
    Reception socket;
    const TimeLimit limit(options.wait);
    const std::string peer = options.address + ':' + std::to_string(options.port);
    std::string address = options.address;
    checkExchange(socket.connectSocket(&address[0], options.port), options, "connect to " + peer,
                  "it has not accepted");
    send(socket, peer, options);
    if (options.answer) {
        printAnswer(socket, peer, options);
    }
}

std::vector<std::uint16_t> parseParameters(const std::string& text)
{
    std::vector<std::uint16_t> numbers;
    try {
        for (const std::string& part : CLI::detail::split(text, ',')) {
            numbers.push_back(tools::parseNumber<std::uint16_t>(part));
        }
    } catch (const std::invalid_argument&) {
        numbers.clear();
    }
    if (numbers.size() != 3 || std::count(text.begin(), text.end(), ',') != 2) {
        throw CLI::ValidationError("--parameters", '"' + text + "\" is not three numbers 0..65535");
    }
    return numbers;
}

std::string checkSocketText(const std::string& text)
{
    return text.size() > LONGEST_SOCKET_TEXT ? "a text has up to 65536 bytes" : "";
}

} // namespace

void addSocket(CLI::App& app)
{
    const auto options = std::make_shared<SocketOptions>();
    CLI::App* const socket = app.add_subcommand("socket", "Framed messages over TCP");
    requireVerb(*socket);

    CLI::App* const listen = socket->add_subcommand(
        "listen",
        "Be a server, and print each message until Ctrl-C: sender, type, flag, parameters, text");
    addCountOption(*listen, options->count, "End after so many messages");
    listen->callback([options] { listenVerb(*options); });

    CLI::App* const send = socket->add_subcommand("send", "Send a message to a server");
    send->add_option("TEXT", options->text, "What it carries; nothing by default")
        ->check(checkSocketText);
    tools::addNumber<std::uint16_t>(*send, "--type", options->type, 0, UINT16_MAX,
                                    "Its type; 200 by default")
        ->type_name("N");
    send->add_flag("--flag", options->flag, "Set its flag");
    send->add_option_function<std::string>(
            "--parameters",
            [options](const std::string& text) { options->parameters = parseParameters(text); },
            "Its parameters; 0,0,0 by default")
        ->type_name("A,B,C");
    send->add_flag("--answer", options->answer, "Wait for a message back, and print it");
    addWaitOption(*send, options->wait, "How long connecting, sending and the answer may take");
    send->callback([options] { sendVerb(*options); });

    for (CLI::App* const verb : {listen, send}) {
        verb->add_option("--address", options->address, "The server's; 127.0.0.1 by default")
            ->type_name("A.B.C.D")
            ->check(CLI::ValidIPV4.description(""));
        tools::addNumber<unsigned int>(*verb, "--port", options->port, 0, UINT16_MAX,
                                       "The server's; 15000 by default")
            ->type_name("0..65535");
        verb->add_flag("--json", options->json, "Print JSON");
    }
}

} // namespace zt
