#include "zt/ZTEeprom.h"

#include "support/CapturedStream.h"
#include "support/FakeDaemon.h"
#include "support/ForeignFormat.h"
#include "support/Interpose.h"
#include "zt/ZTHealthManagement.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

using testing::IsEmpty;
using namespace ZT;

namespace {

const char PAYLOAD[] = "\xF1"
                       "BCDEFGHIJKLMNOPQRSTUVWXYZ98765!";
const std::string UNTOUCHED(sizeof(ZTEEPROMMessageData), '*');

RecordBytes healthRecord(unsigned int type)
{
    return RecordBytes(type, 36);
}

std::string someReply()
{
    return healthRecord(99).put(4, PAYLOAD);
}

ZTEEPROMMessageData untouchedData()
{
    ZTEEPROMMessageData data;
    std::memset(&data, '*', sizeof data);
    return data;
}

std::string bytesOf(const ZTEEPROMMessageData& data)
{
    return {reinterpret_cast<const char*>(&data), sizeof data};
}

int read(int command, ZTEEPROMMessageData& data)
{
    return ZTEeprom::readDataFromEeprom(static_cast<ZTEEPROMCommand>(command), data);
}

int write(int command, ZTEEPROMMessageData& data)
{
    return ZTEeprom::writeDataToEeprom(static_cast<ZTEEPROMCommand>(command), data);
}

// A command whose field the daemon reads, and how much of the answer is the caller's.
struct Row {
    int command;
    unsigned int type;
    std::size_t size;
};

std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    return stream << "command " << row.command;
}

const std::size_t TEXT = 33; // with a NUL of ours

const Row ROWS[] = {
    {0, 0, 4},      {2, 2, 1},   {4, 4, 1},   {6, 6, 1},   {8, 8, TEXT}, {10, 10, TEXT},
    {14, 12, TEXT}, {16, 14, 1}, {19, 16, 4}, {21, 18, 1}, {23, 20, 1},  {25, 22, 4},
};

class EveryField : public testing::TestWithParam<Row> {
protected:
    FakeHealthDaemon daemon;
    ZTEEPROMMessageData data = untouchedData();
};

