#include "Capture.h"

#include "Log.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <map>
#include <string_view>
#include <unistd.h>

namespace ztsim {
namespace {

constexpr std::uint32_t SECTION = 0x0a0d0d0a;
constexpr std::uint32_t INTERFACE = 1;
constexpr std::uint32_t PACKET = 6;
constexpr std::uint16_t USER0 = 147; ///< a link type
constexpr std::uint32_t INBOUND = 1; ///< to a daemon
constexpr std::uint32_t OUTBOUND = 2;

template <typename... Numbers>
Bytes numbers(Numbers... each)
{
    return (bytesOf(each) + ...);
}

Bytes padded(Bytes bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

Bytes option(std::uint16_t code, const Bytes& value)
{
    return numbers(code, static_cast<std::uint16_t>(value.size())) + padded(value);
}

Bytes block(std::uint32_t type, const Bytes& body)
{
    const auto size = static_cast<std::uint32_t>(body.size() + 3 * sizeof(std::uint32_t));
    return numbers(type, size) + body + numbers(size);
}

Bytes fileHeader()
{
    const std::uint64_t unknownSize = UINT64_MAX;
    const Bytes end = numbers(std::uint32_t{0});
    const Bytes nanoseconds = option(9, Bytes(1, 9));
    return block(SECTION, numbers(std::uint32_t{0x1a2b3c4d}, std::uint16_t{1}, std::uint16_t{0},
                                  unknownSize) +
                              option(4, "ztsim") + end) +
           block(INTERFACE, numbers(USER0, std::uint16_t{0}, std::uint32_t{0}) +
                                option(2, "daemons") + nanoseconds + end);
}

std::uint64_t now()
{
    timespec time{};
    ::clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}

Bytes packetOf(const Transfer& transfer)
{
    static const std::map<std::string_view, std::uint8_t> PROTOCOLS{
        {"power", 1}, {"health", 2}, {"ipc", 3}};
    const std::uint8_t direction = transfer.what == Transfer::What::Sent ? 1 : 0;
    return numbers(PROTOCOLS.at(transfer.daemon), direction, std::uint16_t{0},
                   static_cast<std::uint32_t>(transfer.client),
                   static_cast<std::uint32_t>(transfer.process)) +
           transfer.bytes;
}

} // namespace

Capture::Capture(int file) : file(file)
{
    append(fileHeader());
}

Capture::~Capture()
{
    ::close(file);
}

void Capture::write(const Transfer& transfer)
{
    if (transfer.bytes.empty()) {
        return;
    }
    const std::uint64_t time = now();
    const Bytes packet = packetOf(transfer);
    const auto size = static_cast<std::uint32_t>(packet.size());
    const std::uint32_t flags = transfer.what == Transfer::What::Sent ? OUTBOUND : INBOUND;
    append(block(PACKET, numbers(std::uint32_t{0}, static_cast<std::uint32_t>(time >> 32U),
                                 static_cast<std::uint32_t>(time), size, size) +
                             padded(packet) + option(2, bytesOf(flags)) +
                             numbers(std::uint32_t{0})));
}

void Capture::append(const Bytes& bytes)
{
    if (file >= 0 &&
        ::write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        log(std::string("cannot capture any more: ") + std::strerror(errno));
        ::close(file);
        file = -1;
    }
}

} // namespace ztsim
