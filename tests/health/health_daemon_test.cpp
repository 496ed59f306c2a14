// The clients and the simulated device's health-monitor daemon, whose fields have the values that
// the test's registration gives them.

#include "zt/ZTEeprom.h"
#include "zt/ZTHealthManagement.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

using namespace ZT;

namespace {

template <class Value>
Value ask(ZTHealthManagementCommand command, Value data = {})
{
    EXPECT_EQ(ZTHealthManagement::sendMessage(command, &data, true), 0) << command;
    return data;
}

using Byte = unsigned char;

ZTEEPROMMessageData read(ZTEEPROMCommand command)
{
    ZTEEPROMMessageData data{};
    EXPECT_EQ(ZTEeprom::readDataFromEeprom(command, data), 0) << command;
    return data;
}

} // namespace

TEST(HealthDaemon, AnswersEveryGetCommand)
{
    EXPECT_EQ(ask<Byte>(COMMAND_20), 23);
    EXPECT_EQ(ask<Byte>(COMMAND_26), 26);
    EXPECT_EQ(ask<Byte>(COMMAND_29), 29);
    EXPECT_EQ(ask<std::uint32_t>(COMMAND_32), 3200000000U);
}

TEST(HealthDaemon, KeepsWhatEverySetCommandSets)
{
    EXPECT_EQ(ask<Byte>(COMMAND_25, 1), 1);
    EXPECT_EQ(ask<Byte>(COMMAND_27, 2), 2);
    EXPECT_EQ(ask<Byte>(COMMAND_30, 3), 3);
    EXPECT_EQ(ask<std::uint32_t>(COMMAND_33, 4000000000U), 4000000000U);
    EXPECT_EQ(ask<Byte>(COMMAND_20), 1);
    EXPECT_EQ(ask<Byte>(COMMAND_26), 2);
    EXPECT_EQ(ask<Byte>(COMMAND_29), 3);
    EXPECT_EQ(ask<std::uint32_t>(COMMAND_32), 4000000000U);
}

TEST(HealthDaemon, HeedsACommandWhoseSenderDoesNotWait)
{
    Byte data = 77;
    EXPECT_EQ(ZTHealthManagement::sendMessage(COMMAND_25, &data, false), 0);
    while (ask<Byte>(COMMAND_20) != 77) {
    }
}

TEST(HealthDaemon, GivesEveryFieldOfTheEeprom)
{
    EXPECT_EQ(read(EEPROM_FIELD_0).value, 4294967295U);
    EXPECT_EQ(read(EEPROM_PRODUCT_TYPE).byte, 255);
    EXPECT_EQ(read(EEPROM_PRODUCT_VARIANT).byte, 200);
    EXPECT_EQ(read(EEPROM_FIELD_6).byte, 6);
    EXPECT_STREQ(read(EEPROM_FIELD_8).text, "eight");
    EXPECT_STREQ(read(EEPROM_PART_NUMBER).text, "12345678901234567890123456789012");
    EXPECT_STREQ(read(EEPROM_SERIAL_NUMBER).text, "AB-123");
    EXPECT_EQ(read(EEPROM_FIELD_16).byte, 16);
    EXPECT_EQ(read(EEPROM_FIELD_19).value, 305419896U);
    EXPECT_EQ(read(EEPROM_FIELD_21).byte, 21);
    EXPECT_EQ(read(EEPROM_FIELD_23).byte, 23);
    EXPECT_EQ(read(EEPROM_FIELD_25).value, 2500000000U);
}

TEST(HealthDaemon, GivesTheDevicesIdentity)
{
    EXPECT_EQ(ZTEeprom::getProductType(), 255);
    EXPECT_EQ(ZTEeprom::getProductVariant(), 200);
    EXPECT_EQ(ZTEeprom::getSerialNumber(), "AB-123");
    EXPECT_EQ(ZTEeprom::getPartNumber(), "12345678901234567890123456789012");
}

TEST(HealthDaemon, AnswersTheWriteOfField17)
{
    ZTEEPROMMessageData data{};
    data.byte = 5;
    EXPECT_EQ(ZTEeprom::writeDataToEeprom(EEPROM_FIELD_17, data), 0);
    EXPECT_EQ(ZTEeprom::readDataFromEeprom(EEPROM_FIELD_17, data), 5);
}
