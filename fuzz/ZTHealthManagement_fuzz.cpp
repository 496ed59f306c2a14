// What ZTHealthManagement and ZTEeprom make of any answer of the daemon.
//
// Input: 1 byte kind of request (see below), 1 byte command, 4 bytes of the caller's data, 1 byte
// settings (bit 0: the answer is waited for); then the daemon's bytes.

#include "Input.h"
#include "OwnDaemon.h"
#include "Require.h"

#include "zt/ZTEeprom.h"
#include "zt/ZTHealthManagement.h"
#include "zt/zthmd_msg.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>

namespace {

const std::size_t RECORD_SIZE = 36;
const std::size_t TYPE_SIZE = 4;
const std::size_t TEXT_SIZE = 32;

// The types of a health command's records, and how much of its value travels.
struct Command {
    std::uint32_t request;
    std::uint32_t answer;
    std::size_t sent;
    std::size_t received;
};

const std::map<int, Command> COMMANDS = {
    {20, {20, 21, 0, 1}}, {25, {25, 21, 1, 1}}, {26, {26, 28, 0, 1}}, {27, {27, 28, 1, 1}},
    {29, {29, 31, 0, 1}}, {30, {30, 31, 1, 1}}, {32, {36, 38, 0, 4}}, {33, {37, 38, 4, 4}},
};

// The types of the EEPROM's requests, and what comes back for them; everything else asks for 0.
struct Field {
    std::uint32_t request;
    std::string kind;
};

const std::map<int, Field> FIELDS = {
    {0, {0, "value"}},   {2, {2, "byte"}},    {4, {4, "byte"}},   {6, {6, "byte"}},
    {8, {8, "text"}},    {10, {10, "text"}},  {14, {12, "text"}}, {16, {14, "byte"}},
    {17, {32, ""}},      {19, {16, "value"}}, {21, {18, "byte"}}, {23, {20, "byte"}},
    {25, {22, "value"}},
};

Field fieldOf(int command)
{
    const auto field = FIELDS.find(command);
    return field == FIELDS.end() ? Field{0, ""} : field->second;
}

template <class Object>
std::string bytesOf(const Object& object)
{
    return {reinterpret_cast<const char*>(&object), sizeof object};
}

std::string requestOf(std::uint32_t type, const std::string& payload)
{
    std::string request = bytesOf(type) + payload;
    request.resize(RECORD_SIZE);
    return request;
}

// What the first of the answer's bytes leave of the request, for they take its place.
std::string overlaid(const std::string& request, const std::string& answer)
{
    const std::string first = answer.substr(0, RECORD_SIZE);
    return first + request.substr(first.size());
}

std::string textIn(const std::string& record)
{
    const std::string field = record.substr(TYPE_SIZE, TEXT_SIZE);
    return field.substr(0, field.find('\0'));
}

class Case {
public:
    explicit Case(Input& input)
        : kind(input.byte()), command(static_cast<std::int8_t>(input.byte())),
          given(input.bytes(4) + "and what is behind them"), waits((input.byte() & 1) != 0),
          answer(input.rest(OwnDaemon::LONGEST_ANSWER)), daemon(answer)
    {}

    void run()
    {
        switch (kind % 5) {
        case 0:
            sendMessage();
            break;
        case 1:
            exchange();
            break;
        case 2:
            readField();
            break;
        case 3:
            writeField();
            break;
        default:
            get();
        }
    }

private:
    void sendMessage()
    {
        std::string data = given;
        const auto number = static_cast<ZT::ZTHealthManagementCommand>(command);
        const int result = ZT::ZTHealthManagement::sendMessage(number, &data[0], waits);
        const auto known = COMMANDS.find(command);
        if (known == COMMANDS.end()) {
            require(result == 11 && daemon.client() == -1, "what is no command is not sent");
            require(data == given, "what is not sent changes nothing");
            return;
        }
        const Command& expected = known->second;
        const std::string request = requestOf(expected.request, given.substr(0, expected.sent));
        require(daemon.requests() == request, "the request is the command's");

        const std::string record = overlaid(request, answer);
        const bool isAnswer = record.substr(0, TYPE_SIZE) == bytesOf(expected.answer);
        require(result == (waits && !isAnswer ? 1 : 0), "another type is refused");
        require(data == (waits && isAnswer ? record.substr(TYPE_SIZE, expected.received) +
                                                 given.substr(expected.received)
                                           : given),
                "the answer's value, and no more, is stored");
    }

    void exchange()
    {
        const std::string request = requestOf(static_cast<std::uint32_t>(command), given);
        ZT::zthmd_msg_t message{};
        std::memcpy(&message, request.data(), sizeof message);
        require(ZT::sendCommandToHealthDaemon(&message) == 0, "an exchange succeeds");
        require(daemon.requests() == request, "the request is the caller's");
        require(bytesOf(message) == overlaid(request, answer),
                "the answer takes the request's place");
    }

    void readField()
    {
        if (command == 12) {
            return; // is not asked of the daemon, and prints a line
        }
        ZT::ZTEEPROMMessageData data{};
        std::memset(&data, 'x', sizeof data);
        std::string expected(sizeof data, 'x');
        const int result =
            ZT::ZTEeprom::readDataFromEeprom(static_cast<ZT::ZTEEPROMCommand>(command), data);

        const Field field = fieldOf(command);
        const std::string request = requestOf(field.request, "");
        require(daemon.requests() == request, "the request asks for the field");
        const std::string record = overlaid(request, answer);
        if (field.kind == "value") {
            expected.replace(0, 4, record, TYPE_SIZE, 4);
        } else if (field.kind == "byte") {
            expected.replace(0, 1, record, TYPE_SIZE, 1);
        } else if (field.kind == "text") {
            const std::string text = textIn(record) + '\0';
            expected.replace(0, text.size(), text);
        }
        require(result == (field.kind.empty() ? 5 : 0), "what cannot be read gives 5");
        require(bytesOf(data) == expected, "the field, and no more, is stored");
    }

    void writeField()
    {
        ZT::ZTEEPROMMessageData data{};
        data.byte = static_cast<std::uint8_t>(given[0]);
        const int result =
            ZT::ZTEeprom::writeDataToEeprom(static_cast<ZT::ZTEEPROMCommand>(command), data);
        require(result == (command == 17 ? 0 : 11), "only field 17 can be written");
        require(command == 17 ? daemon.requests() == requestOf(32, given.substr(0, 1))
                              : daemon.client() == -1,
                "what can be written is sent");
    }

    void get()
    {
        const std::string record = overlaid(requestOf(0, ""), answer);
        const int byte = static_cast<unsigned char>(record[TYPE_SIZE]);
        switch (command & 3) {
        case 0:
            require(ZT::ZTEeprom::getProductType() == byte, "the type is a byte");
            break;
        case 1:
            require(ZT::ZTEeprom::getProductVariant() == byte, "the variant is a byte");
            break;
        case 2:
            require(ZT::ZTEeprom::getSerialNumber() == textIn(record), "the number ends at a NUL");
            break;
        default:
            require(ZT::ZTEeprom::getPartNumber() == textIn(record), "the part's number does, too");
        }
    }

    const int kind;
    const int command;
    const std::string given;
    const bool waits;
    const std::string answer;
    OwnDaemon daemon;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    Case(input).run();
    return 0;
}