// Nobody may ask the daemon for anything.
class NoExchange {
private:
    const Interpose<int(int, int, int)> noSocket{interposed::socket, [](auto...) {
                                                     ADD_FAILURE();
                                                     return -1;
                                                 }};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(ZTEeprom, EveryField, testing::ValuesIn(ROWS),
                         [](const auto& info) { return std::to_string(info.param.command); });

TEST_P(EveryField, IsReadByItsTypeAndTakesNoMoreThanItsWidth)
{
    Answer answer(daemon, someReply());
    EXPECT_EQ(read(GetParam().command, data), 0);
    EXPECT_EQ(answer.request(), std::string(healthRecord(GetParam().type)));
    std::string expected = UNTOUCHED;
    expected.replace(0, GetParam().size, PAYLOAD, GetParam().size);
    EXPECT_EQ(bytesOf(data), expected);
}

TEST_P(EveryField, CannotBeWritten)
{
    const NoExchange none;
    EXPECT_EQ(write(GetParam().command, data), 11);
}

TEST_P(EveryField, AHangUpWithoutAnAnswerReadsAsZeros)
{
    const Answer hangUp(daemon, "");
    EXPECT_EQ(read(GetParam().command, data), 0);
    std::string expected = UNTOUCHED;
    const std::size_t size = GetParam().size == TEXT ? 1 : GetParam().size;
    expected.replace(0, size, size, '\0');
    EXPECT_EQ(bytesOf(data), expected);
}

TEST(ZTEeprom, ATextEndsAtItsNulAndKeepsWhatIsBehindIt)
{
    FakeHealthDaemon daemon;
    const Answer answer(daemon, healthRecord(9).put(4, std::string("AB\0CD", 5)));
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(read(8, data), 0);
    EXPECT_EQ(bytesOf(data), std::string("AB\0*", 4) + UNTOUCHED.substr(4));
}

TEST(ZTEeprom, WithoutADaemonReadingReturns1AndLeavesTheData)
{
    ZTEEPROMMessageData data = untouchedData();
    for (const int command : {0, 2, 8, 17, 1, 26, -1}) {
        EXPECT_EQ(read(command, data), 1) << command;
    }
    EXPECT_EQ(bytesOf(data), UNTOUCHED);
}

TEST(ZTEeprom, ReadingAnUnreadableCommandAsksForField0AndReturns5)
{
    FakeHealthDaemon daemon;
    ZTEEPROMMessageData data = untouchedData();
    for (const int command : {1, 3, 5, 7, 9, 11, 13, 15, 18, 20, 22, 24, 26, 27, 128, -1}) {
        EXPECT_EQ(commandTranslationMap.count(command), 0U);
        Answer answer(daemon, someReply());
        EXPECT_EQ(read(command, data), 5) << command;
        EXPECT_EQ(answer.request(), std::string(healthRecord(0))) << command;
        EXPECT_EQ(commandTranslationMap.count(command), 1U) << "it is known from now on";
        EXPECT_EQ(commandTranslationMap[command], 0);
    }
    EXPECT_EQ(bytesOf(data), UNTOUCHED);
}

TEST(ZTEeprom, ReadingCommand17PerformsTheExchangeAndReturns5)
{
    FakeHealthDaemon daemon;
    Answer answer(daemon, someReply());
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(read(17, data), 5);
    EXPECT_EQ(answer.request(), std::string(healthRecord(32)));
    EXPECT_EQ(bytesOf(data), UNTOUCHED);
}

TEST(ZTEeprom, ReadingFollowsTheTranslationMap)
{
    FakeHealthDaemon daemon;
    fillCommandMap();
    commandTranslationMap[2] = 77;
    Answer answer(daemon, someReply());
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(read(2, data), 0);
    EXPECT_EQ(answer.request(), std::string(healthRecord(77)));
}

TEST(ZTEeprom, ReadingCommand12PrintsAndReturns11WithTheCommandAsValue)
{
    const NoExchange none;
    const CapturedStream output(std::cout);
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(read(12, data), 11);
    EXPECT_EQ(data.value, 12U);
    EXPECT_EQ(bytesOf(data).substr(4), UNTOUCHED.substr(4));
    EXPECT_EQ(output.text(), "Customer Part Number read failed from eeprom device :-1\n");
    EXPECT_EQ(output.flushes(), 1);
}

TEST(ZTEeprom, TheLineIsTheSameWhateverTheApplicationsFormat)
{
    const CapturedStream output(std::cout);
    const ForeignFormat format;
    ZTEEPROMMessageData data{};
    EXPECT_EQ(read(12, data), 11);
    EXPECT_EQ(output.text(), "Customer Part Number read failed from eeprom device :-1\n");
    EXPECT_TRUE(format.isKept());
}

TEST(ZTEeprom, ALineThatCannotBeWrittenThrowsNothingWhateverTheApplicationHasAskedFor)
{
    const ThrowingOutput output;
    ZTEEPROMMessageData data{};
    EXPECT_EQ(read(12, data), 11);
    EXPECT_EQ(ZTEeprom::getCustomerPartNumber(), "\x0C");
}

TEST(ZTEeprom, GetEEPROMDataStoresTheCommandAndReturns11)
{
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(getEEPROMData(EEPROM_FIELD_25, data), 11);
    EXPECT_EQ(data.value, 25U);
    EXPECT_EQ(bytesOf(data).substr(4), UNTOUCHED.substr(4));
}

TEST(ZTEeprom, WritingCommand17SendsItsByteAndReturnsTheResult)
{
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(write(17, data), 1) << "without a daemon";
    FakeHealthDaemon daemon;
    Answer answer(daemon, someReply());
    EXPECT_EQ(write(17, data), 0);
    EXPECT_EQ(answer.request(), std::string(healthRecord(32).put(4, "*")));
    EXPECT_EQ(bytesOf(data), UNTOUCHED) << "the answer is not for the caller";
}

TEST(ZTEeprom, WritingAnyOtherCommandReturns11AndSendsNothing)
{
    const NoExchange none;
    ZTEEPROMMessageData data = untouchedData();
    for (const int command : {1, 12, 18, 26, 32, -1}) {
        EXPECT_EQ(write(command, data), 11) << command;
        EXPECT_EQ(commandTranslationMap.count(command), command == 12 ? 1U : 0U);
    }
}

TEST(ZTEeprom, WritingACommandThatTheMapDoesNotHoldReturns11)
{
    const NoExchange none;
    fillCommandMap();
    commandTranslationMap.erase(17);
    ZTEEPROMMessageData data = untouchedData();
    EXPECT_EQ(write(17, data), 11);
    EXPECT_EQ(commandTranslationMap.count(17), 0U);
}

namespace {

const std::map<int, int> FILLED = {{0, 0},   {2, 2},   {4, 4},   {6, 6},   {8, 8},
                                   {10, 10}, {14, 12}, {16, 14}, {17, 32}, {19, 16},
                                   {21, 18}, {23, 20}, {25, 22}, {12, 128}};

} // namespace

TEST(ZTEeprom, TheMapsAreEmptyWhenTheLibraryIsLoaded)
{
    EXPECT_THAT(commandTranslationMap, IsEmpty());
    EXPECT_THAT(addressToLengthMapping, IsEmpty());
}

TEST(ZTEeprom, FillCommandMapFillsBothMaps)
{
    fillCommandMap();
    EXPECT_EQ(commandTranslationMap, FILLED);
    EXPECT_EQ(addressToLengthMapping, (std::map<int, int>{{128, 32}}));
}

TEST(ZTEeprom, FillCommandMapKeepsWhatElseTheMapsHold)
{
    commandTranslationMap = {{1, 7}, {2, 7}};
    addressToLengthMapping = {{1, 7}, {128, 7}};
    fillCommandMap();
    std::map<int, int> expected = FILLED;
    expected[1] = 7;
    EXPECT_EQ(commandTranslationMap, expected);
    EXPECT_EQ(addressToLengthMapping, (std::map<int, int>{{1, 7}, {128, 32}}));
}

TEST(ZTEeprom, TheFirstReadFillsTheMaps)
{
    const CapturedStream output(std::cout);
    ZTEEPROMMessageData data{};
    for (const int command : {2, 12}) {
        commandTranslationMap.clear();
        addressToLengthMapping.clear();
        read(command, data);
        EXPECT_EQ(commandTranslationMap, FILLED);
        EXPECT_EQ(addressToLengthMapping, (std::map<int, int>{{128, 32}}));
    }
}

TEST(ZTEeprom, TheFirstWriteFillsTheMaps)
{
    ZTEEPROMMessageData data{};
    EXPECT_EQ(write(2, data), 11);
    EXPECT_EQ(commandTranslationMap, FILLED);
    EXPECT_EQ(addressToLengthMapping, (std::map<int, int>{{128, 32}}));
}

TEST(ZTEeprom, MapsThatHoldSomethingAreNotFilledAgain)
{
    commandTranslationMap = {{2, 2}};
    ZTEEPROMMessageData data{};
    EXPECT_EQ(read(2, data), 1);
    EXPECT_EQ(write(17, data), 11);
    EXPECT_EQ(commandTranslationMap, (std::map<int, int>{{2, 2}}));
    EXPECT_THAT(addressToLengthMapping, IsEmpty());
}

TEST(ZTEeprom, TheGettersAskForTheirFields)
{
    FakeHealthDaemon daemon;
    {
        Answer answer(daemon, healthRecord(3).put(4, "\xFF\xFF"));
        EXPECT_EQ(ZTEeprom::getProductType(), 255);
        EXPECT_EQ(answer.request(), std::string(healthRecord(2)));
    }
    {
        Answer answer(daemon, healthRecord(5).put(4, "\x80\xFF"));
        EXPECT_EQ(ZTEeprom::getProductVariant(), 128);
        EXPECT_EQ(answer.request(), std::string(healthRecord(4)));
    }
    {
        Answer answer(daemon, healthRecord(13).put(4, "AB-123"));
        EXPECT_EQ(ZTEeprom::getSerialNumber(), "AB-123");
        EXPECT_EQ(answer.request(), std::string(healthRecord(12)));
    }
    {
        Answer answer(daemon, healthRecord(11).put(4, "PN 1"));
        EXPECT_EQ(ZTEeprom::getPartNumber(), "PN 1");
        EXPECT_EQ(answer.request(), std::string(healthRecord(10)));
    }
}

TEST(ZTEeprom, ATextOf32BytesArrivesWhole)
{
    FakeHealthDaemon daemon;
    const Answer answer(daemon, someReply());
    EXPECT_EQ(ZTEeprom::getSerialNumber(), PAYLOAD);
}

TEST(ZTEeprom, TheGettersGiveNothingWithoutADaemon)
{
    EXPECT_EQ(ZTEeprom::getProductType(), 0);
    EXPECT_EQ(ZTEeprom::getProductVariant(), 0);
    EXPECT_EQ(ZTEeprom::getSerialNumber(), "");
    EXPECT_EQ(ZTEeprom::getPartNumber(), "");
}

TEST(ZTEeprom, TheGettersGiveNothingWhenTheDaemonHangsUp)
{
    FakeHealthDaemon daemon;
    for (const auto& text : {&ZTEeprom::getSerialNumber, &ZTEeprom::getPartNumber}) {
        const Answer hangUp(daemon, "");
        EXPECT_EQ(text(), "");
    }
    for (const auto& number : {&ZTEeprom::getProductType, &ZTEeprom::getProductVariant}) {
        const Answer hangUp(daemon, "");
        EXPECT_EQ(number(), 0);
    }
}

TEST(ZTEeprom, GetCustomerPartNumberPrintsAndGivesTheByte0x0C)
{
    const NoExchange none;
    const CapturedStream output(std::cout);
    const ZTEeprom eeprom;
    EXPECT_EQ(eeprom.getCustomerPartNumber(), "\x0C");
    EXPECT_EQ(output.text(), "Customer Part Number read failed from eeprom device :-1\n");
}
