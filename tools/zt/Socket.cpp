#include "Failure.h"
#include "Output.h"
#include "Payload.h"
#include "Reader.h"
#include "StopSignals.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "zt/ZTEndPoint.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTSocketFactory.h"
#include "zt/ZTSocketMessage.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <utility>
#include <vector>

namespace zt {
namespace {

const unsigned int HEAD_SIZE = 28; // of a record, before the bytes of its own
const std::size_t LONGEST_TEXT = 65536;

struct Options {
    std::string address = "127.0.0.1";
    unsigned int port = 15000;
    unsigned int count = 0; ///< of messages to hear; 0 for no end
    bool json = false;
    std::uint16_t type = 200;
    bool flag = false;
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
        throw Failure(error == EINTR || error == EAGAIN ? NO_ANSWER : UNREACHABLE,
                      "cannot " + task + ": result " + std::to_string(result) + ", " +
                          std::strerror(error),
                      advice);
    }
}

/// A descriptor that a manager waits for.
class Waited final : public ZT::ZTEndPoint {
public:
    explicit Waited(int descriptor) : descriptor(descriptor) {}

    int getReadEndPointID() const override { return descriptor; }
    int getWriteEndPointID() const override { return descriptor; }
    bool isConnected() const override { return true; }
    int reconnect() override { return 0; }

private:
    const int descriptor;
};

/// A connection: it prints the messages that come over it.
class Connection {
public:
    explicit Connection(int descriptor)
        : waited(descriptor), descriptor(descriptor),
          peer(nameOf(addressOf(descriptor, ::getpeername))),
          socket(ZT::ZTSocketFactory::createSocketClass())
    {
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK); // so that all that has come can be read
    }

    ~Connection()
    {
        int status = 0; // what is not fetched is not freed
        while (const char* const record = socket->getNextSocketBuffer(status, descriptor)) {
            delete[] record;
        }
        socket->closeSocket(static_cast<unsigned int>(descriptor));
    }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Waited waited;
    const int descriptor;
    const std::string peer;
    const std::unique_ptr<ZT::ZTSocket> socket;
};

std::string payloadOf(const char* record, const ZT::ZTSocketMessage& message)
{
    const unsigned int length = message.messageLength;
    return length > HEAD_SIZE ? std::string(record + HEAD_SIZE, length - HEAD_SIZE) : std::string();
}

void printRecord(char* record, const std::string& peer, bool asJson)
{
    const ZT::ZTSocketMessage message(record);
    const std::string text = payloadOf(record, message);
    if (asJson) {
        Json fields{{"peer", peer},
                    {"type", message.messageType},
                    {"flag", message.messageFlag},
                    {"parameters", {message.parameter1, message.parameter2, message.parameter3}}};
        addPayload(fields, text);
        printJson(fields);
        return;
    }
    std::string line = peer + ' ' + std::to_string(message.messageType) +
                       (message.messageFlag ? " true" : " false");
    for (const std::uint16_t parameter :
         {message.parameter1, message.parameter2, message.parameter3}) {
        line += ' ' + std::to_string(parameter);
    }
    printLine(line + (text.empty() ? "" : ' ' + escape(text)));
}

/// Accepts clients and prints what they send.
class Listener final : private Reader {
public:
    explicit Listener(const Options& options)
        : options(options), socket(ZT::ZTSocketFactory::createSocketClass())
    {
        bind();
        checkSystem(socket->listenSocket(), "listen", "report this");
        server = std::make_unique<Waited>(socket->getSocketIdentifier());
        check(manager.addEndPoint(server.get(), this), "wait for clients", "report this");
        signals.subscribeTo(manager);
    }

    std::string name() const { return nameOf(addressOf(server->getReadEndPointID(), getsockname)); }

    void listen()
    {
        while (!isEnough() && StopSignals::received() == 0) {
            listenForAMoment(manager);
        }
    }

private:
    bool isEnough() const { return options.count != 0 && heard >= options.count; }

