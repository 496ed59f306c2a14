#include "zt/ZTSocket.h"

#include "socket/marker.h"
#include "zt/ZTSocketMessage.h"

#include "ztutil/ZTDebug.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace ZT {

namespace {

const unsigned int LENGTH_SIZE = 4;
const unsigned int SMALLEST_RECORD_ARRAY = 28; // what ZTSocketMessage(char*) reads

bool isMarker(const char* bytes)
{
    return std::memcmp(bytes, MARKER, MARKER_SIZE) == 0;
}

bool beginsWithMarker(const char* bytes, unsigned int size)
{
    return size >= MARKER_SIZE && isMarker(bytes);
}

bool hasLength(unsigned int size)
{
    return size >= MARKER_SIZE + LENGTH_SIZE;
}

std::uint32_t lengthOf(const char* record)
{
    std::uint32_t length = 0;
    std::memcpy(&length, record + MARKER_SIZE, sizeof length);
    return length;
}

// The room for the first `size` bytes of a record. It grows with what has come, for the length is
// only what the peer says, and by steps, so that a record that trickles in is copied a few times
// and not with every read. In the end it is the record's length, and the array can be handed out.
// Bytes without a length are not continued in place.
unsigned int roomFor(const char* record, unsigned int size)
{
    if (!hasLength(size)) {
        return size;
    }
    unsigned int room = 4096;
    while (room < size) {
        room *= 4;
    }
    const std::uint32_t length = lengthOf(record);
    return length == 0 ? room : std::min(room, std::max(length, SMALLEST_RECORD_ARRAY));
}

bool isComplete(const char* record, unsigned int size)
{
    return hasLength(size) && lengthOf(record) >= 1 && lengthOf(record) <= size;
}

// An array that begins with the bytes; the rest is zeros.
char* newArray(const char* bytes, unsigned int size, unsigned int room)
{
    char* array = new char[room];
    std::fill(std::copy(bytes, bytes + size, array), array + room, '\0');
    return array;
}

} // namespace

const unsigned int ZTSocket::MAX_PARTIAL_SIZE;

ZTSocket::ZTSocket() : partial(nullptr), partialLength(0), receiveBuffer{} {}

ZTSocket::~ZTSocket() = default;

int ZTSocket::sendSocketData(unsigned int id, ZTSocketMessage* message)
{
    const unsigned int size = message->calculateBufferSize();
    const std::unique_ptr<char[]> buffer(new char[std::max(size, SMALLEST_RECORD_ARRAY)]());
    message->fillBuffer(buffer.get());
    return sendSocketData(id, reinterpret_cast<int*>(buffer.get()), size);
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

bool ZTSocket::dropPartialAbove(unsigned int size)
{
    const bool isAbove = static_cast<unsigned int>(partialLength) > size;
    if (isAbove) {
        dropPartial();
    }
    return isAbove;
}

void ZTSocket::takeRecords(const char* bytes, unsigned int size,
                           std::vector<std::unique_ptr<char[]>>& taken)
{
    if (size > 0) {
        takeBytes(bytes, size);
    }
    taken.reserve(taken.size() + records.size());
    for (char* record : records) {
        taken.emplace_back(record);
    }
    records.clear();
}

void ZTSocket::takeBytes(const char* bytes, unsigned int size)
{
    const auto held = static_cast<unsigned int>(partialLength);
    if (held == 0 || beginsWithMarker(bytes, size)) {
        cutRecords(bytes, size);
    } else if (hasLength(held)) {
        continueRecord(bytes, size);
    } else {
        const std::string joined = std::string(partial, held).append(bytes, size);
        dropPartial();
        cutRecords(joined.data(), held + size);
    }
}

// Comes to the same as joining what is held with the bytes and cutting that: what is held begins
// with a marker, and its length is 0 or more than is held.
void ZTSocket::continueRecord(const char* bytes, unsigned int size)
{
    const auto held = static_cast<unsigned int>(partialLength);
    const std::uint32_t length = lengthOf(partial);
    if (length > 0 && length - held <= size) {
        const unsigned int missing = length - held;
        appendToPartial(bytes, missing);
        records.push_back(partial);
        partial = nullptr;
        partialLength = 0;
        cutRecords(bytes + missing, size - missing);
    } else if (held + size > MAX_PARTIAL_SIZE) {
        dropPartial();
        ZTDebug::debugPrintError(
            1, myDebugKey, "ZTSocket::getNextSocketBuffer partial record dropped, %u bytes held",
            held + size);
    } else {
        appendToPartial(bytes, size);
    }
}

void ZTSocket::appendToPartial(const char* bytes, unsigned int size)
{
    const auto held = static_cast<unsigned int>(partialLength);
    const unsigned int room = roomFor(partial, held + size);
    if (room != roomFor(partial, held)) {
        char* larger = new char[room];
        std::memcpy(larger, partial, held);
        delete[] partial;
        partial = larger;
    }
    std::memcpy(partial + held, bytes, size);
    partialLength = static_cast<int>(held + size);
}

void ZTSocket::dropPartial()
{
    delete[] partial;
    partial = nullptr;
    partialLength = 0;
}

// Queues the complete records among the bytes. What may be completed later takes the place of what
// is held; without any of that, what is held stays.
void ZTSocket::cutRecords(const char* bytes, unsigned int size)
{
    unsigned int position = 0;
    while (position + MARKER_SIZE < size) {
        const char* record = bytes + position;
        const unsigned int rest = size - position;
        if (!isMarker(record)) {
            ++position;
        } else if (isComplete(record, rest)) {
            queueRecord(record, lengthOf(record));
            position += lengthOf(record);
        } else {
            keepAsPartial(record, rest);
            return;
        }
    }
    const unsigned int rest = size - position;
    if (rest > 0 && rest < MARKER_SIZE) {
        keepAsPartial(bytes + position, rest);
    }
}

void ZTSocket::keepAsPartial(const char* bytes, unsigned int size)
{
    char* kept = newArray(bytes, size, roomFor(bytes, size));
    delete[] partial;
    partial = kept;
    partialLength = static_cast<int>(size);
}

void ZTSocket::queueRecord(const char* bytes, unsigned int size)
{
    std::unique_ptr<char[]> record(newArray(bytes, size, std::max(size, SMALLEST_RECORD_ARRAY)));
    records.push_back(record.get());
    record.release();
}

} // namespace ZT
