#include "zt/ZTEeprom.h"

#include "frame/printLine.h"
#include "health/EepromDevice.h"
#include "zt/ZTHealthManagement.h"
#include "zt/zthmd_msg.h"

#include <cstring>
#include <iostream>
#include <string>

namespace ZT {

namespace {

void fillMapsOnFirstUse()
{
    if (commandTranslationMap.empty()) {
        fillCommandMap();
    }
}

// The daemon's text may fill its field without a NUL.
void copyText(ZTEEPROMMessageData& data, const zthmd_msg_t& message)
{
    const std::size_t length = strnlen(message.text, sizeof message.text);
    std::memcpy(data.text, message.text, length);
    data.text[length] = '\0';
}

int takeField(ZTEEPROMCommand command, ZTEEPROMMessageData& data, const zthmd_msg_t& message)
{
    switch (command) {
    case EEPROM_FIELD_0:
    case EEPROM_FIELD_19:
    case EEPROM_FIELD_25:
        data.value = message.value;
        return 0;
    case EEPROM_PRODUCT_TYPE:
    case EEPROM_PRODUCT_VARIANT:
    case EEPROM_FIELD_6:
    case EEPROM_FIELD_16:
    case EEPROM_FIELD_21:
    case EEPROM_FIELD_23:
        data.byte = message.byte;
        return 0;
    case EEPROM_FIELD_8:
    case EEPROM_PART_NUMBER:
    case EEPROM_SERIAL_NUMBER:
        copyText(data, message);
        return 0;
    default:
        return 5;
    }
}

// All zero if it cannot be read.
ZTEEPROMMessageData readField(ZTEEPROMCommand command)
{
    ZTEEPROMMessageData data{};
    ZTEeprom::readDataFromEeprom(command, data);
    return data;
}

} // namespace

std::map<int, int> commandTranslationMap;
std::map<int, int> addressToLengthMapping;

void fillCommandMap()
{
    const std::map<int, int> messageTypes = {
        {EEPROM_FIELD_0, 0},         {EEPROM_PRODUCT_TYPE, 2},
        {EEPROM_PRODUCT_VARIANT, 4}, {EEPROM_FIELD_6, 6},
        {EEPROM_FIELD_8, 8},         {EEPROM_PART_NUMBER, 10},
        {EEPROM_SERIAL_NUMBER, 12},  {EEPROM_FIELD_16, 14},
        {EEPROM_FIELD_17, 32},       {EEPROM_FIELD_19, 16},
        {EEPROM_FIELD_21, 18},       {EEPROM_FIELD_23, 20},
        {EEPROM_FIELD_25, 22},       {EEPROM_CUSTOMER_PART_NUMBER, 128},
    };
    for (const auto& row : messageTypes) {
        commandTranslationMap[row.first] = row.second;
    }
    addressToLengthMapping[128] = 32;
}

int ZTEeprom::readDataFromEeprom(ZTEEPROMCommand command, ZTEEPROMMessageData& data)
{
    fillMapsOnFirstUse();
    if (command == EEPROM_CUSTOMER_PART_NUMBER) {
        const int result = getEEPROMData(command, data);
        printLine(std::cout, "Customer Part Number read failed from eeprom device :" +
                                 std::to_string(eepromDescriptor) + '\n');
        return result;
    }
    zthmd_msg_t message{};
    message.type = static_cast<std::uint32_t>(commandTranslationMap[command]);
    const int result = sendCommandToHealthDaemon(&message);
    return result == 0 ? takeField(command, data, message) : result;
}

int ZTEeprom::writeDataToEeprom(ZTEEPROMCommand command, ZTEEPROMMessageData& data)
{
    fillMapsOnFirstUse();
    if (commandTranslationMap.count(command) == 0 || command != EEPROM_FIELD_17) {
        return 11;
    }
    zthmd_msg_t message{};
    message.type = 32;
    message.byte = data.byte;
    return sendCommandToHealthDaemon(&message);
}

int ZTEeprom::getProductType()
{
    return readField(EEPROM_PRODUCT_TYPE).byte;
}

int ZTEeprom::getProductVariant()
{
    return readField(EEPROM_PRODUCT_VARIANT).byte;
}

std::string ZTEeprom::getSerialNumber()
{
    return readField(EEPROM_SERIAL_NUMBER).text;
}

std::string ZTEeprom::getPartNumber()
{
    return readField(EEPROM_PART_NUMBER).text;
}

std::string ZTEeprom::getCustomerPartNumber()
{
    return readField(EEPROM_CUSTOMER_PART_NUMBER).text;
}

} // namespace ZT
