#include "zt/ZTSocketMessage.h"

#include "socket/marker.h"

#include "ztutil/ZTDebug.h"

#include <cstring>

namespace ZT {

namespace {

// Where the fields stand behind the marker. All but the flag have the width of their member.
const unsigned int LENGTH_OFFSET = 15;
const unsigned int TYPE_OFFSET = 19;
const unsigned int FLAG_OFFSET = 21;
const unsigned int PARAMETER1_OFFSET = 22;
const unsigned int PARAMETER2_OFFSET = 24;
const unsigned int PARAMETER3_OFFSET = 26;
const unsigned int FIELDS_SIZE = 13;

template <class Number>
void write(char* buffer, unsigned int offset, const Number& number)
{
    std::memcpy(buffer + offset, &number, sizeof number);
}

template <class Number>
void read(const char* buffer, unsigned int offset, Number& number)
{
    std::memcpy(&number, buffer + offset, sizeof number);
}

void trace(const char* text)
{
    ZTDebug::debugPrintError(4, ZTDebug::getDebugSectionKey("zt_socket_linux"), "%s", text);
}

} // namespace

const std::string ZTSocketMessage::MESSAGE_HEADER = MARKER;
const unsigned int ZTSocketMessage::MESSAGE_HEADER_SIZE = MARKER_SIZE;

ZTSocketMessage::ZTSocketMessage()
{
    ZTSocketMessage::init();
}

ZTSocketMessage::ZTSocketMessage(char* buffer)
{
    ZTSocketMessage::init();
    read(buffer, LENGTH_OFFSET, messageLength);
    read(buffer, TYPE_OFFSET, messageType);
    messageFlag = buffer[FLAG_OFFSET] == 1;
    read(buffer, PARAMETER1_OFFSET, parameter1);
    read(buffer, PARAMETER2_OFFSET, parameter2);
    read(buffer, PARAMETER3_OFFSET, parameter3);
}

ZTSocketMessage::ZTSocketMessage(const ZTSocketMessage& other)
    : messageType(other.messageType), messageLength(other.messageLength),
      messageFlag(other.messageFlag), parameter1(other.parameter1), parameter2(other.parameter2),
      parameter3(other.parameter3)
{
    trace("ZTSocketMessage::ZTSocketMessage CopyCon");
}

ZTSocketMessage::~ZTSocketMessage()
{
    release();
}

ZTSocketMessage& ZTSocketMessage::operator=(const ZTSocketMessage& other)
{
    if (this != &other) {
        messageType = other.messageType;
        messageLength = other.messageLength;
        messageFlag = other.messageFlag;
        parameter1 = other.parameter1;
        parameter2 = other.parameter2;
        parameter3 = other.parameter3;
        trace("ZTSocketMessage::ZTSocketMessage op=");
    }
    return *this;
}

int ZTSocketMessage::fillBuffer(char* buffer)
{
    if (buffer == nullptr) {
        return -1;
    }
    const unsigned int size = calculateBufferSize();
    std::memset(buffer, 0, size);
    std::memcpy(buffer, MARKER, MARKER_SIZE);
    write(buffer, LENGTH_OFFSET, size);
    write(buffer, TYPE_OFFSET, messageType);
    buffer[FLAG_OFFSET] = messageFlag ? 1 : 0;
    write(buffer, PARAMETER1_OFFSET, parameter1);
    write(buffer, PARAMETER2_OFFSET, parameter2);
    write(buffer, PARAMETER3_OFFSET, parameter3);
    return static_cast<int>(MARKER_SIZE + FIELDS_SIZE);
}

unsigned int ZTSocketMessage::calculateBufferSize()
{
    return MARKER_SIZE + FIELDS_SIZE;
}

void ZTSocketMessage::init()
{
    messageType = 200;
    // A constructor counts the bytes of its own class only.
    messageLength = calculateBufferSize(); // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall)
    messageFlag = false;
    parameter1 = 0;
    parameter2 = 0;
    parameter3 = 0;
}

void ZTSocketMessage::updateMessageLength(char* buffer, unsigned int length)
{
    messageLength = length;
    write(buffer, LENGTH_OFFSET, messageLength);
}

std::uint16_t ZTSocketMessage::getMessageType(char* buffer)
{
    std::uint16_t type = 0;
    read(buffer, TYPE_OFFSET, type);
    return type;
}

void ZTSocketMessage::release() {}

} // namespace ZT
