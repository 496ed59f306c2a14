#include "EepromField.h"

#include "HealthExchange.h"
#include "zt/ZTIPCEndPoint.h"

#include <CLI/CLI.hpp>

namespace zt {
namespace {

const int EXCHANGE_FAILED = 1;

/// The library says that for whatever went wrong; whether the daemon is there can be asked for.
int refine(int result)
{
    const int reach =
        result == EXCHANGE_FAILED ? ZT::ZTIPCEndPoint(false).isSocketAvailable(HEALTH_DAEMON) : 0;
    return reach == 0 ? result : reach;
}

} // namespace

const std::array<EepromField, 14> EEPROM_FIELDS{{
    {"field-0", ZT::EEPROM_FIELD_0, EepromField::VALUE},
    {"product-type", ZT::EEPROM_PRODUCT_TYPE, EepromField::BYTE},
    {"product-variant", ZT::EEPROM_PRODUCT_VARIANT, EepromField::BYTE},
    {"field-6", ZT::EEPROM_FIELD_6, EepromField::BYTE},
    {"field-8", ZT::EEPROM_FIELD_8, EepromField::TEXT},
    {"part-number", ZT::EEPROM_PART_NUMBER, EepromField::TEXT},
    {"customer-part-number", ZT::EEPROM_CUSTOMER_PART_NUMBER, EepromField::UNSUPPORTED},
    {"serial-number", ZT::EEPROM_SERIAL_NUMBER, EepromField::TEXT},
    {"field-16", ZT::EEPROM_FIELD_16, EepromField::BYTE},
    {"field-17", ZT::EEPROM_FIELD_17, EepromField::WRITE_ONLY},
    {"field-19", ZT::EEPROM_FIELD_19, EepromField::VALUE},
    {"field-21", ZT::EEPROM_FIELD_21, EepromField::BYTE},
    {"field-23", ZT::EEPROM_FIELD_23, EepromField::BYTE},
    {"field-25", ZT::EEPROM_FIELD_25, EepromField::VALUE},
}};

const EepromField& findEepromField(const std::string& name)
{
    for (const EepromField& field : EEPROM_FIELDS) {
        if (name == field.name) {
            return field;
        }
    }
    throw CLI::ValidationError("NAME", "there is no field \"" + name + "\"");
}

Json readEepromField(const EepromField& field, double seconds)
{
    ZT::ZTEEPROMMessageData data{};
    exchangeWithin(seconds, std::string("read ") + field.name,
                   [&] { return refine(ZT::ZTEeprom::readDataFromEeprom(field.command, data)); });
    switch (field.kind) {
    case EepromField::BYTE:
        return data.byte;
    case EepromField::TEXT:
        return data.text;
    default:
        return data.value;
    }
}

void writeEepromField(const EepromField& field, std::uint8_t byte, double seconds)
{
    ZT::ZTEEPROMMessageData data{};
    data.byte = byte;
    exchangeWithin(seconds, std::string("write ") + field.name,
                   [&] { return refine(ZT::ZTEeprom::writeDataToEeprom(field.command, data)); });
}

} // namespace zt
