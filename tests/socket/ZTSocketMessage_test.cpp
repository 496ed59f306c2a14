#include "zt/ZTSocketMessage.h"

#include "RecordBytes.h"
#include "support/Diagnostics.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;
using ZT::ZTSocketMessage;

namespace {

const char SECTION[] = "zt_socket_linux";

void expectDefaults(const ZTSocketMessage& message)
{
    EXPECT_EQ(message.messageType, 200U);
    EXPECT_EQ(message.messageLength, 28U);
    EXPECT_FALSE(message.messageFlag);
    EXPECT_EQ(message.parameter1, 0U);
    EXPECT_EQ(message.parameter2, 0U);
    EXPECT_EQ(message.parameter3, 0U);
}

void setAll(ZTSocketMessage& message)
{
    message.messageType = 0x1122;
    message.messageLength = 0x33445566;
    message.messageFlag = true;
    message.parameter1 = 0x7788;
    message.parameter2 = 0x99aa;
    message.parameter3 = 0xbbcc;
}

void expectAll(const ZTSocketMessage& message)
{
    EXPECT_EQ(message.messageType, 0x1122U);
    EXPECT_EQ(message.messageLength, 0x33445566U);
    EXPECT_TRUE(message.messageFlag);
    EXPECT_EQ(message.parameter1, 0x7788U);
    EXPECT_EQ(message.parameter2, 0x99aaU);
    EXPECT_EQ(message.parameter3, 0xbbccU);
}

const std::string ALL_FIELDS = littleEndian(0x1122, 2) + '\1' + littleEndian(0x7788, 2) +
                               littleEndian(0x99aa, 2) + littleEndian(0xbbcc, 2);

// A message with four bytes of its own.
class Larger : public ZTSocketMessage {
public:
    explicit Larger(bool initialized = true)
    {
        if (initialized) {
            init();
        }
    }

    unsigned int calculateBufferSize() override { return 32; }

    int fillBuffer(char* buffer) override
    {
        const int used = ZTSocketMessage::fillBuffer(buffer);
        if (used > 0) {
            buffer[used] = 'x';
        }
        return used;
    }
};

std::string filled(ZTSocketMessage& message)
{
    std::string buffer(40, '#');
    EXPECT_EQ(message.fillBuffer(&buffer[0]), 28);
    return buffer;
}

} // namespace

TEST(ZTSocketMessage, ItsMarkerHas15Characters)
{
    EXPECT_EQ(ZTSocketMessage::MESSAGE_HEADER, "ZTSOCKETMESSAGE");
    EXPECT_EQ(ZTSocketMessage::MESSAGE_HEADER_SIZE, 15U);
}

TEST(ZTSocketMessage, StartsWithType200AndLength28)
{
    ZTSocketMessage message;
    expectDefaults(message);
    EXPECT_EQ(message.calculateBufferSize(), 28U);
}

TEST(ZTSocketMessage, InitBringsTheDefaultsBack)
{
    ZTSocketMessage message;
    setAll(message);
    message.init();
    expectDefaults(message);
}

TEST(ZTSocketMessage, FillBufferWritesEveryFieldAtItsOffset)
{
    ZTSocketMessage message;
    setAll(message);
    EXPECT_EQ(filled(message), record(ALL_FIELDS) + std::string(12, '#'));
    message.messageFlag = false;
    EXPECT_EQ(filled(message)[21], '\0');
}

TEST(ZTSocketMessage, FillBufferOfADefaultMessageHasType200AndLength28)
{
    ZTSocketMessage message;
    std::string buffer = filled(message);
    EXPECT_EQ(buffer.substr(0, 28), shortRecord(200));
    EXPECT_EQ(ZTSocketMessage::getMessageType(&buffer[0]), 200U);
    EXPECT_EQ(buffer.substr(15, 4), littleEndian(28, 4));
}

TEST(ZTSocketMessage, FillBufferOfNullReturnsMinus1)
{
    EXPECT_EQ(ZTSocketMessage().fillBuffer(nullptr), -1);
}

