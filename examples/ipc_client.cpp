// Sends texts to ipc_server one by one, and prints each with its answer.

#include "zt/ZTIPCEndPoint.h"

#include <cstdio>
#include <memory>

namespace {

const std::uint32_t KIND = 1;    // the server gives both header words back
const std::size_t LONGEST = 255; // bytes that a message takes
const long PATIENCE_MS = 5000;

int fail(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    return 1;
}

// Whether the answer has come and been printed.
bool ask(ZT::ZTIPCEndPoint& endPoint, std::string text)
{
    const auto size = static_cast<std::uint32_t>(text.size());
    IPCMessage question{KIND, 0, size, reinterpret_cast<unsigned char*>(&text[0])};
    if (size > LONGEST || endPoint.sendMessage(&question) != 0) {
        return false;
    }
    IPCMessage message{};
    const int result = endPoint.receiveMessage(&message, PATIENCE_MS);
    const std::unique_ptr<unsigned char[]> data(message.data); // there may be some in any case
    if (result != 0) {
        return false;
    }
    const std::string answer(data.get(), data.get() + message.dataLength);
    std::printf("%s -> %s\n", text.c_str(), answer.c_str());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        return fail("usage: ipc_client PATH NAME TEXT...");
    }
    const std::string path = argv[1];
    const std::string name = path.substr(0, path.rfind('/') + 1) + argv[2];
    ZT::ZTIPCEndPoint endPoint(false);
    if (endPoint.initialize(name, false) != 0 || endPoint.connectTo(path) != 0) {
        return fail("cannot connect");
    }
    for (int i = 3; i < argc; ++i) {
        if (!ask(endPoint, argv[i])) {
            return fail("no answer");
        }
    }
    return 0;
}
