#include "Failure.h"
#include "Output.h"
#include "Payload.h"
#include "Reader.h"
#include "StopSignals.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "zt/ZTEndPointManager.h"
#include "zt/ZTIPCEndPoint.h"
#include "zt/ZTIPCServer.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace zt {
namespace {

const std::size_t LONGEST_TEXT = 255;
const std::size_t LONGEST_PATH = 107;
const char SAFE[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._/+-";

namespace fs = std::filesystem;

struct Options {
    std::string path;
    std::string from = "/tmp/zt-" + std::to_string(::getpid());
    std::vector<std::string> texts;
    std::uint32_t header1 = 0;
    std::uint32_t header2 = 0;
    unsigned int count = 0; ///< of messages to hear; 0 for no end
    bool answer = false;
    bool json = false;
    double wait = 2;
};

/// A message and its data.
class Message {
public:
    Message() = default;
    ~Message() { delete[] message.data; }

    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    void setText(const std::string& text)
    {
        delete[] message.data;
        message.data = new unsigned char[text.size()];
        message.dataLength = static_cast<std::uint32_t>(text.size());
        std::copy(text.begin(), text.end(), message.data);
    }

    std::string text() const { return {message.data, message.data + message.dataLength}; }

    IPCMessage message{};
};

void printMessage(const Message& received, const std::string& peer, bool asJson)
{
    const IPCMessage& message = received.message;
    if (!asJson) {
        printLine(escape(peer) + ' ' + std::to_string(message.header1) + ' ' +
                  std::to_string(message.header2) + ' ' + escape(received.text()));
        return;
    }
    Json fields{{"peer", peer}, {"header1", message.header1}, {"header2", message.header2}};
    addPayload(fields, received.text());
    printJson(fields);
}

std::string checkPath(const std::string& path)
{
    if (path.empty() || path.size() > LONGEST_PATH) {
        return "a path has 1 to " + std::to_string(LONGEST_PATH) + " characters";
    }
    if (path.find_first_not_of(SAFE) != std::string::npos) {
        return "a path has letters, digits and ._/+- only, for the shell sees it";
    }
    return path.front() == '-' ? "a path does not begin with -" : "";
}

/// A server removes every file whose name begins with its own.
void checkNothingIsLost(const fs::path& path)
{
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    const std::string name = path.filename().string();
    std::error_code ignored; // the server's own attempt tells
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        const std::string other = entry.path().filename().string();
        if (other.compare(0, name.size(), name) == 0 && !(other == name && entry.is_socket())) {
            throw Failure(FAILED,
                          "cannot listen: \"" + escape(entry.path().string()) +
                              "\" begins with the same name and would be removed",
                          "another PATH, or move that away");
        }
    }
}

/// Accepts clients and prints what they send.
class Listener final : private Reader {
public:
    explicit Listener(const Options& options) : options(options)
    {
        check(server.initialize(options.path), "listen on " + options.path,
              "see that the folder is there and may be written");
        signals.subscribeTo(manager);
        check(manager.addEndPoint(server.getServerEndPoint(), this), "wait for clients",
              "report this");
    }

    void listen()
    {
        while (!isEnough() && StopSignals::received() == 0) {
            listenForAMoment(manager);
        }
    }

private:
    bool isEnough() const { return options.count != 0 && heard >= options.count; }

    int onEndPointReadable(ZT::ZTEndPoint* endPoint, ZT::ZTEndPointManager* /*manager*/) override
    {
        if (endPoint == server.getServerEndPoint()) {
            accept();
        } else {
            receive(endPoint);
        }
        return 0;
    }

    void accept()
    {
        std::unique_ptr<ZT::ZTIPCEndPoint> client(server.acceptConnection());
        if (client != nullptr && client->isConnected() &&
            manager.addEndPoint(client.get(), this) == 0) {
            clients.emplace(client.get(), std::move(client));
        }
    }

    void receive(ZT::ZTEndPoint* endPoint)
    {
        ZT::ZTIPCEndPoint& client = *clients.at(endPoint);
        Message message;
        const std::string peer = client.getPeerEndPointAddress();
        if (client.receiveMessage(&message.message) != 0) {
            manager.removeEndPoint(endPoint); // found by its -1: no other is closed at this time
            clients.erase(endPoint);
        } else if (!isEnough()) {
            ++heard;
            printMessage(message, peer, options.json);
        }
    }

