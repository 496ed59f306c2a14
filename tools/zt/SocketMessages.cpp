#include "SocketMessages.h"

#include "TcpSegment.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace zt {
namespace {

const std::string MARKER = "ZTSOCKETMESSAGE";

struct __attribute__((packed)) MessageHeader {
    char marker[15];
    std::uint32_t size;
    std::uint16_t type;
    std::uint8_t flag;
    std::uint16_t parameter1;
    std::uint16_t parameter2;
    std::uint16_t parameter3;
};
static_assert(sizeof(MessageHeader) == 28);

constexpr std::size_t UP_TO_SIZE = 19;

MessageHeader headerOf(const std::string& message)
{
    MessageHeader header{};
    message.copy(reinterpret_cast<char*>(&header), sizeof header);
    return header;
}

std::string describe(const std::string& message)
{
    if (message.compare(0, MARKER.size(), MARKER) != 0) {
        return "no record";
    }
    const MessageHeader header = headerOf(message);
    if (message.size() < header.size || message.size() < UP_TO_SIZE) {
        return "the first " + std::to_string(message.size()) + " bytes of a record";
    }
    if (header.size < sizeof header) {
        return "a record of " + std::to_string(header.size) + " bytes";
    }
    return "type " + std::to_string(header.type) + ", flag " + std::to_string(header.flag) +
           ", parameters " + std::to_string(header.parameter1) + ' ' +
           std::to_string(header.parameter2) + ' ' + std::to_string(header.parameter3) + ", " +
           std::to_string(message.size() - sizeof header) + " bytes more";
}

/// Up to the end of the first message of a stream; 0 while it is not all there. What is no record
/// is one as a whole.
std::size_t sizeOfFirst(const std::string& content)
{
    if (content.compare(0, MARKER.size(), MARKER, 0, content.size()) != 0) {
        return std::min(content.find(MARKER), content.size());
    }
    const std::size_t size = std::max<std::size_t>(headerOf(content).size, UP_TO_SIZE);
    return content.size() >= size ? size : 0;
}

struct Message {
    std::uint64_t time; ///< of its last byte
    std::string bytes;
};

/// One direction of a connection.
class Stream {
public:
    void add(std::uint64_t time, TcpSegment segment)
    {
        const std::uint32_t begin = segment.sequence + (segment.begins ? 1U : 0U);
        if (pieces.empty()) {
            lastBegin = begin;
        }
        if (!segment.data.empty()) {
            lastOffset += static_cast<std::int32_t>(begin - lastBegin);
            lastBegin = begin;
            pieces.push_back({lastOffset, {time, std::move(segment.data)}});
        }
    }

    std::vector<Message> messages()
    {
        std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& one, const Piece& other) {
            return one.offset < other.offset;
        });
        std::vector<Message> found;
        Message part{};
        std::int64_t end = pieces.empty() ? 0 : pieces.front().offset;
        for (const auto& [offset, piece] : pieces) {
            if (offset > end) {
                take(part, part.bytes.size(), found);
            }
            end = std::max(end, offset);
            const auto known = static_cast<std::size_t>(end - offset);
            if (known >= piece.bytes.size()) {
                continue;
            }
            part.time = piece.time;
            part.bytes.append(piece.bytes, known);
            end = offset + static_cast<std::int64_t>(piece.bytes.size());
            while (const std::size_t size = sizeOfFirst(part.bytes)) {
                take(part, size, found);
            }
        }
        take(part, part.bytes.size(), found);
        return found;
    }

private:
    struct Piece {
        std::int64_t offset; ///< from the first byte that was captured first
        Message content;
    };

    static void take(Message& part, std::size_t size, std::vector<Message>& found)
    {
        if (size != 0) {
            found.push_back({part.time, part.bytes.substr(0, size)});
            part.bytes.erase(0, size);
        }
    }

    std::vector<Piece> pieces;
    std::uint32_t lastBegin = 0;
    std::int64_t lastOffset = 0;
};

struct Connection {
    Stream toServer;
    Stream toClient;
};

} // namespace

std::vector<SimulatedRecord> readSocketMessages(const std::vector<CapturedPacket>& packets,
                                                std::uint16_t port)
{
    std::vector<Connection> connections;
    std::map<std::pair<std::string, std::string>, std::size_t> numbers; // by client and server
    for (const CapturedPacket& packet : packets) {
        auto segment = readSegment(packet);
        if (!segment || (segment->toPort != port && segment->fromPort != port)) {
            continue;
        }
        const bool isFromClient = segment->toPort == port;
        auto ends = isFromClient ? std::pair(segment->from, segment->to)
                                 : std::pair(segment->to, segment->from);
        if ((isFromClient && segment->begins) || numbers.count(ends) == 0) {
            numbers[ends] = connections.size();
            connections.emplace_back();
        }
        Connection& connection = connections[numbers[ends]];
        (isFromClient ? connection.toServer : connection.toClient)
            .add(packet.time, *std::move(segment));
    }

    std::vector<SimulatedRecord> records;
    std::uint32_t client = 0;
    for (Connection& connection : connections) {
        ++client;
        for (const bool isFromClient : {true, false}) {
            for (Message& message :
                 (isFromClient ? connection.toServer : connection.toClient).messages()) {
                std::string text = describe(message.bytes);
                records.push_back({message.time, "socket", isFromClient, client, 0,
                                   std::move(message.bytes), std::move(text)});
            }
        }
    }
    return records;
}

} // namespace zt
