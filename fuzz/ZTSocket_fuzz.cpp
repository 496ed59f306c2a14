// Feeds ZTSocket with any bytes in any reads, and compares what it makes of them with the slow
// model.
//
// The input is a row of reads: two bytes, their number modulo 1501 being the size, and the bytes.
// Size 0 stands for a read that fails.

#include "../tests/socket/ReassemblyModel.h"
#include "Input.h"
#include "Require.h"

#include "zt/ZTSocketLinux.h"
#include "zt/ZTSocketMessage.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace {

const int ID = 1;

class FuzzedSocket : public ZT::ZTSocketLinux {
public:
    // What is held when the input ends is pushed out, and the record that does so completed.
    ~FuzzedSocket() override
    {
        const std::string last("ZTSOCKETMESSAGE\x1c\0\0\0", 19);
        int status = -1;
        for (const std::string& bytes : {last, std::string(9, '\0')}) {
            next = bytes;
            do {
                fetch(status);
            } while (!next.empty());
        }
        while (fetch(status) != nullptr) {
        }
    }

    int receiveSocketData(unsigned int /*id*/, int* buffer, unsigned int /*length*/) override
    {
        if (next.empty()) {
            errno = EAGAIN;
            return -1;
        }
        std::memcpy(buffer, next.data(), next.size());
        const auto size = static_cast<int>(next.size());
        next.clear();
        return size;
    }

    std::unique_ptr<char[]> fetch(int& status)
    {
        return std::unique_ptr<char[]>(getNextSocketBuffer(status, ID));
    }

    std::string next; // what the next read brings; it fails if that is nothing
};

// Fetches the records that one read brings.
void readOnce(FuzzedSocket& socket, ReassemblyModel& model, const std::string& bytes)
{
    socket.next = bytes;
    if (!bytes.empty()) {
        model.read(bytes);
    }
    int status = -1;
    auto record = socket.fetch(status);
    if (model.records.empty()) {
        require(record == nullptr && status == (bytes.empty() ? 17 : -1),
                "without a whole record there is none");
    }
    while (!model.records.empty()) {
        const std::string& expected = model.records.front();
        require(record != nullptr && status == 0, "each whole record is handed out");
        require(std::memcmp(record.get(), expected.data(), expected.size()) == 0,
                "its bytes are the stream's");
        const ZT::ZTSocketMessage message(record.get());
        require(expected.size() < 19 || message.messageLength == expected.size(),
                "its length is what it says");
        model.records.pop_front();
        record.reset();
        if (!model.records.empty()) {
            record = socket.fetch(status);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedSocket socket;
    ReassemblyModel model;
    for (Input input(bytes, size); !input.isAtEnd();) {
        const std::size_t low = input.byte();
        readOnce(socket, model, input.rest((low + input.byte() * std::size_t{256}) % 1501));
    }
    return 0;
}
