#include "zt/ZTSocket.h"

#include "zt/ZTSocketMessage.h"

#include "ztutil/ZTDebug.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace ZT {

namespace {

const unsigned int SMALLEST_RECORD_ARRAY = 28; // what ZTSocketMessage(char*) reads

bool isMarker(const char* bytes)
{
    return std::memcmp(bytes, ZTSocketMessage::MESSAGE_HEADER.data(),
                       ZTSocketMessage::MESSAGE_HEADER_SIZE) == 0;
}

bool beginsWithMarker(const char* bytes, unsigned int size)
{
    return size >= ZTSocketMessage::MESSAGE_HEADER_SIZE && isMarker(bytes);
}

// The room for a partial record of this length. It doubles, so that a record that trickles in is
// copied a few times and not with every read. More than one read is to spare, so that it does not
// double for the last bytes of the largest record.
unsigned int capacityFor(unsigned int length)
{
    const unsigned int spare = 2048;
    unsigned int capacity = 2048;
    while (capacity + spare < length) {
        capacity *= 2;
    }
    return capacity + spare;
}

} // namespace

const unsigned int ZTSocket::MAX_PARTIAL_SIZE;

ZTSocket::ZTSocket() : partial(nullptr), partialLength(0), receiveBuffer{} {}

ZTSocket::~ZTSocket() = default;

int ZTSocket::sendSocketData(unsigned int id, ZTSocketMessage* message)
{
    const unsigned int size = message->calculateBufferSize();
    std::vector<char> buffer(std::max(size, SMALLEST_RECORD_ARRAY));
    message->fillBuffer(buffer.data());
    return sendSocketData(id, reinterpret_cast<int*>(buffer.data()), size);
}

int ZTSocket::receiveSocketData(unsigned int id, char*& buffer)
{
    const int count = receiveSocketData(id, reinterpret_cast<int*>(receiveBuffer), READ_SIZE);
    if (count >= 1) {
        std::memcpy(buffer, receiveBuffer, static_cast<std::size_t>(count));
    }
    return count;
}

char* ZTSocket::getNextSocketBuffer(int& status, int id)
{
    if (records.empty()) {
        char working[READ_SIZE] = {};
        char* bytes = working;
        errno = 0; // lest an old EAGAIN hide that the peer has closed the connection
        const int count = id >= 1 ? receiveSocketData(static_cast<unsigned int>(id), bytes)
                                  : receiveSocketData(bytes);
        if (count < 1) {
            status = errno == EAGAIN ? 17 : count < 0 ? 4 : 14;
            return nullptr;
        }
        takeBytes(bytes, static_cast<unsigned int>(count));
    }
    if (records.empty()) {
        return nullptr;
    }
    char* record = records.front();
    records.pop_front();
    status = 0;
    return record;
}

void ZTSocket::takeBytes(const char* bytes, unsigned int size)
{
    if (partialLength > 0 && !beginsWithMarker(bytes, size)) {
        takeBytesThatContinue(bytes, size);
        return;
    }
    const unsigned int end = queueRecords(bytes, size);
    keepAsPartial(bytes + end, size - end);
}

void ZTSocket::takeBytesThatContinue(const char* bytes, unsigned int size)
{
    appendToPartial(bytes, size);
    std::unique_ptr<char[]> joined(std::exchange(partial, nullptr));
    const auto joinedSize = static_cast<unsigned int>(std::exchange(partialLength, 0));
    const unsigned int end = queueRecords(joined.get(), joinedSize);
    if (end > 0) {
        keepAsPartial(joined.get() + end, joinedSize - end);
    } else if (joinedSize > MAX_PARTIAL_SIZE) {
        ZTDebug::debugPrintError(
            1, myDebugKey, "ZTSocket::getNextSocketBuffer partial record dropped, %u bytes held",
            joinedSize);
    } else {
        partial = joined.release();
        partialLength = static_cast<int>(joinedSize);
    }
}

void ZTSocket::appendToPartial(const char* bytes, unsigned int size)
{
    const auto held = static_cast<unsigned int>(partialLength);
    const unsigned int capacity = capacityFor(held + size);
    if (capacity != capacityFor(held)) {
        char* grown = new char[capacity];
        std::memcpy(grown, partial, held);
        delete[] partial;
        partial = grown;
    }
    std::memcpy(partial + held, bytes, size);
    partialLength = static_cast<int>(held + size);
}

// Nothing to keep leaves what is held as it is.
void ZTSocket::keepAsPartial(const char* bytes, unsigned int size)
{
    if (size == 0) {
        return;
    }
    char* kept = new char[capacityFor(size)];
    std::memcpy(kept, bytes, size);
    delete[] partial;
    partial = kept;
    partialLength = static_cast<int>(size);
}

// Queues the complete records among the bytes. Returns where the bytes begin that may be completed
// later; `size` if there are none.
unsigned int ZTSocket::queueRecords(const char* bytes, unsigned int size)
{
    const unsigned int markerSize = ZTSocketMessage::MESSAGE_HEADER_SIZE;
    unsigned int position = 0;
    while (position + markerSize < size) {
        if (!isMarker(bytes + position)) {
            ++position;
            continue;
        }
        std::uint32_t length = 0;
        if (size - position < markerSize + sizeof length) {
            return position;
        }
        std::memcpy(&length, bytes + position + markerSize, sizeof length);
        if (length < 1 || length > size - position) {
            return position;
        }
        queueRecord(bytes + position, length);
        position += length;
    }
    return position + markerSize == size ? size : position;
}

void ZTSocket::queueRecord(const char* bytes, unsigned int size)
{
    const unsigned int room = std::max(size, SMALLEST_RECORD_ARRAY);
    std::unique_ptr<char[]> record(new char[room]);
    std::memcpy(record.get(), bytes, size);
    std::fill(record.get() + size, record.get() + room, '\0');
    records.push_back(record.get());
    record.release();
}

} // namespace ZT
