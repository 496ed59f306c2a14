#include "CountOption.h"
#include "Failure.h"
#include "Listener.h"
#include "Output.h"
#include "Payload.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "zt/ZTIPCEndPoint.h"
#include "zt/ZTIPCServer.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace zt {
namespace {

const std::size_t LONGEST_IPC_TEXT = 255;
const std::size_t LONGEST_PATH = 107;
const char SAFE[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._/+-";

namespace fs = std::filesystem;

struct IpcOptions {
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

std::string lineOf(const Message& received, const std::string& peer, bool asJson)
{
    const IPCMessage& message = received.message;
    if (!asJson) {
        return escape(peer) + ' ' + std::to_string(message.header1) + ' ' +
               std::to_string(message.header2) + ' ' + escape(received.text());
    }
    Json fields{{"peer", peer}, {"header1", message.header1}, {"header2", message.header2}};
    addPayload(fields, received.text());
    return inJson(fields);
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

/// It is readable when something new has come, not for as long as something is there: half a
/// message waits for its rest without being looked at all the time.
class IpcClient final : public Client {
public:
    /// Of a connection and an epoll descriptor, which are both its own from now on.
    IpcClient(std::unique_ptr<ZT::ZTIPCEndPoint> endPoint, int news, bool asJson)
        : endPoint(std::move(endPoint)), news(news), asJson(asJson)
    {
        look(EPOLL_CTL_ADD);
    }

    ~IpcClient() override { ::close(news); }

    IpcClient(const IpcClient&) = delete;
    IpcClient& operator=(const IpcClient&) = delete;

    int getReadEndPointID() const override { return news; }

    /// Prints one message.
    bool hear(const Print& print) override
    {
        epoll_event event{};
        ::epoll_wait(news, &event, 1, 0);
        const bool isGone = (event.events & ~static_cast<std::uint32_t>(EPOLLIN)) != 0;
        if (!isGone && !isMessageThere()) {
            return true;
        }
        Message message;
        const std::string peer = endPoint->getPeerEndPointAddress();
        if (endPoint->receiveMessage(&message.message) != 0) {
            return false;
        }
        print(lineOf(message, peer, asJson));
        look(EPOLL_CTL_MOD);
        return true;
    }

private:
    static const std::size_t HEAD_SIZE = 9; ///< of a message, its last byte the length of the data

    bool isMessageThere() const
    {
        unsigned char bytes[HEAD_SIZE + LONGEST_IPC_TEXT];
        const ssize_t size =
            ::recv(endPoint->getReadEndPointID(), bytes, sizeof bytes, MSG_PEEK | MSG_DONTWAIT);
        return size >= static_cast<ssize_t>(HEAD_SIZE) &&
               static_cast<std::size_t>(size) >= HEAD_SIZE + bytes[HEAD_SIZE - 1];
    }

    /// What is there counts as new.
    void look(int operation)
    {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLRDHUP | EPOLLET;
        ::epoll_ctl(news, operation, endPoint->getReadEndPointID(), &event);
    }

    const std::unique_ptr<ZT::ZTIPCEndPoint> endPoint;
    const int news;
    const bool asJson;
};

class IpcListener final : public Listener {
public:
    explicit IpcListener(const IpcOptions& options) : Listener(options.count), options(options)
    {
        check(server.initialize(options.path), "listen on " + options.path,
              "see that the folder is there and may be written");
        acceptAt(*server.getServerEndPoint());
    }

    ~IpcListener() override { ::unlink(options.path.c_str()); }

    IpcListener(const IpcListener&) = delete;
    IpcListener& operator=(const IpcListener&) = delete;

private:
    /// The library's own leaves the connection of a client without a name open for good.
    bool accept() override
    {
        const int news = ::epoll_create1(EPOLL_CLOEXEC);
        if (news < 0) {
            return false;
        }
        sockaddr_un address{};
        socklen_t size = sizeof address;
        const int connection =
            ::accept4(server.getServerEndPoint()->getReadEndPointID(),
                      reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC);
        if (connection < 0) {
            const int error = errno;
            ::close(news);
            errno = error;
            return false;
        }
        const std::string name(address.sun_path,
                               ::strnlen(address.sun_path, sizeof address.sun_path));
        auto endPoint = std::make_unique<ZT::ZTIPCEndPoint>(false);
        if (endPoint->initialize(connection, options.path, name) != 0) {
            ::close(news);
            ::close(connection);
            return true;
        }
        add(std::make_unique<IpcClient>(std::move(endPoint), news, options.json));
        return true;
    }

    const IpcOptions& options;
    ZT::ZTIPCServer server;
};

/// It would lose its clients to come.
void checkNobodyListens(const std::string& path)
{
    if (ZT::ZTIPCEndPoint(false).isSocketAvailable(path) == 0) {
        throw Failure(FAILED, "cannot listen: a server listens on " + path + " already",
                      "another PATH, or end that server");
    }
}

void listenVerb(const IpcOptions& options)
{
    checkNothingIsLost(options.path);
    checkNobodyListens(options.path);
    IpcListener listener(options);
    complain("listening on " + options.path);
    listener.listen();
}

void connect(ZT::ZTIPCEndPoint& endPoint, const IpcOptions& options)
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

void sendVerb(const IpcOptions& options)
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
            printLine(lineOf(answer, options.path, options.json));
        }
    }
}

std::string checkIpcText(const std::string& text)
{
    return text.empty() || text.size() > LONGEST_IPC_TEXT ? "a text has 1 to 255 bytes" : "";
}

} // namespace

void addIpc(CLI::App& app)
{
    const auto options = std::make_shared<IpcOptions>();
    CLI::App* const ipc = app.add_subcommand("ipc", "Messages over a local socket");
    requireVerb(*ipc);

    CLI::App* const listen = ipc->add_subcommand(
        "listen", "Be a server, and print each message until Ctrl-C: sender, headers, text");
    addCountOption(*listen, options->count, "End after so many messages");
    listen->callback([options] { listenVerb(*options); });

    CLI::App* const send = ipc->add_subcommand("send", "Send texts to a server");
    tools::addNumber(*send, "--header1", options->header1, 0U, UINT32_MAX,
                     "The first header word; 0 by default")
        ->type_name("N");
    tools::addNumber(*send, "--header2", options->header2, 0U, UINT32_MAX,
                     "The second header word; 0 by default")
        ->type_name("N");
    send->add_option("--from", options->from, "The name that the server is told")
        ->type_name("NAME")
        ->check(checkPath);
    send->add_flag("--answer", options->answer, "Wait for a message after each, and print it");
    addWaitOption(*send, options->wait, "How long to wait for the server, and for each answer");
    send->callback([options] { sendVerb(*options); });

    for (CLI::App* const verb : {listen, send}) {
        verb->add_option("PATH", options->path, "The server's socket")
            ->required()
            ->check(checkPath);
        verb->add_flag("--json", options->json, "Print JSON");
    }
    send->add_option("TEXT", options->texts, "Up to 255 bytes")->required()->check(checkIpcText);
}

} // namespace zt
