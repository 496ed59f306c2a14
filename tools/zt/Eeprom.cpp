#include "EepromField.h"
#include "Output.h"
#include "TimeLimit.h"
#include "Verbs.h"
#include "common/NumberOption.h"

#include <memory>
#include <optional>
#include <string>

namespace zt {
namespace {

struct EepromOptions {
    std::optional<std::string> name; ///< all without
    std::optional<std::string> byte;
    bool json = false;
    double wait = 2;
};

void readAll(const EepromOptions& options)
{
    Json fields;
    for (const EepromField& field : EEPROM_FIELDS) {
        if (field.kind != EepromField::WRITE_ONLY && field.kind != EepromField::UNSUPPORTED) {
            fields[field.name] = readEepromField(field, options.wait);
        }
    }
    print(fields, options.json);
}

void readOne(const EepromField& field, const EepromOptions& options)
{
    if (field.kind == EepromField::WRITE_ONLY) { // reading would set it to 0
        throw CLI::ValidationError("NAME", field.name + std::string(" can only be written"));
    }
    printSingle({{field.name, readEepromField(field, options.wait)}}, options.json);
}

void eepromVerb(const EepromOptions& options)
{
    if (!options.name) {
        readAll(options);
        return;
    }
    const EepromField& field = findEepromField(*options.name);
    if (!options.byte) {
        readOne(field, options);
        return;
    }
    if (field.kind != EepromField::WRITE_ONLY) {
        throw CLI::ValidationError("NAME",
                                   field.name + std::string(" is read-only (field-17 is not)"));
    }
    const int byte = tools::parseNumber("BYTE", *options.byte, 0, UINT8_MAX);
    writeEepromField(field, static_cast<std::uint8_t>(byte), options.wait);
}

} // namespace

void addEeprom(CLI::App& app)
{
    const auto options = std::make_shared<EepromOptions>();
    CLI::App* const verb = app.add_subcommand(
        "eeprom", "Print the identity data, or one field of it, or write field-17");
    verb->add_option("NAME", options->name,
                     "field-0, product-type, product-variant, field-6, field-8, part-number, "
                     "customer-part-number, serial-number, field-16, field-17, field-19, field-21, "
                     "field-23 or field-25");
    verb->add_option("BYTE", options->byte, "0..255, what field-17 is to be");
    verb->add_flag("--json", options->json, "Print JSON");
    addWaitOption(*verb, options->wait);
    verb->callback([options] { eepromVerb(*options); });
}

} // namespace zt