    const Options& options;
    StopSignals signals;
    ZT::ZTIPCServer server;
    std::map<ZT::ZTEndPoint*, std::unique_ptr<ZT::ZTIPCEndPoint>> clients;
    ZT::ZTEndPointManager manager; // goes before what it knows
    unsigned int heard = 0;
};

/// It would lose its clients to come.
void checkNobodyListens(const std::string& path)
{
    if (ZT::ZTIPCEndPoint(false).isSocketAvailable(path) == 0) {
        throw Failure(FAILED, "cannot listen: a server listens on " + path + " already",
                      "another PATH, or end that server");
    }
}

void listenVerb(const Options& options)
{
    checkNothingIsLost(options.path);
    checkNobodyListens(options.path);
    Listener listener(options);
    complain("listening on " + options.path);
    listener.listen();
    ::unlink(options.path.c_str());
}

void connect(ZT::ZTIPCEndPoint& endPoint, const Options& options)
{
    std::error_code ignored;
    if (fs::exists(options.from, ignored) && !fs::is_socket(options.from, ignored)) {
        throw Failure(FAILED, options.from + " is a file that would be replaced",
                      "another name with --from");
    }
    check(endPoint.initialize(options.from, false), "take the name " + options.from,
          "another name with --from, in a folder that may be written");
    const auto milliseconds = static_cast<long>(options.wait * 1000);
    endPoint.setConnectTimeout(milliseconds);
    endPoint.setSendTimeout(milliseconds);
    endPoint.setReceiveTimeout(milliseconds);
    const int result = endPoint.connectTo(options.path);
    if (result != 1) { // connected, after a wait
        check(result, "connect to " + options.path, "see that a server listens there");
    }
}

void sendVerb(const Options& options)
{
    ZT::ZTIPCEndPoint endPoint(false);
    connect(endPoint, options);
    for (const std::string& text : options.texts) {
        Message message;
        message.message.header1 = options.header1;
        message.message.header2 = options.header2;
        message.setText(text);
        check(endPoint.sendMessage(&message.message), "send \"" + escape(text) + '"',
              "see that the server still runs");
        if (options.answer) {
            Message answer;
            check(endPoint.receiveMessage(&answer.message), "receive an answer",
                  "see that the server answers, or give it longer with --wait SECONDS");
            printMessage(answer, options.path, options.json);
        }
    }
}

std::string checkText(const std::string& text)
{
    return text.empty() || text.size() > LONGEST_TEXT ? "a text has 1 to 255 bytes" : "";
}

} // namespace

void addIpc(CLI::App& app)
{
    const auto options = std::make_shared<Options>();
    CLI::App* const ipc = app.add_subcommand("ipc", "Messages over a local socket");
    requireVerb(*ipc);

    CLI::App* const listen = ipc->add_subcommand(
        "listen", "Be a server, and print each message until Ctrl-C: sender, headers, text");
    listen->add_option("--count", options->count, "End after so many messages")->type_name("N");
    listen->callback([options] { listenVerb(*options); });

    CLI::App* const send = ipc->add_subcommand("send", "Send texts to a server");
    send->add_option("--header1", options->header1, "The first header word; 0 by default")
        ->type_name("N");
    send->add_option("--header2", options->header2, "The second header word; 0 by default")
        ->type_name("N");
    send->add_option("--from", options->from, "The name that the server is told")
        ->type_name("NAME")
        ->check(checkPath);
    send->add_flag("--answer", options->answer, "Wait for a message after each, and print it");
    addWaitOption(*send, options->wait);
    send->callback([options] { sendVerb(*options); });

    for (CLI::App* const verb : {listen, send}) {
        verb->add_option("PATH", options->path, "The server's socket")
            ->required()
            ->check(checkPath);
        verb->add_flag("--json", options->json, "Print JSON");
    }
    send->add_option("TEXT", options->texts, "Up to 255 bytes")->required()->check(checkText);
}

} // namespace zt
