// Says any bytes to the control of a simulated device, as "ztsim ctl" would over its socket, and
// looks whether the answer is one of its protocol. The same bytes are then read as a script.
//
// The device has no daemons, for these have their places on a real one; what they would be told is
// parsed all the same.

#include "Control.h"
#include "ControlSocket.h"
#include "Require.h"
#include "Script.h"

#include <boost/asio/io_context.hpp>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

class FuzzedDevice {
public:
    FuzzedDevice() { control.listenOn(ztsim::listenForControl("")); }

    std::string say(const std::string& request)
    {
        const auto reached =
            ztsim::findDevices([](pid_t pid, const std::string&) { return pid == ::getpid(); });
        require(reached.size() == 1, "the device is there");
        const int client = ztsim::connectToDevice(reached.front().address);
        require(::send(client, request.data(), request.size(), MSG_NOSIGNAL) ==
                    static_cast<ssize_t>(request.size()),
                "the request is taken");
        ::shutdown(client, SHUT_WR);
        context.restart();
        context.poll();
        for (const char* const record : {"timeout 2", "device touch -1"}) {
            journal.addRecord(record, nullptr);
            context.poll();
        }
        std::string answer = readAll(client);
        ::close(client);
        return answer;
    }

    void play(const std::string& text)
    {
        ztsim::Script script(context, simulated, 1, false);
        try {
            script.read("script", text);
        } catch (const std::invalid_argument&) {
        }
    }

private:
    std::string readAll(int client)
    {
        std::string answer;
        char chunk[4096];
        ssize_t size = 0;
        while ((size = ::recv(client, chunk, sizeof chunk, MSG_DONTWAIT)) > 0) {
            answer.append(chunk, static_cast<std::size_t>(size));
            context.poll();
        }
        return answer;
    }

    boost::asio::io_context context;
    ztsim::Journal journal{-1};
    ztsim::Eeprom eeprom{context, ztsim::Eeprom::State::Absent, ""};
    ztsim::Simulated simulated{"fuzzed", journal, eeprom, false, {}, {}};
    ztsim::Control control{context, simulated, false};
};

bool isAnswer(const std::string& text)
{
    const bool isBegun = text.find_first_of("013") == 0;
    return isBegun && (text.size() == 1 || text.back() == '\0');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(input), size);
    FuzzedDevice device;
    const std::string answer = device.say(text);
    require(answer.empty() || isAnswer(answer), "an answer is one of the protocol");
    require(!answer.empty() || text.empty() || text.find("await") != std::string::npos,
            "only who says nothing, or waits, has no answer");
    require(device.say(std::string("1\0show\0", 7)).find("0name fuzzed\0") == 0,
            "the device goes on");
    device.play(text);
    return 0;
}
