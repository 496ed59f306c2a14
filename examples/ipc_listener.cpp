// Sends texts to ipc_server all at once, while a listener prints the answers as they arrive.

#include "zt/ZTIPCEndPoint.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {

const std::size_t LONGEST = 255; // bytes that a message takes
const long WITHOUT_LIMIT = -1;
const long PATIENCE_MS = 5000;

int fail(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

class Printer : public ZT::ZTIPCMessageArrivalListener {
public:
    explicit Printer(const std::vector<std::string>& texts) : texts(texts) {}

    void onMessageArrival(IPCMessage* message) override
    {
        const std::string answer(message->data, message->data + message->dataLength);
        const std::lock_guard<std::mutex> lock(mutex);
        if (message->header2 < texts.size()) { // the server gives the header words back
            std::printf("%s -> %s\n", texts[message->header2].c_str(), answer.c_str());
            ++answers;
            changed.notify_one();
        }
    }

    bool awaitAll()
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::milliseconds(PATIENCE_MS),
                                [this] { return answers >= texts.size(); });
    }

private:
    const std::vector<std::string>& texts;
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t answers = 0;
};

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc < 4) {
        return fail("usage: ipc_listener PATH NAME TEXT...");
    }
    const std::string path = argv[1];
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    std::vector<std::string> texts(argv + 3, argv + argc);
    Printer printer(texts);
    ZT::ZTIPCEndPoint endPoint(false);
    if (endPoint.initialize(folder + argv[2], false) != 0 || endPoint.connectTo(path) != 0) {
        return fail("cannot connect");
    }
    endPoint.setSendTimeout(PATIENCE_MS);
    endPoint.setReceiveTimeout(WITHOUT_LIMIT); // removing the listener ends the wait
    endPoint.setMessageArrivalListener(&printer);
    for (std::uint32_t i = 0; i < texts.size(); ++i) {
        const auto size = static_cast<std::uint32_t>(texts[i].size());
        IPCMessage message{0, i, size, reinterpret_cast<unsigned char*>(&texts[i][0])};
        if (size > LONGEST || endPoint.sendMessage(&message) != 0) {
            return fail("cannot send");
        }
    }
    const bool inTime = printer.awaitAll();
    endPoint.setMessageArrivalListener(nullptr);
    return inTime ? 0 : fail("answers are missing");
}
