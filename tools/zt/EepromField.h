#ifndef ZT_TOOL_EEPROMFIELD_H
#define ZT_TOOL_EEPROMFIELD_H

#include "Output.h"
#include "zt/ZTEeprom.h"

#include <array>
#include <string>

namespace zt {

/// A field of the EEPROM.
struct EepromField {
    enum Kind { BYTE, VALUE, TEXT, WRITE_ONLY, UNSUPPORTED };

    const char* name;
    ZT::ZTEEPROMCommand command;
    Kind kind;
};

extern const std::array<EepromField, 14> EEPROM_FIELDS;

/// Throws CLI::ValidationError for a name that is none.
const EepromField& findEepromField(const std::string& name);

/// Throws Failure.
Json readEepromField(const EepromField& field, double seconds);
void writeEepromField(const EepromField& field, std::uint8_t byte, double seconds);

} // namespace zt

#endif
