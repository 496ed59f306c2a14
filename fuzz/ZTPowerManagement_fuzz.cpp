// What ZTPowerManagementInterfaceR7 makes of any bytes that the daemon sends before it hangs up.
//
// Input: 1 byte settings (bit 0: there is a listener, bit 1: it does not take what it hears); then
// the daemon's bytes.

#include "Input.h"
#include "OwnDaemon.h"
#include "Require.h"

#include "zt/ZTPowerManagementInterfaceR7.h"
#include "zt/ZTSignal.h"
#include "zt/ZTSignalListener.h"

#include "ztutil/ZTDebug.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string>

namespace {

const std::size_t RECORD_SIZE = 48;

// What the device's users hear of: the number of each name that the daemon may report.
const std::map<std::string, std::uint32_t> DEVICES = {
    {"display", 0},      {"display_bl", 1}, {"keypad_bl", 2},   {"rgb_led", 4}, {"beeper", 5},
    {"keypad", 6},       {"encoder", 7},    {"touch", 8},       {"console", 9}, {"output0", 10},
    {"output1", 11},     {"output2", 12},   {"cam_output", 13}, {"video", 14},  {"video0", 14},
    {"input0", 15},      {"input1", 16},    {"input2", 17},     {"input3", 18}, {"status_led1", 19},
    {"status_led2", 20},
};

// Where the interface's endpoint is, as a manager would know it.
class Place : public ZT::ZTEndPoint {
public:
    explicit Place(int descriptor) : descriptor(descriptor) {}

    int getReadEndPointID() const override { return descriptor; }
    int getWriteEndPointID() const override { return descriptor; }
    bool isConnected() const override { return true; }
    int reconnect() override { return 0; }

private:
    const int descriptor;
};

struct Listener : ZT::ZTSignalListener {
    int onSignal(ZT::ZTSignal& signal) override
    {
        heard = signal;
        return answer;
    }

    int answer = 0;
    std::optional<ZT::ZTSignal> heard;
};

// What a record must become: a signal if the result is 0.
struct Expected {
    explicit Expected(const std::string& record) : record(record)
    {
        switch (numberAt(0)) {
        case 2:
            takeState(800, isReported(), "Unknown power state!");
            value = result == 0 ? numberAt(12) : 0;
            break;
        case 5:
            takeDevice();
            break;
        case 7:
            refuse(11, "Eventing device list is not supported!");
            break;
        case 10:
            takeState(802, isReported(), "Unknown power state read!");
            break;
        case 11:
            takeState(803, isReported(), "Unknown power state read!");
            break;
        case 16:
        case 17:
            takeState(788 + numberAt(0), numberAt(8) == 2,
                      "Unknown power state read in propagation time message!");
            value = result == 0 ? numberAt(12) : 0;
            break;
        default:
            refuse(26, "Unknown message type read!");
        }
    }

    int result = 0;
    std::string line;
    std::uint32_t event = 0;
    std::uint32_t value = 0;
    std::uint32_t state = 0;

private:
    std::uint32_t numberAt(std::size_t offset) const
    {
        std::uint32_t number = 0;
        std::memcpy(&number, &record[offset], sizeof number);
        return number;
    }

    bool isReported() const { return numberAt(8) < 6; }

    void refuse(int code, const char* text)
    {
        result = code;
        line = text;
    }

    void takeState(std::uint32_t id, bool valid, const char* refusal)
    {
        event = id;
        if (valid) {
            state = numberAt(8);
        } else {
            refuse(35, refusal);
        }
    }

    void takeDevice()
    {
        const std::string field = record.substr(8, 16);
        const auto device = DEVICES.find(field.substr(0, field.find('\0')));
        if (device == DEVICES.end()) {
            result = 35;
            return;
        }
        event = 801;
        value = device->second;
        state = numberAt(24);
    }

    const std::string record;
};

std::string printed; // since it was cleared

void print(void* /*context*/, int level, const char* section, const char* text)
{
    require(level == 1 && std::string(section) == "zt_power_management", "it is a failure's line");
    require(printed.empty(), "one line is printed at most");
    printed = text;
}

void checkSignal(const ZT::ZTSignal& signal, const Expected& expected)
{
    require(signal.getEventID() == expected.event, "the event is the record's");
    require(signal.getValue() == expected.value, "the value is the record's");
    require(static_cast<std::uint32_t>(signal.getState()) == expected.state,
            "the state is the record's");
    require(signal.getData1() == 0 && signal.getData2() == 0, "nothing else is set");
}

void checkTranslation(ZT::ZTPowerManagementInterfaceR7& power, const std::string& bytes,
                      const Expected& expected)
{
    ZT::ztpmd_msg_t record{};
    std::memcpy(&record, bytes.data(), sizeof record);
    ZT::ZTSignal signal;
    printed.clear();
    require(power.messageToEvent(signal, record, 12345) == expected.result,
            "a record is taken or refused with its code");
    require(printed == expected.line, "a refusal has its line");
    require(signal.getTimestamp() == 12345, "every signal has its time");
    checkSignal(signal, expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    const int settings = input.byte();
    std::string rest = input.rest(OwnDaemon::LONGEST_ANSWER);

    ZT::ZTDebug::setLevel(1);
    ZT::ZTDebug::setSink(print, nullptr);
    OwnDaemon daemon(rest);
    Listener listener;
    listener.answer = settings & 2;
    ZT::ZTPowerManagementInterfaceR7 power;
    require(power.init() == 0, "the daemon is there");
    power.setEventListener((settings & 1) != 0 ? &listener : nullptr);
    Place place(daemon.client());

    for (; rest.size() >= RECORD_SIZE; rest.erase(0, RECORD_SIZE)) {
        const Expected expected(rest.substr(0, RECORD_SIZE));
        checkTranslation(power, rest, expected);

        const bool hears = expected.result == 0 && (settings & 1) != 0;
        const int refusal = hears && listener.answer != 0 ? 7 : expected.result;
        listener.heard.reset();
        printed.clear();
        require(power.onEndPointReadable(&place, nullptr) == refusal,
                "a record read gives the result of its translation or of the listener");
        require(printed == expected.line, "a refusal that is read has its line");
        require(listener.heard.has_value() == hears, "a listener hears what was taken");
        if (hears) {
            require(listener.heard->getCategory() == 6, "it is an event of power management");
            checkSignal(*listener.heard, expected);
        }
    }

    listener.heard.reset();
    printed.clear();
    require(power.onEndPointReadable(&place, nullptr) == 0, "what printing returned is returned");
    require(printed == "Socket was not opened!", "a record that is not whole closes");
    require(!listener.heard, "a record that is not whole is no signal");
    require(power.onEndPointReadable(&place, nullptr) == -1, "the connection is closed");
    return 0;
}