TEST(ZTSocketMessage, FillBufferWritesThroughAnUnalignedPointer)
{
    ZTSocketMessage message;
    setAll(message);
    std::string buffer(29, '#');
    EXPECT_EQ(message.fillBuffer(&buffer[1]), 28);
    EXPECT_EQ(buffer, "#" + record(ALL_FIELDS));
    expectAll([&] {
        ZTSocketMessage read(&buffer[1]);
        read.updateMessageLength(&buffer[1], 0x33445566);
        return read;
    }());
}

TEST(ZTSocketMessage, ReadsEveryFieldOfABuffer)
{
    std::string buffer = head(0x33445566) + ALL_FIELDS;
    expectAll(ZTSocketMessage(&buffer[0]));
}

TEST(ZTSocketMessage, ReadsABufferWhateverItsMarker)
{
    std::string buffer = std::string(15, '?') + littleEndian(0x33445566, 4) + ALL_FIELDS;
    expectAll(ZTSocketMessage(&buffer[0]));
}

TEST(ZTSocketMessage, OnlyAFlagOf1IsTrue)
{
    for (int flag = 0; flag < 256; ++flag) {
        std::string buffer = shortRecord(200);
        buffer[21] = static_cast<char>(flag);
        EXPECT_EQ(ZTSocketMessage(&buffer[0]).messageFlag, flag == 1);
    }
}

TEST(ZTSocketMessage, GetMessageTypeReadsAllSixteenBits)
{
    std::string buffer = shortRecord(0xfedc);
    EXPECT_EQ(ZTSocketMessage::getMessageType(&buffer[0]), 0xfedcU);
}

TEST(ZTSocketMessage, UpdateMessageLengthChangesTheBufferAndTheField)
{
    ZTSocketMessage message;
    std::string buffer = shortRecord(200);
    message.updateMessageLength(&buffer[0], 0xfedcba98);
    EXPECT_EQ(message.messageLength, 0xfedcba98);
    EXPECT_EQ(buffer, head(0xfedcba98) + shortRecord(200).substr(19));
}

TEST(ZTSocketMessage, FillBufferWritesTheCalculatedLengthAndNotTheField)
{
    ZTSocketMessage message;
    message.messageLength = 99;
    EXPECT_EQ(filled(message).substr(0, 28), shortRecord(200));
    EXPECT_EQ(message.messageLength, 99U);
}

TEST(ZTSocketMessage, CopyingCopiesEveryFieldAndPrintsATrace)
{
    Diagnostics diagnostics(4);
    ZTSocketMessage original;
    setAll(original);
    EXPECT_THAT(diagnostics.take(), IsEmpty());
    const ZTSocketMessage copy(original);
    expectAll(copy);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{4, SECTION, "ZTSocketMessage::ZTSocketMessage CopyCon"}));
}

TEST(ZTSocketMessage, AssigningCopiesEveryFieldAndPrintsATrace)
{
    ZTSocketMessage original;
    setAll(original);
    ZTSocketMessage copy;
    Diagnostics diagnostics(4);
    EXPECT_EQ(&(copy = original), &copy);
    expectAll(copy);
    EXPECT_THAT(diagnostics.take(),
                ElementsAre(Line{4, SECTION, "ZTSocketMessage::ZTSocketMessage op="}));
}

TEST(ZTSocketMessage, AssigningAMessageToItselfDoesNothing)
{
    ZTSocketMessage message;
    setAll(message);
    Diagnostics diagnostics(4);
    const ZTSocketMessage& itself = message;
    EXPECT_EQ(&(message = itself), &message);
    expectAll(message);
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST(ZTSocketMessage, ReleaseDoesNothing)
{
    Diagnostics diagnostics(4);
    ZTSocketMessage message;
    setAll(message);
    message.release();
    expectAll(message);
    EXPECT_THAT(diagnostics.take(), IsEmpty());
}

TEST(ZTSocketMessage, ADerivedMessageIsClearedWholeAndHasItsOwnLength)
{
    Larger message;
    EXPECT_EQ(filled(message),
              head(32) + shortRecord(200).substr(19) + "x" + std::string(3, '\0') + "########");
}

TEST(ZTSocketMessage, InitTakesTheDerivedLengthButTheBasesConstructorCannot)
{
    EXPECT_EQ(Larger(true).messageLength, 32U);
    EXPECT_EQ(Larger(false).messageLength, 28U);
}