    /// Binding does not tell whether it has succeeded; the name does.
    void bind()
    {
        std::string address = options.address;
        socket->bindSocket(&address[0], options.port);
        const int error = errno;
        const std::string bound = nameOf(addressOf(socket->getSocketIdentifier(), getsockname));
        const std::string wanted = options.address + ':' + std::to_string(options.port);
        if (bound != wanted && (options.port != 0 || bound == "0.0.0.0:0")) {
            throw Failure(FAILED, "cannot listen on " + wanted + ": " + std::strerror(error),
                          "see whether another program listens there, or take another --port");
        }
    }

    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* /*manager*/) override
    {
        if (endPoint == server.get()) {
            accept();
        } else {
            receive(endPoint);
        }
        return 0;
    }

    void accept()
    {
        const int descriptor = socket->acceptSocket();
        if (descriptor >= 0) {
            auto client = std::make_unique<Connection>(descriptor);
            manager.addEndPoint(&client->waited, this);
            ZT::ZTEndPoint* const endPoint = &client->waited;
            clients.emplace(endPoint, std::move(client));
        }
    }

    void receive(ZT::ZTEndPoint* endPoint)
    {
        const Connection& client = *clients.at(endPoint);
        int status = NOTHING_WHOLE;
        while (!isEnough() && (status == NOTHING_WHOLE || status == 0)) {
            status = NOTHING_WHOLE;
            const std::unique_ptr<char[]> record(
                client.socket->getNextSocketBuffer(status, client.descriptor));
            if (record != nullptr) {
                ++heard;
                printRecord(record.get(), client.peer, options.json);
            }
        }
        if (status == CLOSED || status == RECEIVING_FAILED) {
            manager.removeEndPoint(endPoint);
            clients.erase(endPoint);
        }
    }

    static const int NOTHING_WHOLE = -1;
    static const int RECEIVING_FAILED = 4;
    static const int CLOSED = 14;

    const Options& options;
    StopSignals signals;
    const std::unique_ptr<ZT::ZTSocketLinux> socket;
    std::unique_ptr<Waited> server;
    std::map<ZT::ZTEndPoint*, std::unique_ptr<Connection>> clients;
    ZT::ZTEndPointManager manager; // goes before what it knows
    unsigned int heard = 0;
};

void listenVerb(const Options& options)
{
    Listener listener(options);
    complain("listening on " + listener.name());
    listener.listen();
}

void sendVerb(const Options& options)
{
    const std::unique_ptr<ZT::ZTSocket> socket(ZT::ZTSocketFactory::createSocketClass());
    const TimeLimit limit(options.wait);
    const std::string peer = options.address + ':' + std::to_string(options.port);
    std::string address = options.address;
    checkSystem(socket->connectSocket(&address[0], options.port), "connect to " + peer,
                "see that a server listens there");
    TextMessage message(options.text);
    message.messageType = options.type;
    message.messageFlag = options.flag;
    message.parameter1 = options.parameters[0];
    message.parameter2 = options.parameters[1];
    message.parameter3 = options.parameters[2];
    const int sent = socket->sendSocketData(&message);
    checkSystem(sent, "send to " + peer, "see that the server still runs");
    if (static_cast<unsigned int>(sent) < message.calculateBufferSize()) {
        throw Failure(FAILED, "only " + std::to_string(sent) + " bytes were sent to " + peer,
                      "see that the server reads what it gets, or give it longer with --wait");
    }
}

std::vector<std::uint16_t> parseParameters(const std::string& text)
{
    std::vector<std::uint16_t> numbers;
    for (const std::string& part : CLI::detail::split(text, ',')) {
        std::uint16_t number = 0;
        if (CLI::detail::lexical_cast(part, number)) {
            numbers.push_back(number);
        }
    }
    if (numbers.size() != 3 || std::count(text.begin(), text.end(), ',') != 2) {
        throw CLI::ValidationError("--parameters", '"' + text + "\" is not three numbers 0..65535");
    }
    return numbers;
}

std::string checkText(const std::string& text)
{
    return text.size() > LONGEST_TEXT ? "a text has up to 65536 bytes" : "";
}

} // namespace

void addSocket(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const socket = app.add_subcommand("socket", "Framed messages over TCP");
    requireVerb(*socket);

    CLI::App* const listen = socket->add_subcommand(
        "listen",
        "Be a server, and print each message until Ctrl-C: sender, type, flag, parameters, text");
    listen->add_option("--count", options->count, "End after so many messages")->type_name("N");
    listen->add_flag("--json", options->json, "Print JSON");
    listen->callback([options] { listenVerb(*options); });

    CLI::App* const send = socket->add_subcommand("send", "Send a message to a server");
    send->add_option("TEXT", options->text, "What it carries; nothing by default")
        ->check(checkText);
    send->add_option("--type", options->type, "Its type; 200 by default")
        ->type_name("N")
        ->check(CLI::Range(0, UINT16_MAX).description(""));
    send->add_flag("--flag", options->flag, "Set its flag");
    send->add_option_function<std::string>(
            "--parameters",
            [options](const std::string& text) { options->parameters = parseParameters(text); },
            "Its parameters; 0,0,0 by default")
        ->type_name("A,B,C");
    addWaitOption(*send, options->wait);
    send->callback([options] { sendVerb(*options); });

    for (CLI::App* const verb : {listen, send}) {
        verb->add_option("--address", options->address, "The server's; 127.0.0.1 by default")
            ->type_name("A.B.C.D")
            ->check(CLI::ValidIPV4.description(""));
        verb->add_option("--port", options->port, "The server's; 15000 by default")
            ->type_name("0..65535")
            ->check(CLI::Range(0, UINT16_MAX).description(""));
    }
}

} // namespace zt
